// Elements of real toolkits under the pointer, and programs that hang.
#include "tests/fakes/Places.h"
#include "tests/x11/accessibility/AccessibilityFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora::testx11 {
namespace {

class AccessibilityTest : public AccessibilityFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(desktop_.running());
    ASSERT_TRUE(desktop_.startAccessibility());
    open(desktop_);
    ASSERT_TRUE(becomesTrusted());
  }
  ChildProcess startQt() { return desktop_.spawn({qtProgram()}); }
  ChildProcess startGtk(const std::vector<std::string>& environment = {}) {
    return desktop_.spawn(
        {"/usr/bin/python3", testplaces::source(u"tests/x11/accessibility/gtk_program.py"_s).toStdString()},
        environment);
  }
  testing::AssertionResult shows(int x, int y, const Shape& wanted) {
    return AccessibilityFixture::shows(desktop_, x, y, wanted);
  }

  PrivateDesktop desktop_;
};

TEST_F(AccessibilityTest, knowsTheElementsOfAQtProgram) {
  const ChildProcess program = startQt();
  EXPECT_TRUE(shows(150, 135, u"text"_s)) << "line edit";
  EXPECT_TRUE(shows(150, 175, u"pointer"_s)) << "button";
  EXPECT_TRUE(shows(130, 215, u"pointer"_s)) << "radio button";
  EXPECT_TRUE(shows(150, 255, std::nullopt)) << "label";
  EXPECT_TRUE(shows(150, 310, u"text"_s)) << "text area";
  EXPECT_TRUE(shows(499, 150, u"col-resize"_s)) << "divider between left and right";
  EXPECT_TRUE(shows(450, 299, u"row-resize"_s)) << "divider between top and bottom";
  EXPECT_TRUE(shows(450, 150, std::nullopt)) << "inside a split pane";
  EXPECT_TRUE(shows(650, 450, std::nullopt)) << "inside the window";
}

TEST_F(AccessibilityTest, knowsTheElementsOfAGtkProgram) {
  const ChildProcess program = startGtk();
  EXPECT_TRUE(shows(150, 135, u"text"_s)) << "entry";
  EXPECT_TRUE(shows(150, 175, u"pointer"_s)) << "button";
  EXPECT_TRUE(shows(150, 215, u"pointer"_s)) << "link button";
  EXPECT_TRUE(shows(150, 255, std::nullopt)) << "label";
  EXPECT_TRUE(shows(150, 310, u"text"_s)) << "text view";
  EXPECT_TRUE(shows(497, 150, u"col-resize"_s)) << "divider between left and right";
  EXPECT_TRUE(shows(450, 297, u"row-resize"_s)) << "divider between top and bottom";
  EXPECT_TRUE(shows(450, 150, std::nullopt)) << "inside a split pane";
  EXPECT_TRUE(shows(650, 450, std::nullopt)) << "inside the window";
}

TEST_F(AccessibilityTest, knowsTheEdgesOfAWindow) {
  const ChildProcess program = startQt();
  EXPECT_TRUE(shows(103, 103, u"nwse-resize"_s));
  EXPECT_TRUE(shows(697, 497, u"nwse-resize"_s));
  EXPECT_TRUE(shows(697, 103, u"nesw-resize"_s));
  EXPECT_TRUE(shows(103, 497, u"nesw-resize"_s));
  EXPECT_TRUE(shows(400, 103, u"n-resize"_s));
  EXPECT_TRUE(shows(400, 497, u"s-resize"_s));
  EXPECT_TRUE(shows(103, 400, u"w-resize"_s));
  EXPECT_TRUE(shows(697, 400, u"e-resize"_s));
}

TEST_F(AccessibilityTest, knowsTheEdgesOfADecoratedWindow) {
  const ChildProcess manager = desktop_.spawn(
      {"openbox", "--sm-disable", "--startup", "xprop -root -format _TEST_MANAGED 8s -set _TEST_MANAGED yes"});
  ASSERT_TRUE(testloop::waitFor([&] {
    return desktop_.run({"sh", "-c", "xprop -root _TEST_MANAGED | grep -q yes"}) == 0;
  }));
  const ChildProcess program = startQt();
  ASSERT_EQ(desktop_.run({"xdotool", "search", "--sync", "--onlyvisible", "--class", "accessibility_qt_program"}), 0);
  // Wherever the window manager has put it: the title bar is the window's, and its upper edge is the frame's.
  ASSERT_TRUE(desktop_.movePointer(400, 300));
  std::optional<PointedElements> found;
  ASSERT_TRUE(testloop::waitFor([&] {
    found = pointedElements();
    return found && !found->elements.empty() && found->elements.back().frame;
  }));
  const QRectF frame = *found->elements.back().frame;
  EXPECT_GT(frame.height(), 405);
  EXPECT_TRUE(shows(static_cast<int>(frame.left()) + 1, static_cast<int>(frame.top()) + 1, u"nwse-resize"_s));
  EXPECT_TRUE(shows(static_cast<int>(frame.center().x()), static_cast<int>(frame.top()) + 2, u"n-resize"_s));
  EXPECT_TRUE(shows(static_cast<int>(frame.center().x()), static_cast<int>(frame.top()) + 12, std::nullopt));
}

