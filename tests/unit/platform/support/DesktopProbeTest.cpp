#include "platform/linux/support/DesktopProbe.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/TestHome.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(DesktopProbeTest, readsTheDesktopFromTheEnvironment) {
  TestHome home;
  EXPECT_FALSE(probeDesktop(home.environment).display);
  EXPECT_EQ(probeDesktop(home.environment).desktop, DesktopKind::other);
  home.environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"ubuntu:GNOME"_s);
  home.environment.insert(u"DISPLAY"_s, u":7"_s);
  EXPECT_TRUE(probeDesktop(home.environment).display);
  EXPECT_EQ(probeDesktop(home.environment).desktop, DesktopKind::gnome);
  home.environment.remove(u"DISPLAY"_s);
  home.environment.insert(u"WAYLAND_DISPLAY"_s, u"wayland-0"_s);
  EXPECT_TRUE(probeDesktop(home.environment).display);
}

TEST(DesktopProbeTest, findsProgramsInThePathAndAmongTheSystems) {
  TestHome home;
  home.program(u"own-tool"_s, "true");
  home.write(u"bin/no-program"_s, "text");
  const DesktopFacts facts = probeDesktop(home.environment);
  EXPECT_EQ(facts.find(u"own-tool"_s), home.path(u"bin/own-tool"_s));
  EXPECT_TRUE(facts.has(u"sh"_s));
  EXPECT_FALSE(facts.has(u"no-program"_s));
  EXPECT_FALSE(facts.has(u"no-such-program-anywhere"_s));
  // Not in a user's PATH.
  EXPECT_TRUE(facts.find(u"ldconfig"_s).endsWith(u"/sbin/ldconfig"_s)) << facts.find(u"ldconfig"_s).toStdString();
}

TEST(DesktopProbeTest, knowsTheFoldersOfTheUser) {
  TestHome home;
  const DesktopFacts facts = probeDesktop(home.environment);
  EXPECT_EQ(facts.home, home.path());
  EXPECT_EQ(facts.caches, home.path(u".cache"_s));
  EXPECT_TRUE(facts.folderExists(home.path(u"bin"_s)));
  EXPECT_FALSE(facts.folderExists(home.path(u"nothing"_s)));
  home.environment.insert(u"XDG_CACHE_HOME"_s, u"/var/tmp/caches"_s);
  EXPECT_EQ(probeDesktop(home.environment).caches, u"/var/tmp/caches"_s);
  home.environment.insert(u"XDG_CACHE_HOME"_s, u"not/absolute"_s);
  EXPECT_EQ(probeDesktop(home.environment).caches, home.path(u".cache"_s));
}

TEST(DesktopProbeTest, tellsTheSystemsDnsmasqFromThoseOfPrivateNetworks) {
  const QByteArray session = "0::/user.slice/user-1000.slice/session-2.scope\n";
  EXPECT_TRUE(servesThisSystem({"/usr/sbin/dnsmasq", "-x", "/run/dnsmasq/dnsmasq.pid"}, session));
  EXPECT_TRUE(servesThisSystem({"dnsmasq", "-x/var/run/dnsmasq.pid"}, {}));
  EXPECT_TRUE(servesThisSystem({"dnsmasq", "--no-hosts", "--pid-file=/run/NetworkManager/dnsmasq.pid"},
                               "0::/system.slice/NetworkManager.service\n"));
  EXPECT_TRUE(servesThisSystem({"dnsmasq"}, "1:name=systemd:/\n0::/system.slice/dnsmasq.service\n"));
  EXPECT_FALSE(servesThisSystem({"/usr/sbin/dnsmasq", "--conf-file=/var/lib/libvirt/dnsmasq/default.conf"},
                                "0::/system.slice/libvirtd.service\n"));
  EXPECT_FALSE(servesThisSystem({"dnsmasq", "--pid-file=/run/lxc/dnsmasq.pid"}, "0::/system.slice/lxc-net.service\n"));
  EXPECT_FALSE(servesThisSystem({"dnsmasq", "--pid-file=/run/nm-dnsmasq-wlan0.pid"},
                                "0::/system.slice/NetworkManager.service\n"));
  EXPECT_FALSE(servesThisSystem({"dnsmasq"}, session));
  EXPECT_FALSE(servesThisSystem({}, {}));
}

TEST(DesktopProbeTest, findsTheServiceManagerOfTheUserByItsSocket) {
  TestHome home;
  home.environment.insert(u"XDG_RUNTIME_DIR"_s, home.path());
  EXPECT_FALSE(probeDesktop(home.environment).serviceManager);
  home.write(u"systemd/private"_s, "");
  EXPECT_TRUE(probeDesktop(home.environment).serviceManager);
}

}  // namespace
}  // namespace vantora
