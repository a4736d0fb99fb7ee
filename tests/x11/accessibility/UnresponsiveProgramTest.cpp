// Replies of programs that must not be trusted.
#include <unistd.h>

#include "tests/x11/accessibility/AccessibilityFixture.h"
#include "tests/x11/accessibility/UnresponsiveProgram.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora::testx11 {
namespace {

constexpr quint32 kFrame = 23;
constexpr quint32 kFiller = 20;
constexpr quint32 kButton = 43;
constexpr quint32 kSplitPane = 53;

// A window system with one window, of this process.
class OneWindow final : public WindowFinder {
 public:
  std::optional<PointedWindow> pointedWindow(WindowFinder::Deadline) override {
    const QRectF place(100, 100, 400, 300);
    return PointedWindow{.pointer = {250, 250}, .process = ::getpid(), .client = place, .frame = place};
  }
  std::string busAddress(WindowFinder::Deadline) override { return {}; }
};

class UnresponsiveProgramTest : public AccessibilityFixture {
 protected:
  void SetUp() override {
    ASSERT_TRUE(desktop_.running());
    const QString address = QString::fromStdString(desktop_.busAddress());
    program_ = std::make_unique<UnresponsiveProgram>(address);
    ASSERT_TRUE(program_->running());
    behave();
    accessibility_ = makeAtSpiAccessibility(Environment([address](const char* name) {
                                              return qstrcmp(name, "AT_SPI_BUS_ADDRESS") == 0 ? std::optional(address)
                                                                                              : std::nullopt;
                                            }),
                                            std::make_unique<OneWindow>());
    ASSERT_TRUE(becomesTrusted());
  }
  // A window with a button in it, under the pointer.
  void behave() {
    listWindows({program_->object(u"window"_s)});
    program_->setReply(u"GetExtents"_s, [](const QDBusMessage&) {
      return QVariant::fromValue(Extents{100, 100, 400, 300});
    });
    program_->setReply(u"GetAccessibleAtPoint"_s,
                       [this](const QDBusMessage&) { return QVariant::fromValue(program_->object(u"button"_s)); });
    program_->setReply(u"GetRole"_s, [](const QDBusMessage& call) {
      return QVariant::fromValue(call.path().endsWith(u"button"_s) ? kButton : kFrame);
    });
    program_->setReply(u"Get"_s, [this](const QDBusMessage&) {
      return QVariant::fromValue(QDBusVariant(QVariant::fromValue(program_->object(u"window"_s))));
    });
  }
  // The registry lists this program, and the program these windows.
  void listWindows(const QList<Named>& windows) {
    program_->setReply(u"GetChildren"_s, [this, windows](const QDBusMessage& call) {
      const bool registry = call.arguments().isEmpty() && registryAsked_++ == 0;
      return QVariant::fromValue(registry ? QList<Named>{program_->object(u"root"_s)} : windows);
    });
  }

  PrivateDesktop desktop_;
  std::unique_ptr<UnresponsiveProgram> program_;
  int registryAsked_ = 0;  // Only the first request goes to the registry: it is read once a second at most.
};

TEST_F(UnresponsiveProgramTest, aWellBehavedOneIsUnderstood) {
  const auto found = waitForElements(2);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->elements[0].role, u"AXButton"_s);
  EXPECT_EQ(found->elements[1].role, u"AXWindow"_s);
  EXPECT_EQ(found->elements[1].frame, QRectF(100, 100, 400, 300));
}

TEST_F(UnresponsiveProgramTest, elementsInACircleEndTheWalk) {
  program_->setReply(u"GetRole"_s, [](const QDBusMessage&) { return QVariant::fromValue(kFiller); });
  program_->setReply(u"Get"_s, [this](const QDBusMessage& call) {
    const QString next = call.path().endsWith(u"one"_s) ? u"two"_s : u"one"_s;
    return QVariant::fromValue(QDBusVariant(QVariant::fromValue(program_->object(next))));
  });
  EXPECT_TRUE(waitForElements(6));
}

TEST_F(UnresponsiveProgramTest, elementsWithoutABottomEndTheDescent) {
  int level = 0;
  program_->setReply(u"GetAccessibleAtPoint"_s, [&](const QDBusMessage&) {
    return QVariant::fromValue(program_->object(QString::number(++level)));
  });
  // On a busy machine the time limit of a read may expire before it gets that far.
  ASSERT_TRUE(testloop::waitFor([&] {
    level = 0;
    return pointedElements() && level > 0;
  }));
  EXPECT_LE(level, 32);
}

