#include <gtest/gtest.h>

#include "companion/server/HttpRequest.h"

namespace vantora::companion {
namespace {

TEST(HttpRequestTest, readsMethodAndTarget) {
  const auto request = parseRequestHead("GET /a%20b?room=x HTTP/1.1\r\nHost: here\r\n\r\nbody");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->method, "GET");
  EXPECT_EQ(request->target, "/a%20b?room=x");
  EXPECT_FALSE(request->upgradesToWebSocket);
}

TEST(HttpRequestTest, recognisesAWebSocketUpgradeInAnySpelling) {
  for (const char* line : {"Upgrade: websocket", "upgrade:WebSocket", "UPGRADE : h2c, websocket "}) {
    const auto request = parseRequestHead(QByteArray("GET / HTTP/1.1\r\n") + line + "\r\n\r\n");
    ASSERT_TRUE(request) << line;
    EXPECT_TRUE(request->upgradesToWebSocket) << line;
  }
}

TEST(HttpRequestTest, doesNotTakeOtherHeadersForAnUpgrade) {
  const auto request = parseRequestHead(
      "GET /?Upgrade:%20websocket HTTP/1.1\r\nX-Upgrade: websocket\r\nUpgrade: h2c\r\n\r\nUpgrade: websocket");
  ASSERT_TRUE(request);
  EXPECT_FALSE(request->upgradesToWebSocket);
}

TEST(HttpRequestTest, readsWhetherItTakesGzip) {
  const auto accepts = [](const QByteArray& line) {
    const auto request = parseRequestHead("GET / HTTP/1.1\r\n" + line + "\r\n\r\n");
    return request && request->acceptsGzip;
  };
  for (const char* line :
       {"Accept-Encoding: gzip", "accept-encoding:deflate, GZIP;q=0.5, br", "Accept-Encoding: gzip; q=1"}) {
    EXPECT_TRUE(accepts(line)) << line;
  }
  for (const char* line : {"Accept: gzip", "Accept-Encoding: br", "Accept-Encoding: gzip;q=0",
                           "Accept-Encoding: gzip;q=x", "Accept-Encoding:"}) {
    EXPECT_FALSE(accepts(line)) << line;
  }
}

TEST(HttpRequestTest, readsWhereItWasSentToAndForWhichPage) {
  const auto program = parseRequestHead("GET / HTTP/1.1\r\nhost:  Here:80 \r\nX-Origin: http://a\r\n\r\n");
  ASSERT_TRUE(program);
  EXPECT_EQ(program->host, "Here:80");
  EXPECT_FALSE(program->origin);
  const auto page = parseRequestHead("GET / HTTP/1.1\r\nORIGIN: http://a\r\nOrigin: http://b\r\n\r\n");
  ASSERT_TRUE(page);
  EXPECT_TRUE(page->host.isEmpty());
  EXPECT_EQ(page->origin, "http://a, http://b");
}

TEST(HttpRequestTest, refusesWhatIsNotARequest) {
  for (const char* text :
       {"", "GET / HTTP/1.1\r\n", "\r\n\r\n", "hello\r\n\r\n", "GET /\r\n\r\n", "GET x HTTP/1.1\r\n\r\n",
        "GET / a HTTP/1.1\r\n\r\n", "GET / HTTP/2.0\r\n\r\n", " / HTTP/1.1\r\n\r\n"}) {
    EXPECT_FALSE(parseRequestHead(text)) << text;
  }
}

TEST(HttpRequestTest, waitsForTheEmptyLine) {
  EXPECT_FALSE(hasWholeHead("GET / HTTP/1.1\r\nHost: here\r\n"));
  EXPECT_TRUE(hasWholeHead("GET / HTTP/1.1\r\nHost: here\r\n\r\n"));
}

}  // namespace
}  // namespace vantora::companion
