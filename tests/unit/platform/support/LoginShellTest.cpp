#include <gtest/gtest.h>

#include "platform/linux/support/LoginShell.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

TEST(LoginShellTest, runsTheScriptThroughTheShellOfTheUser) {
  for (const QString& shell : {u"/bin/bash"_s, u"/bin/sh"_s, u"/usr/bin/zsh"_s, u"/bin/dash"_s, u"/bin/ksh"_s}) {
    EXPECT_EQ(throughLoginShell(shell, u"echo 'x'"_s),
              (QStringList{shell, u"-lc"_s, u"exec /bin/sh -c \"$1\""_s, u"sh"_s, u"echo 'x'"_s}));
  }
}

TEST(LoginShellTest, speaksToFishInItsOwnWay) {
  EXPECT_EQ(throughLoginShell(u"/usr/bin/fish"_s, u"echo"_s),
            (QStringList{u"/usr/bin/fish"_s, u"-lc"_s, u"exec /bin/sh -c $argv[1]"_s, u"echo"_s}));
}

TEST(LoginShellTest, takesTheSystemsShellInPlaceOfOnesThatTakeNoCommand) {
  for (const QString& shell :
       {u"/usr/sbin/nologin"_s, u"/bin/false"_s, u"/bin/tcsh"_s, u"/opt/own-shell"_s, QString()}) {
    EXPECT_EQ(throughLoginShell(shell, u"echo"_s).first(2), (QStringList{u"/bin/sh"_s, u"-lc"_s}))
        << shell.toStdString();
  }
}

TEST(LoginShellTest, findsAShellForThisUser) { EXPECT_TRUE(loginShellOfUser().startsWith(u'/')); }

}  // namespace
}  // namespace vantora
