#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "companion/server/StaticFiles.h"

namespace vantora::companion {
namespace {

using namespace Qt::Literals::StringLiterals;

class StaticFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(outer_.isValid());
    write(u"secret.txt"_s, "secret");
    write(u"viewer-private/key.txt"_s, "secret");
    write(u"viewer/index.html"_s, "<!doctype html>");
    write(u"viewer/style.css"_s, "body{}");
    write(u"viewer/ui/chat.js"_s, "export {};");
    write(u"viewer/a b.txt"_s, "blank");
    write(u"viewer/.hidden"_s, "secret");
    ASSERT_TRUE(QFile::link(outer_.filePath(u"secret.txt"_s), outer_.filePath(u"viewer/link.txt"_s)));
    files_.emplace(outer_.filePath(u"viewer"_s));
  }

  void write(const QString& path, const QByteArray& content) {
    QDir(outer_.path()).mkpath(QFileInfo(path).path());
    QFile file(outer_.filePath(path));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
  }
  QByteArray get(const QByteArray& target, const QByteArray& method = "GET") const {
    return files_->response({method, target, false});
  }

  QTemporaryDir outer_;
  std::optional<StaticFiles> files_;
};

TEST_F(StaticFilesTest, servesThePageForTheRootWhateverTheQuery) {
  for (const char* target : {"/", "/?room=attic", "/index.html", "/?x=/../secret.txt"}) {
    const QByteArray response = get(target);
    EXPECT_TRUE(response.startsWith("HTTP/1.1 200 OK\r\n")) << target;
    EXPECT_TRUE(response.contains("\r\nContent-Type: text/html; charset=utf-8\r\n")) << target;
    EXPECT_TRUE(response.endsWith("\r\n\r\n<!doctype html>")) << target;
  }
}

TEST_F(StaticFilesTest, compressesLongTextsForThoseWhoTakeThat) {
  const QByteArray text = QByteArray("const all = [];\n").repeated(500);
  write(u"viewer/long.js"_s, text);
  const QByteArray plain = get("/long.js");
  EXPECT_TRUE(plain.endsWith("\r\n\r\n" + text));
  EXPECT_FALSE(plain.contains("Content-Encoding"));
  EXPECT_TRUE(plain.contains("\r\nVary: Accept-Encoding\r\n"));

  HttpRequest request{"GET", "/long.js", false};
  request.acceptsGzip = true;
  const QByteArray response = files_->response(request);
  const qsizetype head = response.indexOf("\r\n\r\n") + 4;
  const QByteArray body = response.sliced(head);
  EXPECT_TRUE(response.contains("\r\nContent-Encoding: gzip\r\n"));
  EXPECT_TRUE(response.contains("\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n"));
  EXPECT_LT(body.size(), text.size() / 10);
  // Qt reads the zlib format: the same data between another header, of its length and zlib's two bytes, and checksum.
  QByteArray zlib = QByteArray::fromHex("00001f40789c") + body.sliced(10, body.size() - 18);
  quint32 a = 1;
  quint32 b = 0;
  for (const char c : text) {
    a = (a + static_cast<unsigned char>(c)) % 65521;
    b = (b + a) % 65521;
  }
  for (const quint32 half : {b, a}) zlib.append(static_cast<char>(half >> 8)).append(static_cast<char>(half));
  EXPECT_EQ(qUncompress(zlib), text);

  request.method = "HEAD";
  EXPECT_EQ(files_->response(request), response.first(head));
  request.target = "/style.css";
  EXPECT_FALSE(files_->response(request).contains("Content-Encoding")) << "a short text gains nothing";
}

TEST_F(StaticFilesTest, namesTheTypeThatBrowsersInsistOn) {
  EXPECT_TRUE(get("/style.css").contains("\r\nContent-Type: text/css; charset=utf-8\r\n"));
  EXPECT_TRUE(get("/ui/chat.js").contains("\r\nContent-Type: text/javascript; charset=utf-8\r\n"));
}

TEST_F(StaticFilesTest, sendsSecurityHeadersAndForbidsCaching) {
  for (const char* target : {"/", "/nothing"}) {
    const QByteArray response = get(target);
    EXPECT_TRUE(response.contains("\r\nCache-Control: no-store\r\n"));
    EXPECT_TRUE(response.contains("\r\nX-Content-Type-Options: nosniff\r\n"));
    EXPECT_TRUE(response.contains("\r\nContent-Security-Policy: default-src 'none'; script-src 'self';"));
    EXPECT_TRUE(response.contains("frame-ancestors 'none'"));
    EXPECT_TRUE(response.contains("\r\nReferrer-Policy: no-referrer\r\n"));
  }
}

TEST_F(StaticFilesTest, headHasTheLengthButNoBody) {
  const QByteArray response = get("/", "HEAD");
  EXPECT_TRUE(response.contains("\r\nContent-Length: 15\r\n"));
  EXPECT_TRUE(response.endsWith("\r\n\r\n"));
  EXPECT_TRUE(get("/nothing", "HEAD").endsWith("\r\n\r\n"));
}

TEST_F(StaticFilesTest, refusesOtherMethods) {
  for (const char* method : {"POST", "PUT", "DELETE", "get"}) {
    const QByteArray response = get("/", method);
    EXPECT_TRUE(response.startsWith("HTTP/1.1 405 ")) << method;
    EXPECT_TRUE(response.contains("\r\nAllow: GET, HEAD\r\n")) << method;
  }
}

TEST_F(StaticFilesTest, decodesPercentSigns) { EXPECT_TRUE(get("/a%20b.txt").endsWith("blank")); }

TEST_F(StaticFilesTest, neverLeavesItsFolder) {
  for (const char* target :
       {"/../secret.txt", "/ui/../../secret.txt", "/%2e%2e/secret.txt", "/..%2fsecret.txt", "/%2e%2e%2fsecret.txt",
        "/..\\secret.txt", "/../viewer-private/key.txt", "//../secret.txt", "/link.txt", "/.hidden", "/ui", "/ui/",
        "/index.html%00.txt", "/%", "/%ff%fe", "/nothing"}) {
    const QByteArray response = get(target);
    EXPECT_TRUE(response.startsWith("HTTP/1.1 404 ")) << target;
    EXPECT_FALSE(response.contains("secret")) << target;
  }
}

TEST_F(StaticFilesTest, aMissingFolderServesNothing) {
  const StaticFiles none(outer_.filePath(u"nowhere"_s));
  EXPECT_TRUE(none.response({"GET", "/etc/passwd", false}).startsWith("HTTP/1.1 404 "));
}

}  // namespace
}  // namespace vantora::companion
