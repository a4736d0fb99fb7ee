// Input of a program that the user of a real Wayland desktop lets control it, as an application receives it.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "tests/fakes/PrintQt.h"
#include "tests/wayland/support/PortalTestDesktop.h"

namespace vantora {
namespace {

using namespace testwayland;
using namespace Qt::Literals::StringLiterals;

using Keys = std::vector<Canvas::Key>;

class PortalDesktopInput : public testing::Test {
 protected:
  void start(const QStringList& options, const std::vector<int>& monitors = {0}, const QStringList& commands = {}) {
    desktop_ = std::make_unique<PortalTestDesktop>(options, monitors, commands);
    ASSERT_TRUE(desktop_->running());
    ASSERT_TRUE(desktop_->askUser());
    ASSERT_EQ(desktop_->session().displays().list().size(), monitors.size());
    canvas().clear();
  }
  void startSmall() { start({u"--no-x11"_s, u"--monitor"_s, u"800x600"_s}); }
  // The desktop's layout arrives a moment later.
  void startWithLayout() {
    ASSERT_NO_FATAL_FAILURE(startSmall());
    desktop_->clipboard().isShared = false;
    ASSERT_TRUE(testloop::waitFor([&] {
      const TypingStep step = input().type(U"中");
      return step.taken == 1 && step.typed == 0;
    }));
    desktop_->clipboard().isShared = true;
    ASSERT_TRUE(desktop_->settle());
    canvas().clear();
  }
  DesktopInput& input() { return desktop_->session().input(); }
  Canvas& canvas() { return desktop_->first(); }
  bool key(std::uint16_t code, bool down, KeyModifiers modifiers = {}) { return input().key(code, down, modifiers); }

  // Points at the middle of a pixel of a display; what the canvas of the same number sees, in its own units.
  std::optional<QPointF> point(int number, int x, int y) {
    const Display display = desktop_->session().displays().list().at(static_cast<std::size_t>(number));
    EXPECT_TRUE(input().moveTo(display.id, (x + 0.5) / display.bounds.width(), (y + 0.5) / display.bounds.height()));
    EXPECT_TRUE(desktop_->settle());
    return desktop_->canvas(number).pointer();
  }