TEST_F(UnresponsiveProgramTest, manyWindowsAreNotAllRead) {
  QList<Named> windows;
  for (int number = 0; number < 5000; ++number) windows.append(program_->object(u"w%1"_s.arg(number)));
  listWindows(windows);
  int asked = 0;
  ASSERT_TRUE(testloop::waitFor([&] {
    const int before = program_->calls(u"GetExtents"_s);
    const auto found = pointedElements();
    asked = program_->calls(u"GetExtents"_s) - before;
    return found && asked > 0;
  }));
  EXPECT_LE(asked, 40);
}

TEST_F(UnresponsiveProgramTest, namesThatAreNoNamesAreDropped) {
  for (const QString& name : {u""_s, u"not a name"_s, QString(300, u'a')}) {
    program_->setReply(u"GetAccessibleAtPoint"_s, [this, name](const QDBusMessage&) {
      return QVariant::fromValue(Named{name, program_->object(u"button"_s).path});
    });
    const auto found = waitForElements(1);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->elements[0].role, u"AXWindow"_s);
  }
}

TEST_F(UnresponsiveProgramTest, elementsOfNobodyDecideNothing) {
  for (const QString& name : {u":"_s, u":1.99999"_s, u"org.example.Nobody"_s}) {
    program_->setReply(u"GetAccessibleAtPoint"_s, [this, name](const QDBusMessage&) {
      return QVariant::fromValue(Named{name, program_->object(u"button"_s).path});
    });
    ASSERT_TRUE(pointedElements());
    EXPECT_EQ(shape(), std::nullopt) << name.toStdString();
  }
}

TEST_F(UnresponsiveProgramTest, repliesOfTheWrongTypeCountAsMissing) {
  for (const QString& method : {u"GetAccessibleAtPoint"_s, u"GetRole"_s, u"Get"_s}) {
    behave();
    program_->setReply(method, [](const QDBusMessage&) { return QVariant::fromValue(u"nonsense"_s); });
    EXPECT_TRUE(pointedElements()) << method.toStdString();
  }
  behave();
  program_->setReply(u"GetExtents"_s, [](const QDBusMessage&) { return QVariant::fromValue(u"nonsense"_s); });
  const auto found = pointedElements();
  ASSERT_TRUE(found);
  EXPECT_TRUE(found->elements.empty());
}

TEST_F(UnresponsiveProgramTest, impossibleExtentsAreIgnored) {
  for (const Extents& extents : {Extents{100, 100, -5, 300}, Extents{INT_MIN, INT_MIN, 1, 1},
                                 Extents{INT_MAX, INT_MAX, INT_MAX, INT_MAX}, Extents{}}) {
    program_->setReply(u"GetExtents"_s, [extents](const QDBusMessage&) { return QVariant::fromValue(extents); });
    const auto found = pointedElements();
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->elements.empty());
  }
}

TEST_F(UnresponsiveProgramTest, aDividerWithoutDirectionIsIgnored) {
  program_->setReply(u"GetRole"_s, [](const QDBusMessage& call) {
    return QVariant::fromValue(call.path().endsWith(u"button"_s) ? kSplitPane : kFrame);
  });
  program_->setReply(u"GetState"_s, [](const QDBusMessage&) { return QVariant::fromValue(QList<uint>{0, 0}); });
  EXPECT_EQ(shape(), std::nullopt);
  program_->setReply(u"GetState"_s, [](const QDBusMessage&) { return QVariant::fromValue(QList<uint>{1U << 29, 0}); });
  EXPECT_TRUE(testloop::waitFor([&] { return shape() == u"row-resize"_s; }));
  program_->setReply(u"GetState"_s, [](const QDBusMessage&) { return QVariant::fromValue(QList<uint>{1U << 14, 0}); });
  EXPECT_TRUE(testloop::waitFor([&] { return shape() == u"col-resize"_s; }));
}

TEST_F(UnresponsiveProgramTest, oneThatNeverAnswersIsLeftAloneForAWhile) {
  program_->setReply(u"GetAccessibleAtPoint"_s, [](const QDBusMessage&) { return QVariant(); });
  std::optional<PointedElements> first;
  ASSERT_TRUE(testloop::waitFor([&] {
    first = pointedElements();
    return first && program_->calls(u"GetAccessibleAtPoint"_s) > 0;
  }));
  EXPECT_TRUE(first->elements.empty());
  const int asked = program_->calls(u"GetAccessibleAtPoint"_s);
  const auto second = pointedElements();
  ASSERT_TRUE(second);
  EXPECT_TRUE(second->elements.empty());
  EXPECT_EQ(program_->calls(u"GetAccessibleAtPoint"_s), asked);
  // Later it is read again.
  behave();
  EXPECT_TRUE(waitForElements(2));
}

}  // namespace
}  // namespace vantora::testx11
