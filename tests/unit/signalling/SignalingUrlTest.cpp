#include <gtest/gtest.h>

#include "main/signalling/SignalingUrl.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using Values = std::initializer_list<std::pair<const char*, const char*>>;

const QStringList kNoArguments{u"host"_s};

// The URL as text, or "error: " and the message.
QString resolve(Values environment, const QStringList& arguments = kNoArguments, const InfoDictionary& info = {}) {
  const auto result = resolveSignalingUrl(info, Environment::of(environment), arguments);
  if (const auto* error = std::get_if<SignalingUrlError>(&result)) return u"error: "_s + error->message;
  const auto& url = std::get<SignalingUrl>(result);
  EXPECT_EQ(url.url, QUrl(url.text));
  return url.text;
}

InfoDictionary infoUrl(const QString& text) { return InfoDictionary({{u"VANTORA_SIGNAL_URL"_s, text}}); }

TEST(SignalingUrl, isThisMachineByDefault) { EXPECT_EQ(resolve({}), u"ws://localhost:8080"_s); }

TEST(SignalingUrl, prefersTheInformationKeyToEverything) {
  EXPECT_EQ(resolve({{"SIGNAL_URL", "ws://b"}, {"SIGNAL_HOST", "c"}}, {u"host"_s, u"room"_s, u"ws://d"_s},
                    infoUrl(u"wss://a/path?x=1"_s)),
            u"wss://a/path?x=1"_s);
}

TEST(SignalingUrl, prefersTheVariableToHostAndArgument) {
  EXPECT_EQ(resolve({{"SIGNAL_URL", "ws://b:1"}, {"SIGNAL_HOST", "c"}}, {u"host"_s, u"room"_s, u"ws://d"_s}),
            u"ws://b:1"_s);
}

TEST(SignalingUrl, prefersTheHostToTheArgument) {
  EXPECT_EQ(resolve({{"SIGNAL_HOST", "c"}}, {u"host"_s, u"room"_s, u"ws://d"_s}), u"ws://c:8080"_s);
}

TEST(SignalingUrl, fallsThroughTextsThatAreNotUrls) {
  for (const char* text : {"", "ws://a b", "ws://h:port", "http://[::1", "ws://h/%zz"}) {
    EXPECT_EQ(resolve({{"SIGNAL_URL", text}, {"SIGNAL_HOST", "h"}}), u"ws://h:8080"_s) << text;
    EXPECT_EQ(resolve({{"SIGNAL_URL", "ws://b"}}, kNoArguments, infoUrl(QString::fromLatin1(text))), u"ws://b"_s)
        << text;
    EXPECT_EQ(resolve({}, {u"host"_s, u"room"_s, QString::fromLatin1(text)}), u"ws://localhost:8080"_s) << text;
  }
}

TEST(SignalingUrl, usesThePortWhenItIsANumber) {
  EXPECT_EQ(resolve({{"SIGNAL_HOST", "h"}, {"SIGNAL_PORT", "9000"}}), u"ws://h:9000"_s);
  EXPECT_EQ(resolve({{"SIGNAL_HOST", "h"}, {"SIGNAL_PORT", "x"}}), u"ws://h:8080"_s);
  EXPECT_EQ(resolve({{"SIGNAL_HOST", "h"}, {"SIGNAL_PORT", ""}}), u"ws://h:8080"_s);
}

TEST(SignalingUrl, encryptsOnlyWhenTheTlsVariableIsZero) {
  EXPECT_EQ(resolve({{"SIGNAL_HOST", "h"}, {"SIGNAL_TLS", "0"}}), u"wss://h:8080"_s);
  for (const char* text : {"1", "", "true", "00", "false"}) {
    EXPECT_EQ(resolve({{"SIGNAL_HOST", "h"}, {"SIGNAL_TLS", text}}), u"ws://h:8080"_s) << text;
  }
}

TEST(SignalingUrl, ignoresAnEmptyHost) { EXPECT_EQ(resolve({{"SIGNAL_HOST", ""}}), u"ws://localhost:8080"_s); }

TEST(SignalingUrl, isFatalForAHostThatMakesNoUrl) {
  const QStringList arguments{u"host"_s, u"room"_s, u"ws://d"_s};
  EXPECT_EQ(resolve({{"SIGNAL_HOST", "a b"}}, arguments), u"error: not a signaling url: ws://a b:8080"_s);
  EXPECT_EQ(resolve({{"SIGNAL_HOST", "h"}, {"SIGNAL_PORT", "70000"}}, arguments),
            u"error: not a signaling url: ws://h:70000"_s);
}

TEST(SignalingUrl, takesTheSecondArgumentOnly) {
  EXPECT_EQ(resolve({}, {u"host"_s, u"room"_s, u"ws://d:5/x"_s}), u"ws://d:5/x"_s);
  EXPECT_EQ(resolve({}, {u"host"_s, u"ws://d"_s}), u"ws://localhost:8080"_s);
  EXPECT_EQ(resolve({}, {}), u"ws://localhost:8080"_s);
}

TEST(SignalingUrl, keepsTheTextAsConfigured) { EXPECT_EQ(resolve({{"SIGNAL_URL", "WS://Host"}}), u"WS://Host"_s); }

}  // namespace
}  // namespace vantora