  std::unique_ptr<PortalTestDesktop> desktop_;
  std::uint32_t painted_ = 0;
};

TEST_F(PortalDesktopInput, reachesEveryPixel) {
  startSmall();
  const Display display = desktop_->session().displays().list().front();
  std::vector<QPointF> expected;
  const auto go = [&](int x, int y) {
    EXPECT_TRUE(input().moveTo(display.id, (x + 0.5) / 800, (y + 0.5) / 600));
    expected.emplace_back(x, y);
    // Positions that have not been sent yet are replaced by newer ones.
    EXPECT_TRUE(testloop::waitFor([&] { return canvas().motions().size() == expected.size(); }));
  };
  for (int x = 1; x < 800; x += 2) go(x, x * 599 / 799);
  for (int y = 0; y < 600; y += 2) go(799, y);
  for (const auto& [x, y] : {std::pair{0, 0}, {799, 0}, {0, 599}, {799, 599}}) go(x, y);
  const auto floored = [](const QPointF& point) { return QPointF(std::floor(point.x()), std::floor(point.y())); };
  for (std::size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(floored(canvas().motions().at(i)), expected[i]) << i;
}

TEST_F(PortalDesktopInput, dragsWithTheButtonHeld) {
  startSmall();
  point(0, 100, 100);
  input().button(PointerButton::left, true);
  point(0, 300, 200);
  point(0, 500, 100);
  EXPECT_EQ(canvas().buttons(), std::set<int>{BTN_LEFT});
  input().button(PointerButton::left, false);
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(canvas().buttonEvents(), (Keys{{BTN_LEFT, true}, {BTN_LEFT, false}}));
}

TEST_F(PortalDesktopInput, turnsTheWheelByWholeSteps) {
  startSmall();
  input().wheel({.vertical = 120});
  input().wheel({.vertical = -240});
  ASSERT_TRUE(testloop::waitFor([&] { return canvas().scrolls().size() == 3; }));
  std::vector<double> steps;
  for (const Canvas::Scroll& scroll : canvas().scrolls()) {
    EXPECT_EQ(scroll.axis, 0);
    steps.push_back(scroll.steps);
  }
  EXPECT_EQ(steps, (std::vector<double>{-1, 1, 1}));  // Upwards is negative to applications.
}

TEST_F(PortalDesktopInput, turnsTheWheelSideways) {
  startSmall();
  input().wheel({.horizontal = 120});
  ASSERT_TRUE(testloop::waitFor([&] { return canvas().scrolls().size() == 1; }));
  EXPECT_EQ(canvas().scrolls().front().axis, 1);
  EXPECT_EQ(canvas().scrolls().front().steps, 1);
}

TEST_F(PortalDesktopInput, keepsTheOrderOfKeys) {
  startSmall();
  Keys sent;
  for (int i = 0; i < 30; ++i) {
    for (const std::uint16_t code : {KEY_A, KEY_B, KEY_C}) {
      for (const bool down : {true, false}) {
        EXPECT_TRUE(key(code, down));
        sent.push_back({code, down});
      }
    }
  }
  ASSERT_TRUE(testloop::waitFor([&] { return canvas().keyEvents().size() >= sent.size(); }));
  EXPECT_EQ(canvas().keyEvents(), sent);
}

TEST_F(PortalDesktopInput, repeatsAKeyThatIsPressedAgain) {
  startSmall();
  EXPECT_TRUE(key(KEY_A, true) && key(KEY_A, true) && key(KEY_A, false));
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(canvas().keyEvents(), (Keys{{KEY_A, true}, {KEY_A, false}, {KEY_A, true}, {KEY_A, false}}));
}

TEST_F(PortalDesktopInput, pressesModifiersAroundTheirKeys) {
  startSmall();
  EXPECT_TRUE(key(KEY_A, true, {.shift = true, .control = true}));
  ASSERT_TRUE(desktop_->settle());
  constexpr int kShiftAndControl = 1 | 4;
  EXPECT_EQ(canvas().modifiers(), kShiftAndControl);
  EXPECT_TRUE(key(KEY_A, false, {}));
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(canvas().modifiers(), 0);
  EXPECT_TRUE(canvas().keys().empty());
}

TEST_F(PortalDesktopInput, releasesWhatItHoldsAtItsEnd) {
  startSmall();
  EXPECT_TRUE(key(KEY_A, true, {.shift = true}));
  input().button(PointerButton::left, true);
  ASSERT_TRUE(desktop_->settle());
  ASSERT_EQ(canvas().keys(), (std::set<int>{KEY_A, KEY_LEFTSHIFT}));
  desktop_->endSession();
  EXPECT_TRUE(testloop::waitFor([&] { return canvas().keys().empty() && canvas().buttons().empty(); }));
}

TEST_F(PortalDesktopInput, leavesTheKeysOfTheLocalUserAlone) {
  startSmall();
  desktop_->user().key(KEY_LEFTSHIFT, true);
  EXPECT_TRUE(key(KEY_A, true, {.shift = true}));
  EXPECT_TRUE(key(KEY_A, false, {.shift = true}));
  input().releaseAll();
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(canvas().keys(), std::set<int>{KEY_LEFTSHIFT});
  desktop_->user().key(KEY_LEFTSHIFT, false);
}

TEST_F(PortalDesktopInput, pointsAtEveryMonitor) {
  start({u"--no-x11"_s, u"--monitor"_s, u"800x600"_s, u"--monitor"_s, u"640x480"_s}, {0, 1});
  (void)desktop_->canvas(1);
  EXPECT_EQ(point(0, 799, 599), QPointF(799, 599));
  EXPECT_EQ(point(1, 0, 0), QPointF(0, 0));
  EXPECT_EQ(point(1, 639, 479), QPointF(639, 479));
  EXPECT_EQ(point(0, 0, 0), QPointF(0, 0));
}

// A layout that is not in pixels: its portal takes the far corners for places beyond the screen.
struct Scaled {
  const char* name;
  bool fractional;
  double factor;
};
class PortalDesktopScaledInput : public PortalDesktopInput, public testing::WithParamInterface<Scaled> {};

TEST_P(PortalDesktopScaledInput, reachesThePixelsOfTheFrame) {
  QStringList options = {u"--no-x11"_s, u"--monitor"_s, u"1600x1200"_s};
  if (GetParam().fractional) options.append(u"--fractional"_s);
  start(options, {0}, {u"scale 0 %1"_s.arg(GetParam().factor)});
  // The frames tell what a layout unit is.
  const auto capture = desktop_->session().makeScreenCapture();
  CapturedFrame frame;
  ASSERT_TRUE(testloop::waitFor([&] { return capture->open(0).outcome == ScreenCapture::Outcome::opened; }));
  ASSERT_TRUE(testloop::waitFor([&] { return capture->poll(frame) == ScreenCapture::Poll::changed; }));
  ASSERT_TRUE(testloop::waitFor(
      [&] { return desktop_->session().displays().list().front().bounds.size() == QSize(1600, 1200); }));
  const double scale = desktop_->desktop().run(u"displays"_s)->toArray().at(0)[u"scale"_s].toDouble();
  const auto reaches = [&](int x, int y) {
    const auto seen = point(0, x, y);
    return seen && std::abs(seen->x() * scale - x) < 0.75 && std::abs(seen->y() * scale - y) < 0.75;
  };
  // Which units the portal takes shows with the first reports of the pointer, which come with a frame each.
  ASSERT_TRUE(testloop::waitFor([&] {
    std::ignore = reaches(500, 350);
    return canvas().paint(++painted_, {0, 0, 1, 1}) && reaches(1200, 900) && canvas().paint(++painted_, {0, 0, 1, 1});
  }));
  for (const auto& [x, y] : {std::pair{0, 0}, {1599, 0}, {0, 1199}, {1599, 1199}, {800, 600}, {1201, 37}})
    EXPECT_TRUE(reaches(x, y)) << x << ' ' << y;
  capture->close();
}

INSTANTIATE_TEST_SUITE_P(Scales, PortalDesktopScaledInput,
                         testing::Values(Scaled{"Twice", false, 2}, Scaled{"TwiceInLayoutUnits", true, 2},
                                         Scaled{"OneAndAHalf", true, 1.5}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(PortalDesktopInput, hasNoneWhileTheUserOnlyShows) {
  desktop_ = std::make_unique<PortalTestDesktop>(QStringList{u"--no-x11"_s}, std::vector{0});
  ASSERT_TRUE(desktop_->running());
  ASSERT_TRUE(desktop_->desktop().run(u"answer view-only"_s));
  ASSERT_TRUE(desktop_->session().makeScreenCapture()->open(0).outcome == ScreenCapture::Outcome::awaitingConsent);
  EXPECT_FALSE(key(KEY_A, true));
}

TEST_F(PortalDesktopInput, typesTextsByTheKeysOfTheLayout) {
  ASSERT_NO_FATAL_FAILURE(startWithLayout());
  const std::u32string_view text = U"Hello, World! {[@]} \\ | ~ ^ `'\" 09\tz\n";
  std::size_t taken = 0;
  ASSERT_TRUE(testloop::waitFor([&] {
    const TypingStep step = input().type(text.substr(taken));
    EXPECT_TRUE(step.possible);
    EXPECT_EQ(step.typed, step.taken);
    taken += step.taken;
    return taken == text.size();
  }));
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(canvas().text(), QString::fromUcs4(text.data(), static_cast<qsizetype>(text.size())));
  EXPECT_TRUE(canvas().keys().empty());
  EXPECT_EQ(canvas().modifiers(), 0);
}

TEST_F(PortalDesktopInput, keepsNoShiftAfterATextWhileAKeyIsHeld) {
  startSmall();
  EXPECT_TRUE(key(KEY_B, true));
  EXPECT_EQ(input().type(U"A").typed, 1U);
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(canvas().text(), u"bA"_s);
  EXPECT_EQ(canvas().modifiers(), 0);
  EXPECT_EQ(canvas().keys(), std::set<int>{KEY_B});
}

TEST_F(PortalDesktopInput, saysWhichCharactersTheLayoutLacks) {
  ASSERT_NO_FATAL_FAILURE(startWithLayout());
  desktop_->clipboard().isShared = false;
  const TypingStep step = input().type(U"aé中€Ж😀b");
  EXPECT_EQ(step.taken, 7U);
  EXPECT_EQ(step.typed, 3U);
  ASSERT_TRUE(desktop_->settle());
  // The euro is on a key that no keyboard has, which only the portal presses.
  EXPECT_EQ(canvas().text(), u"a€b"_s);
}

TEST_F(PortalDesktopInput, pastesALineWithCharactersThatTheLayoutLacks) {
  ASSERT_NO_FATAL_FAILURE(startWithLayout());
  fakes::FakeClipboard& clipboard = desktop_->clipboard();
  clipboard.text = u"user's"_s;
  const std::u32string_view text = U"abc\nd é中\n\tef";
  std::size_t taken = 0;
  std::size_t typed = 0;
  QString atChord;
  ASSERT_TRUE(testloop::waitFor([&] {
    const TypingStep step = input().type(text.substr(taken));
    taken += step.taken;
    typed += step.typed;
    // The program pastes when it sees the chord.
    const auto& seen = canvas().keyEvents();
    if (atChord.isEmpty() && std::ranges::count(seen, Canvas::Key{KEY_V, true}) == 1) {
      atChord = clipboard.text;
      clipboard.interested(Clipboard::Interest::text);
    }
    return taken == text.size();
  }));
  EXPECT_EQ(typed, text.size());
  EXPECT_EQ(atChord, u"d é中"_s);
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(QString(canvas().text()).remove(u'\x16'), u"abc\n\n\tef"_s);
  const Keys chord{{KEY_LEFTCTRL, true}, {KEY_V, true}, {KEY_V, false}, {KEY_LEFTCTRL, false}};
  const auto& seen = canvas().keyEvents();
  EXPECT_NE(std::search(seen.begin(), seen.end(), chord.begin(), chord.end()), seen.end());
  EXPECT_TRUE(testloop::waitFor([&] { return input().readyForKeys(); }));
  EXPECT_EQ(clipboard.text, u"user's"_s);
  EXPECT_EQ(desktop_->session().clipboard().changeCount(), 7);
}

TEST_F(PortalDesktopInput, aLineThatCannotBePastedIsTypedAsFarAsItCan) {
  ASSERT_NO_FATAL_FAILURE(startWithLayout());
  desktop_->clipboard().otherContent = true;
  const std::u32string_view text = U"aé bü\nc";
  std::size_t taken = 0;
  std::size_t typed = 0;
  ASSERT_TRUE(testloop::waitFor([&] {
    const TypingStep step = input().type(text.substr(taken));
    taken += step.taken;
    typed += step.typed;
    return taken == text.size();
  }));
  EXPECT_EQ(typed, text.size() - 2);
  ASSERT_TRUE(desktop_->settle());
  EXPECT_EQ(canvas().text(), u"a b\nc"_s);
  EXPECT_EQ(desktop_->clipboard().sets, 0);
}

TEST_F(PortalDesktopInput, givesTheClipboardBackWhenItCanNoLongerBeUsed) {
  ASSERT_NO_FATAL_FAILURE(startWithLayout());
  fakes::FakeClipboard& clipboard = desktop_->clipboard();
  clipboard.text = u"user's"_s;
  ASSERT_TRUE(testloop::waitFor([&] {
    EXPECT_EQ(input().type(U"é").taken, 0U);
    return clipboard.text == u"é"_s;
  }));
  clipboard.isShared = false;
  // A program reads.
  ASSERT_TRUE(testloop::waitFor([&] {
    if (!canvas().keyEvents().empty()) clipboard.interested(Clipboard::Interest::text);
    canvas().clear();
    return input().type(U"é").taken == 1;
  }));
  EXPECT_TRUE(testloop::waitFor([&] { return clipboard.text == u"user's"_s; }));
}

TEST_F(PortalDesktopInput, givesTheClipboardBackWhenControlEnds) {
  ASSERT_NO_FATAL_FAILURE(startWithLayout());
  fakes::FakeClipboard& clipboard = desktop_->clipboard();
  clipboard.text = u"user's"_s;
  ASSERT_TRUE(testloop::waitFor([&] {
    (void)input().type(U"é");
    return clipboard.text == u"é"_s;
  }));
  input().releaseAll();
  EXPECT_TRUE(testloop::waitFor([&] { return clipboard.text == u"user's"_s; }));
  // As does the end of the session's desktop.
  ASSERT_TRUE(testloop::waitFor([&] {
    (void)input().type(U"ü");
    return clipboard.text == u"ü"_s;
  }));
  desktop_->endSession();
  EXPECT_EQ(clipboard.text, u"user's"_s);
}

TEST_F(PortalDesktopInput, pressesTheKeysThatAreNeverHeldAndTheLayoutsThirdLevel) {
  ASSERT_NO_FATAL_FAILURE(startWithLayout());
  EXPECT_TRUE(key(KEY_Q, true, {.altgr = true}) && key(KEY_Q, false, {.altgr = true}));
  ASSERT_TRUE(desktop_->settle());
  // Of a US layout: no Alt, which would be a shortcut.
  constexpr int kThirdLevel = 84;
  EXPECT_EQ(canvas().keyEvents(), (Keys{{kThirdLevel, true}, {KEY_Q, true}, {KEY_Q, false}, {kThirdLevel, false}}));
  for (const std::uint16_t code : {KEY_F5, KEY_DELETE, KEY_LEFTMETA, KEY_KP5, KEY_102ND}) {
    EXPECT_TRUE(key(code, true) && key(code, false));
  }
  ASSERT_TRUE(desktop_->settle());
  EXPECT_TRUE(canvas().keys().empty());
  for (const int code : {KEY_F5, KEY_DELETE, KEY_KP5, KEY_102ND}) {
    const auto& seen = canvas().keyEvents();
    EXPECT_EQ(std::ranges::count(seen, Canvas::Key{code, true}), 1) << code;
  }
}

}  // namespace
}  // namespace vantora
