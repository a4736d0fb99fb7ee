#include "Diagnostics/text/SecurityText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(SecurityTextTest, firewallIsOnAboveZero) {
  EXPECT_EQ(firewallState(u"0"_s), u"Off"_s);
  EXPECT_EQ(firewallState(u"1"_s), u"On"_s);
  EXPECT_EQ(firewallState(u" 2\n"_s), u"On"_s);
  EXPECT_EQ(firewallState(u"-1"_s), u"Off"_s);
  EXPECT_EQ(firewallState(QString()), u"Off"_s);
  EXPECT_EQ(firewallState(u"yes"_s), u"Off"_s);
}

TEST(SecurityTextTest, readsTheSecureBootVariable) {
  EXPECT_TRUE(isSecureBootOn(QByteArray("\x06\0\0\0\x01", 5)));
  EXPECT_FALSE(isSecureBootOn(QByteArray("\x06\0\0\0\0", 5)));
  EXPECT_FALSE(isSecureBootOn(QByteArray("\x01", 1)));
  EXPECT_FALSE(isSecureBootOn({}));
}

TEST(SecurityTextTest, aptTrustsWhatItIsConfiguredToTrust) {
  const QString signedList =
      u"deb [arch=amd64 signed-by=/k.gpg] http://deb.example stable main\n# deb [trusted=yes] http://x y z"_s;
  EXPECT_TRUE(aptChecksSignatures(
      {u"// APT::Get::AllowUnauthenticated \"true\";\nAPT::Get::AllowUnauthenticated \"false\";"_s}, {signedList}));
  EXPECT_FALSE(aptChecksSignatures({u"APT::Get::AllowUnauthenticated \"true\";"_s}, {signedList}));
  EXPECT_FALSE(aptChecksSignatures({u"Acquire::AllowInsecureRepositories 1;"_s}, {}));
  EXPECT_FALSE(aptChecksSignatures({}, {u"deb [ arch=amd64 trusted=yes ] http://x y z"_s}));
  EXPECT_FALSE(aptChecksSignatures({}, {u"Types: deb\nURIs: http://x\nTrusted: yes\n"_s}));
  EXPECT_TRUE(aptChecksSignatures({}, {u"Types: deb\nTrusted: no\n"_s}));
}

TEST(SecurityTextTest, rpmRepositoriesMayOptOut) {
  const QString fine = u"[updates]\nname=x\ngpgcheck=1\nenabled=1\n"_s;
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\ngpgcheck=1\n"_s, {fine}, false));
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\n"_s, {fine}, false)) << "each of them says so itself";
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\ngpgcheck=0\n"_s, {fine}, false));
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\n"_s, {fine}, true));
  EXPECT_FALSE(rpmChecksSignatures(u"[main]\ngpgcheck=True\n"_s, {fine + u"[bad]\ngpgcheck=0\n"_s}, false));
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\ngpgcheck=True\n"_s, {fine + u"[off]\nenabled=0\ngpgcheck=0\n"_s}, false));
}

TEST(SecurityTextTest, rpmRepositoriesWithoutAValueTakeTheMainOne) {
  const QString fine = u"[updates]\nname=x\ngpgcheck=1\n"_s;
  const QString silent = u"[extras]\nname=y\nenabled=1\n"_s;
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\ngpgcheck=1\n"_s, {fine, silent}, false));
  EXPECT_FALSE(rpmChecksSignatures(u"[main]\ngpgcheck=0\n"_s, {fine, silent}, true));
  EXPECT_FALSE(rpmChecksSignatures(u"[main]\n"_s, {fine, silent}, false));
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\n"_s, {fine, silent}, true));
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\n"_s, {fine, u"[off]\nenabled=0\n"_s}, false)) << "off, it asks nobody";
}

TEST(SecurityTextTest, rpmWithoutRepositoriesGoesByTheMainValue) {
  EXPECT_TRUE(rpmChecksSignatures(u"[main]\ngpgcheck=1\n"_s, {}, false));
  EXPECT_FALSE(rpmChecksSignatures(u"[main]\n"_s, {}, false));
  EXPECT_FALSE(rpmChecksSignatures({}, {u"[off]\nenabled=0\ngpgcheck=1\n"_s}, false));
}

TEST(SecurityTextTest, readsFirewallSources) {
  EXPECT_TRUE(isUfwOn(u"# /etc/ufw/ufw.conf\nENABLED=yes\nLOGLEVEL=low"_s));
  EXPECT_FALSE(isUfwOn(u"# ENABLED=yes\nENABLED=no"_s));
  EXPECT_TRUE(isAnyUnitActive(u"inactive\nactive\n"_s));
  EXPECT_FALSE(isAnyUnitActive(u"inactive\nfailed\nactivating\n"_s));
}

TEST(SecurityTextTest, aRulesetMustHoldSomethingBack) {
  EXPECT_TRUE(filtersInput(
      u"table inet filter {\n\tchain input {\n\t\ttype filter hook input priority filter; policy drop;\n\t}\n}"_s));
  EXPECT_TRUE(filtersInput(
      u"table inet f {\n\tchain in {\n\t\ttype filter hook input priority 0; policy accept;\n\t\ttcp dport 22 accept\n\t\tcounter drop\n\t}\n}"_s));
  EXPECT_FALSE(filtersInput(
      u"table ip nat {\n\tchain out {\n\t\ttype filter hook output priority 0; policy drop;\n\t\tdrop\n\t}\n}"_s));
  EXPECT_FALSE(filtersInput(
      u"table inet f {\n\tchain in {\n\t\ttype filter hook input priority 0; policy accept;\n\t}\n\tchain other {\n\t\tdrop\n\t}\n}"_s));
  EXPECT_FALSE(filtersInput(QString()));
}

}  // namespace
}  // namespace vantora::Diagnostics
