#include "Diagnostics/text/UpdateText.h"
#include "tests/diagnostics/Printing.h"

namespace vantora::Diagnostics {
namespace {
using namespace Qt::Literals::StringLiterals;

TEST(UpdateTextTest, namesTheSystem) {
  EXPECT_EQ(
      osVersion(u"PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n"_s),
      u"Debian GNU/Linux 12 (bookworm)"_s);
  EXPECT_EQ(osVersion(u"NAME=Arch\nVERSION_ID='1'"_s), u"Arch 1"_s);
  EXPECT_EQ(osVersion(u"PRETTY_NAME=\"My \\\"own\\\" system\""_s), u"My \"own\" system"_s);
  EXPECT_EQ(osVersion(QString()), QString());
}

TEST(UpdateTextTest, readsApt) {
  EXPECT_EQ(
      parseApt(
          u"Listing...\nbash/stable 5.2.15-2+b13 amd64 [upgradable from: 5.2.15-2+b8]\n\nN: There is 1 additional version.\n"_s),
      QStringList(u"bash/stable 5.2.15-2+b13 amd64 [upgradable from: 5.2.15-2+b8]"_s));
  QString many;
  for (int i = 0; i < 500; ++i) many += u"p%1/stable 2 amd64 [upgradable from: 1]\n"_s.arg(i);
  EXPECT_EQ(parseApt(many).size(), kListedUpdates);
}

TEST(UpdateTextTest, readsDnf) {
  EXPECT_EQ(parseDnf(u"Available Upgrades\nbash.x86_64      5.2.21-1.fc39        updates\nLast metadata expiration "
                     u"check: long ago\n"
                     "Obsoleting Packages\nnew.noarch 2-1 updates\n"_s),
            QStringList(u"bash.x86_64 5.2.21-1.fc39 updates"_s));
}

TEST(UpdateTextTest, readsPackageKit) {
  EXPECT_EQ(
      parsePackageKit(
          u"Transaction:\tGetting updates\nStatus: \tQuerying\nResults:\nNormal       \tbash-5.2-3.x86_64 (updates)\n"
          "Bug fix      \tvim-9.0-1.x86_64 (updates)\tText editor\nThere are no updates available at this time.\n"_s),
      QStringList({u"bash-5.2-3.x86_64 (updates)"_s, u"vim-9.0-1.x86_64 (updates) Text editor"_s}));
}

}  // namespace
}  // namespace vantora::Diagnostics
