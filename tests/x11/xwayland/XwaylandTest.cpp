// On a Wayland desktop its X server neither shows the screen nor takes input, and the host reports that.
#include <QStandardPaths>

#include "main/control/input/InputInjector.h"
#include "main/video/sources/ScreenVideoSource.h"
#include "platform/DisplayServers.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11Input.h"
#include "platform/x11/Xwayland.h"
#include "platform/x11/capture/X11ScreenCapture.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/unit/video/sources/SourceTesting.h"
#include "tests/x11/support/TestWindow.h"
#include "tests/x11/support/WaylandDesktop.h"
#include "tests/x11/support/XephyrServer.h"
#include "tests/x11/support/XvfbServer.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora::testx11 {
namespace {

using testsupport::pumpUntil;

bool detectsXwayland(const XServer& server) {
  X11Connection connection(server.display());
  return connection.open() != nullptr && isXwayland(connection);
}

TEST(Xwayland, isNoOtherServer) {
  const XvfbServer xvfb;
  ASSERT_TRUE(xvfb.running());
  EXPECT_FALSE(detectsXwayland(xvfb));
  const XephyrServer xephyr(xvfb, 320, 240);
  ASSERT_TRUE(xephyr.running());
  EXPECT_FALSE(detectsXwayland(xephyr));
}

TEST(Xwayland, isNotAServerWithoutRandrOrWithoutAnAnswer) {
  XvfbServer server(640, 480, {"-extension", "RANDR"});
  ASSERT_TRUE(server.running());
  EXPECT_FALSE(detectsXwayland(server));
  X11Connection connection(server.display());
  ASSERT_NE(connection.open(), nullptr);
  server.stop();
  EXPECT_FALSE(isXwayland(connection));
  server.goOn();
}

TEST(DisplayServers, distinguishesAServerThatRepliesFromOthers) {
  const DisplayServers servers = displayServers();
  XvfbServer server(320, 240);
  ASSERT_TRUE(server.running());
  EXPECT_EQ(servers.xServer(server.display()), XServerKind::native);
  server.stop();
  EXPECT_EQ(servers.xServer(server.display()), XServerKind::absent);
  server.goOn();
  EXPECT_EQ(servers.xServer(u":59999"_s), XServerKind::absent);
  EXPECT_FALSE(servers.compositor(u"/nowhere/wayland-0"_s));
  EXPECT_FALSE(servers.compositor(u'/' + QString(200, u'x')));
  EXPECT_FALSE(servers.compositor(QString()));
}

class XwaylandTest : public testsupport::MainThreadTest, public testing::WithParamInterface<XwaylandServer::Kind> {
 protected:
  void SetUp() override {
    for (const QString& tool : {u"weston"_s, u"Xwayland"_s}) {
      if (QStandardPaths::findExecutable(tool).isEmpty()) GTEST_SKIP() << "needs " << tool.toStdString();
    }
    desktop_ = std::make_unique<WaylandDesktop>();
    ASSERT_TRUE(desktop_->running());
    server_ = std::make_unique<XwaylandServer>(*desktop_, GetParam());
    ASSERT_TRUE(server_->running());
  }

  testsupport::LockedLog log_;
  std::unique_ptr<WaylandDesktop> desktop_;
  std::unique_ptr<XwaylandServer> server_;
};

TEST_P(XwaylandTest, isRecognisedByItself) {
  EXPECT_TRUE(detectsXwayland(*server_));
  const DisplayServers servers = displayServers();
  EXPECT_EQ(servers.xServer(server_->display()), XServerKind::xwayland);
  EXPECT_TRUE(servers.compositor(desktop_->socketPath()));
}

TEST_P(XwaylandTest, showsNothingWhichIsAMissingPermission) {
  QStringList permissions;
  ScreenVideoSource source([name = server_->display().toStdString()] { return makeX11ScreenCapture(name); }, 640, 360,
                           30, 0, {.refused = [&](const QString& name) { permissions.append(name); }, .resized = {}});
  bool ended = false;
  source.start([&] { ended = true; });
  ASSERT_TRUE(pumpUntil([&] { return ended && !permissions.isEmpty(); }));
  EXPECT_EQ(permissions, QStringList{u"screen_recording"_s});
  EXPECT_EQ(log_.lines(),
            (QStringList{u"[sc] start error: this is a Wayland desktop, whose X server (Xwayland) does not "
                         u"show the screen; log in to an X11 session instead"_s,
                         u"[sc] Required permissions in System Settings → Privacy & Security:"_s,
                         u"[sc] - Screen Recording (for video capture)"_s}));
}

TEST_P(XwaylandTest, takesNoInputWhichIsAMissingPermission) {
  const auto displays = makeX11Displays(server_->display());
  const auto input = makeX11Input(server_->display(), *displays);
  fakes::FakeScheduler scheduler;
  InputInjector injector(*displays, *input, scheduler);
  std::optional<bool> permitted;
  injector.ensureAccessibility([&](bool answer) { permitted = answer; });
  EXPECT_EQ(permitted, false);
  EXPECT_EQ(log_.lines(), (QStringList{u"[control] Accessibility permission required: System Settings → Privacy & "
                                       u"Security → Accessibility"_s,
                                       u"[input] refused: this is a Wayland desktop, whose X server (Xwayland) passes "
                                       u"no input on to it; log in to an X11 session instead"_s}));
  TestWindow window(server_->display());
  ASSERT_TRUE(window.alive());
  const TestWindow::Pointer before = window.pointer();
  injector.move(0.25, 0.25);
  injector.click(0.75, 0.5, 0);
  injector.wheel(0, 300);
  injector.key(u"KeyA"_s, true, {});
  input->requestPermission([&](const InputPermission& answer) { permitted = answer.granted; });
  EXPECT_EQ(permitted, false);
  EXPECT_TRUE(window.ofType({XCB_KEY_PRESS, XCB_BUTTON_PRESS, XCB_MOTION_NOTIFY}).empty());
  EXPECT_EQ(window.pointer().x, before.x);
}

INSTANTIATE_TEST_SUITE_P(Kinds, XwaylandTest,
                         testing::Values(XwaylandServer::Kind::rootless, XwaylandServer::Kind::oneWindow),
                         [](const auto& kind) {
                           return kind.param == XwaylandServer::Kind::rootless ? "rootless" : "oneWindow";
                         });

}  // namespace
}  // namespace vantora::testx11
