#include "platform/linux/support/DesktopProbe.h"
#include "platform/linux/support/LinuxDownloads.h"
#include "tests/fakes/PrintQt.h"
#include "tests/unit/platform/support/TestHome.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// The settings are searched for in folders that the environment of this process names.
class ProcessVariable {
 public:
  ProcessVariable(const char* name, const QByteArray& value) : name_(name), before_(qgetenv(name)) {
    if (value.isNull()) {
      qunsetenv(name_);
    } else {
      qputenv(name_, value);
    }
  }
  ~ProcessVariable() {
    if (before_.isNull()) {
      qunsetenv(name_);
    } else {
      qputenv(name_, before_);
    }
  }
  ProcessVariable(const ProcessVariable&) = delete;
  ProcessVariable& operator=(const ProcessVariable&) = delete;

 private:
  const char* const name_;
  const QByteArray before_;
};

class DownloadFolderTest : public testing::Test {
 protected:
  void choose(const QByteArray& value) const {
    home_.write(u".config/user-dirs.dirs"_s, "XDG_DOWNLOAD_DIR=\"" + value + "\"\n");
  }

  const TestHome home_;
  const ProcessVariable homeVariable_{"HOME", home_.path().toUtf8()};
  const ProcessVariable configVariable_{"XDG_CONFIG_HOME", {}};
};

TEST_F(DownloadFolderTest, isTheOneOfTheUsersSettings) {
  choose("$HOME/Geladen/Neu");
  EXPECT_EQ(downloadFolder(), home_.path(u"Geladen/Neu"_s));
  choose("/srv/incoming");
  EXPECT_EQ(downloadFolder(), u"/srv/incoming"_s);
}

TEST_F(DownloadFolderTest, isTheUsualOneWithoutSettings) { EXPECT_EQ(downloadFolder(), home_.path(u"Downloads"_s)); }

TEST_F(DownloadFolderTest, isNeverTheHomeItself) {
  for (const QByteArray& none : {QByteArray("$HOME/"), QByteArray("$HOME"), QByteArray("$HOME/."),
                                 home_.path().toUtf8(), home_.path().toUtf8() + '/'}) {
    choose(none);
    EXPECT_EQ(downloadFolder(), home_.path(u"Downloads"_s)) << none.constData();
  }
}

TEST_F(DownloadFolderTest, isTheOneThatTheDesktopIsAskedToShow) {
  choose("$HOME/");
  EXPECT_EQ(probeDesktop(home_.environment).downloads, home_.path(u"Downloads"_s));
  EXPECT_FALSE(probeDesktop(home_.environment).downloadsExist);
  home_.write(u"Downloads/file"_s, "x");
  EXPECT_TRUE(probeDesktop(home_.environment).downloadsExist);
}

}  // namespace
}  // namespace vantora