// What lies behind a menu is not under the pointer, and the edges of a menu cannot be dragged.
TEST_F(AccessibilityTest, knowsMenusTipsAndPanelsFromTheWindowsBehindThem) {
  const ChildProcess program = desktop_.spawn({qtProgram(), "popups"});
  EXPECT_TRUE(shows(210, 290, u"text"_s)) << "text area between the popups";
  for (const auto& [x, y] : {std::pair(260, 320), std::pair(222, 302)}) {
    ASSERT_TRUE(desktop_.movePointer(x, y));
    EXPECT_TRUE(waitForElements(0)) << "menu over the text area, and its corner";
  }
  EXPECT_TRUE(shows(450, 430, std::nullopt)) << "tip";
  EXPECT_TRUE(shows(402, 430, std::nullopt)) << "edge of the tip";
  EXPECT_TRUE(shows(200, 602, u"n-resize"_s)) << "edge of an ordinary window";
  ASSERT_EQ(desktop_.run({"xprop", "-name", "panel", "-format", "_NET_WM_WINDOW_TYPE", "32a", "-set",
                          "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DOCK"}),
            0);
  EXPECT_TRUE(shows(200, 602, std::nullopt)) << "edge of a panel";
  ASSERT_TRUE(desktop_.movePointer(150, 300));
  EXPECT_TRUE(waitForElements(0)) << "a popup that the program does not report";
  EXPECT_TRUE(shows(103, 400, u"w-resize"_s)) << "edge of the window behind";
}

TEST_F(AccessibilityTest, findsElementsOfAProgramThatCountsInItsOwnUnits) {
  const ChildProcess program = startGtk({"GDK_SCALE=2"});
  EXPECT_TRUE(shows(300, 270, u"text"_s)) << "entry";
  EXPECT_TRUE(shows(300, 350, u"pointer"_s)) << "button";
  EXPECT_TRUE(shows(300, 510, std::nullopt)) << "label";
}

TEST_F(AccessibilityTest, findsNothingWhereNoProgramIs) {
  const ChildProcess program = startQt();
  ASSERT_TRUE(shows(150, 135, u"text"_s));
  ASSERT_TRUE(desktop_.movePointer(900, 700));
  const auto found = pointedElements();
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->elements.empty());
}

TEST_F(AccessibilityTest, returnsNoMoreElementsThanRequested) {
  const ChildProcess program = startQt();
  ASSERT_TRUE(shows(150, 135, u"text"_s));
  const auto first = [&] {
    std::optional<PointedElements> found;
    if (!accessibility_->askPointedElements(1, [&](const PointedElements& pointed) { found = pointed; })) return found;
    (void)testloop::waitFor([&] { return found.has_value(); });
    return found;
  };
  std::optional<PointedElements> found;
  ASSERT_TRUE(testloop::waitFor([&] {
    found = first();
    return found && !found->elements.empty();
  }));
  EXPECT_EQ(found->elements.size(), 1U);
  EXPECT_EQ(found->pointer, QPointF(150, 135));
}

TEST_F(AccessibilityTest, takesOneRequestAtATime) {
  int answers = 0;
  EXPECT_TRUE(accessibility_->askPointedElements(6, [&](const PointedElements&) { ++answers; }));
  EXPECT_FALSE(accessibility_->askPointedElements(6, [&](const PointedElements&) { answers += 100; }));
  ASSERT_TRUE(testloop::waitFor([&] { return answers > 0; }));
  EXPECT_EQ(answers, 1);
}

TEST_F(AccessibilityTest, aProgramThatHangsHoldsUpNothing) {
  ChildProcess program = startQt();
  ASSERT_TRUE(shows(150, 135, u"text"_s));
  program.send(SIGSTOP);
  // The request returns at once, and the empty result follows soon.
  for (int again = 0; again < 2; ++again) {
    const auto start = std::chrono::steady_clock::now();
    std::optional<PointedElements> found;
    ASSERT_TRUE(accessibility_->askPointedElements(6, [&](const PointedElements& pointed) { found = pointed; }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 200ms);
    EXPECT_FALSE(found);
    ASSERT_TRUE(testloop::waitFor([&] { return found.has_value(); }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
    EXPECT_TRUE(found->elements.empty());
  }
  program.send(SIGCONT);
  EXPECT_TRUE(shows(150, 135, u"text"_s));
}

TEST_F(AccessibilityTest, aProgramThatHangsDoesNotHideAnother) {
  ChildProcess program = startQt();
  ASSERT_TRUE(shows(150, 135, u"text"_s));
  program.send(SIGSTOP);
  ASSERT_TRUE(pointedElements());
  const ChildProcess other = startGtk();
  EXPECT_TRUE(shows(150, 135, u"text"_s));
  program.send(SIGCONT);
}

TEST_F(AccessibilityTest, canBeDestroyedWhileAProgramHangs) {
  ChildProcess program = startQt();
  ASSERT_TRUE(shows(150, 135, u"text"_s));
  program.send(SIGSTOP);
  int answers = 0;
  ASSERT_TRUE(accessibility_->askPointedElements(6, [&](const PointedElements&) { ++answers; }));
  const auto start = std::chrono::steady_clock::now();
  accessibility_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
  testloop::drain();
  EXPECT_EQ(answers, 0);
  program.send(SIGCONT);
}

}  // namespace
}  // namespace vantora::testx11
