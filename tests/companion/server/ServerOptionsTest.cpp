#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "companion/server/ServerOptions.h"

namespace vantora::companion {
namespace {

using namespace Qt::Literals::StringLiterals;

ServerOptions parse(const QStringList& arguments) { return parseServerOptions(QStringList{u"server"_s} + arguments); }

TEST(ServerOptionsTest, listensOnTheLoopbackAtPort8080ByDefault) {
  const ServerOptions options = parse({});
  EXPECT_TRUE(options.error.isEmpty());
  EXPECT_EQ(options.port, 8080);
  EXPECT_EQ(options.listen, QHostAddress(QHostAddress::LocalHost));
  EXPECT_TRUE(options.viewerFolder.isEmpty());
  EXPECT_TRUE(options.allowedOrigins.isEmpty());
  EXPECT_FALSE(options.helpWanted);
}

TEST(ServerOptionsTest, takesPortAddressAndFolder) {
  const ServerOptions options = parse({u"--port"_s, u"0"_s, u"--listen=::1"_s, u"--viewer-dir"_s, u"page"_s});
  EXPECT_TRUE(options.error.isEmpty());
  EXPECT_EQ(options.port, 0);
  EXPECT_EQ(options.listen, QHostAddress(QHostAddress::LocalHostIPv6));
  EXPECT_EQ(options.viewerFolder, u"page"_s);
}

TEST(ServerOptionsTest, namesWhatIsWrong) {
  for (const QStringList& arguments :
       {QStringList{u"--port"_s, u"70000"_s}, QStringList{u"--port"_s, u"-1"_s}, QStringList{u"--port"_s, u"http"_s},
        QStringList{u"--port"_s}, QStringList{u"--listen"_s, u"not an address"_s}, QStringList{u"--nonsense"_s},
        QStringList{u"extra"_s}}) {
    EXPECT_FALSE(parse(arguments).error.isEmpty()) << qPrintable(arguments.join(u' '));
  }
}

TEST(ServerOptionsTest, takesOriginsOfPagesFromElsewhere) {
  const ServerOptions options =
      parse({u"--allow-origin"_s, u"HTTPS://Support.Example:443/"_s, u"--allow-origin=http://10.0.0.1:8090"_s});
  EXPECT_TRUE(options.error.isEmpty());
  EXPECT_EQ(options.allowedOrigins, (QByteArrayList{"https://support.example", "http://10.0.0.1:8090"}));
  for (const char* wrong :
       {"null", "*", "support.example", "ftp://a", "http://", "http://a/page", "http://a?b", "http://me@a"}) {
    EXPECT_FALSE(parse({u"--allow-origin"_s, QString::fromLatin1(wrong)}).error.isEmpty()) << wrong;
  }
}

TEST(ServerOptionsTest, helpListsEveryOption) {
  const ServerOptions options = parse({u"--help"_s});
  EXPECT_TRUE(options.helpWanted);
  for (const char* option : {"--port", "--listen", "--viewer-dir", "--allow-origin", "--help"}) {
    EXPECT_TRUE(options.helpText.contains(QLatin1StringView(option))) << option;
  }
}

TEST(ServerOptionsTest, findsThePageOfAnInstallationAndOfABuildTree) {
  QTemporaryDir folder;
  const auto add = [&folder](const QString& path) {
    ASSERT_TRUE(QDir(folder.path()).mkpath(path));
    QFile page(folder.filePath(path + u"/index.html"_s));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
  };
  const QString root = QDir(folder.path()).canonicalPath();
  ASSERT_TRUE(QDir(root).mkpath(u"build/release"_s));
  ASSERT_TRUE(QDir(root).mkpath(u"bin"_s));
  EXPECT_TRUE(findViewerFolder(root + u"/bin"_s).isEmpty());
  add(u"companion/viewer"_s);
  EXPECT_EQ(findViewerFolder(root + u"/build/release"_s), root + u"/companion/viewer"_s);
  add(u"share/vantora-host/viewer"_s);
  EXPECT_EQ(findViewerFolder(root + u"/bin"_s), root + u"/share/vantora-host/viewer"_s);
}

}  // namespace
}  // namespace vantora::companion
