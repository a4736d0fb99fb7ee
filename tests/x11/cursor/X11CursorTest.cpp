// Events and lifecycle of the cursor of an X server.
#include "platform/DesktopChoice.h"
#include "platform/x11/X11Connection.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/x11/cursor/X11CursorFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora::testx11 {
namespace {

class X11CursorTest : public X11CursorFixture {
 protected:
  void SetUp() override {
    X11CursorFixture::SetUp();
    showCursorsOf("Adwaita");
    ASSERT_TRUE(program_->show("xterm"));
  }
  // Arms the pointer event and waits until the server has processed that: the name of a new cursor is requested after
  // it. The test's own program uses another connection, whose requests could otherwise be processed first.
  void arm(const char* newCursor) {
    cursor_->armPointerEvent();
    ASSERT_TRUE(program_->show(newCursor));
    ASSERT_TRUE(becomes(QString::fromLatin1(newCursor)));
  }
};

TEST_F(X11CursorTest, knowsTheCursorThatWasThereBefore) {
  watch();
  EXPECT_TRUE(becomes(u"xterm"_s));
}

TEST_F(X11CursorTest, reportsEveryOtherCursor) {
  watch();
  ASSERT_TRUE(becomes(u"xterm"_s));
  const int before = changes_;
  for (const char* name : {"hand2", "fleur", "hand2", "left_ptr"}) {
    const int now = changes_;
    ASSERT_TRUE(program_->show(name));
    // By its own event: the cursor is not read meanwhile.
    ASSERT_TRUE(testloop::waitFor([&] { return changes_ > now; })) << name;
    EXPECT_EQ(currentName(), QString::fromLatin1(name));
  }
  EXPECT_EQ(changes_ - before, 4);
}

TEST_F(X11CursorTest, aCursorWithoutANameHasTheEmptyOne) {
  watch();
  ASSERT_TRUE(becomes(u"xterm"_s));
  program_->showNameless();
  EXPECT_TRUE(becomes(u""_s));
}

TEST_F(X11CursorTest, reportsNothingWhileNobodyWatches) {
  EXPECT_EQ(currentName(), std::nullopt);
  watch();
  ASSERT_TRUE(becomes(u"xterm"_s));
  cursor_->unwatch();
  EXPECT_EQ(currentName(), std::nullopt);
  const int before = changes_;
  ASSERT_TRUE(program_->show("fleur"));
  watch();
  ASSERT_TRUE(becomes(u"fleur"_s));
  EXPECT_EQ(changes_, before + 1);
}

TEST_F(X11CursorTest, reportsOneUseOfThePointerForEachArming) {
  watch();
  ASSERT_TRUE(becomes(u"xterm"_s));
  program_->movePointer(10, 10);
  ASSERT_TRUE(program_->show("fleur"));
  ASSERT_TRUE(becomes(u"fleur"_s));  // The server has processed the movement too.
  EXPECT_EQ(uses_, 0);

  arm("left_ptr");
  for (int step = 0; step < 50; ++step) program_->movePointer(20 + step, 10);
  ASSERT_TRUE(testloop::waitFor([&] { return uses_ > 0; }));
  ASSERT_TRUE(program_->show("hand2"));
  ASSERT_TRUE(becomes(u"hand2"_s));
  EXPECT_EQ(uses_, 1);

  arm("watch");
  program_->clickPointer();
  EXPECT_TRUE(testloop::waitFor([&] { return uses_ == 2; }));
}

TEST_F(X11CursorTest, aHandlerMayEndTheWatch) {
  cursor_->watch({.cursorChanged =
                      [this] {
                        ++changes_;
                        cursor_->unwatch();
                      },
                  .pointerUsed = nullptr});
  ASSERT_TRUE(testloop::waitFor([&] { return changes_ > 0; }));
  ASSERT_TRUE(program_->show("fleur"));
  watch();
  EXPECT_TRUE(becomes(u"fleur"_s));
}

TEST_F(X11CursorTest, outlivesAKilledServerAndUsesTheNextOne) {
  watch();
  cursor_->armPointerEvent();
  ASSERT_TRUE(becomes(u"xterm"_s));
  program_.reset();
  server_.kill();
  EXPECT_TRUE(becomes(std::nullopt));
  cursor_->armPointerEvent();
  ASSERT_TRUE(server_.restart());
  showCursorsOf("Adwaita");
  ASSERT_TRUE(program_->show("hand2"));
  EXPECT_TRUE(becomes(u"hand2"_s));
  const int before = changes_;
  ASSERT_TRUE(program_->show("fleur"));
  EXPECT_TRUE(testloop::waitFor([&] { return changes_ > before; }));
  program_->movePointer(30, 30);
  EXPECT_TRUE(testloop::waitFor([&] { return uses_ > 0; }));
}

TEST_F(X11CursorTest, watchesASilentServerOnceItResumes) {
  server_.stop();
  const auto start = std::chrono::steady_clock::now();
  watch();
  cursor_->armPointerEvent();
  EXPECT_EQ(currentName(), std::nullopt);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4 * X11Connection::kTimeout);
  server_.goOn();
  EXPECT_TRUE(becomes(u"xterm"_s));
  ASSERT_TRUE(program_->show("hand2"));
  EXPECT_TRUE(becomes(u"hand2"_s));
}

TEST_F(X11CursorTest, canBeDestroyedAfterItsServer) {
  watch();
  ASSERT_TRUE(becomes(u"xterm"_s));
  program_.reset();
  server_.kill();
  cursor_.reset();
  testloop::drain();
  EXPECT_EQ(changes_, 1);
}

TEST(X11CursorStart, waitsForAServerThatComesLater) {
  testloop::ensureApplication();
  XvfbServer server;
  ASSERT_TRUE(server.running());
  const QString display = server.display();
  server.kill();
  fakes::FakeClipboard clipboard;
  const QByteArray name = server.display().toLatin1();
  const auto desktop = makeDesktopSession(Environment::of({{"DISPLAY", name.constData()}}), clipboard);
  desktop->cursor().watch({});
  EXPECT_FALSE(desktop->cursor().currentCursor());
  ASSERT_TRUE(server.restart());
  EXPECT_TRUE(testloop::waitFor([&] { return desktop->cursor().currentCursor().has_value(); }));
}

}  // namespace
}  // namespace vantora::testx11
