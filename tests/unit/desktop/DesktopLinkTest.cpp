#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "main/desktop/DesktopLink.h"
#include "tests/fakes/EventLoop.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

class DesktopLinkTest : public testing::Test {
 protected:
  void SetUp() override {
    testloop::ensureApplication();
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0);
    link_ = std::make_unique<DesktopLink>(
        ends_[0], DesktopLink::Events{.message = [this](const JsonObject& message) { received_.push_back(message); },
                                      .lost = [this] { ++lost_; }});
  }
  void TearDown() override {
    if (ends_[1] >= 0) close(ends_[1]);
  }
  void write(const QByteArray& bytes) { ASSERT_EQ(::write(ends_[1], bytes.constData(), bytes.size()), bytes.size()); }
  void makeOther() {
    other_ = std::make_unique<DesktopLink>(
        ends_[1],
        DesktopLink::Events{.message = [this](const JsonObject& message) { otherReceived_.push_back(message); },
                            .lost = [] {}});
    ends_[1] = -1;
  }

  int ends_[2] = {-1, -1};
  std::vector<JsonObject> received_;
  std::vector<JsonObject> otherReceived_;
  int lost_ = 0;
  std::unique_ptr<DesktopLink> link_;
  std::unique_ptr<DesktopLink> other_;
};

TEST_F(DesktopLinkTest, carriesMessagesBothWaysInOrder) {
  makeOther();
  for (int i = 0; i < 100; ++i) {
    link_->send({{u"type"_s, u"a"_s}, {u"n"_s, i}});
    other_->send({{u"type"_s, u"b"_s}, {u"n"_s, i}});
  }
  ASSERT_TRUE(testloop::waitFor([&] { return received_.size() == 100 && otherReceived_.size() == 100; }));
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(received_[i].value(u"n").toInt(), i);
    EXPECT_EQ(otherReceived_[i].value(u"type").toString(), u"a"_s);
  }
}

TEST_F(DesktopLinkTest, takesWhatWasSentBeforeTheEndAlthoughItReplies) {
  int otherLost = 0;
  int taken = 0;
  std::unique_ptr<DesktopLink> other;
  const auto take = [&](const JsonObject&) {
    // The end comes while the first message is handled.
    if (++taken == 1) {
      link_->send({{u"type"_s, u"second"_s}});
      link_->endSending();
    }
    other->send({{u"type"_s, u"reply"_s}});
  };
  other = std::make_unique<DesktopLink>(std::exchange(ends_[1], -1),
                                        DesktopLink::Events{.message = take, .lost = [&] { ++otherLost; }});
  link_->send({{u"type"_s, u"first"_s}});
  ASSERT_TRUE(testloop::waitFor([&] { return otherLost > 0; }));
  EXPECT_EQ(taken, 2);
}

TEST_F(DesktopLinkTest, deliversOnceAlthoughTheReceiverRunsAnEventLoop) {
  std::vector<int> taken;
  const auto take = [&](const JsonObject& message) {
    taken.push_back(message.value(u"n").toInt());
    if (taken.size() > 1) return;
    link_->send({{u"type"_s, u"a"_s}, {u"n"_s, 3}});
    EXPECT_TRUE(testloop::waitFor([&] { return taken.size() >= 4; }));
  };
  const DesktopLink other(std::exchange(ends_[1], -1), DesktopLink::Events{.message = take, .lost = [] {}});
  for (int i = 0; i < 3; ++i) link_->send({{u"type"_s, u"a"_s}, {u"n"_s, i}});
  ASSERT_TRUE(testloop::waitFor([&] { return taken.size() >= 4; }));
  testloop::drain();
  EXPECT_EQ(taken, (std::vector{0, 1, 2, 3}));
}

TEST_F(DesktopLinkTest, putsTogetherAMessageThatArrivesInPieces) {
  const QByteArray text = R"({"type":"x"})";
  QByteArray bytes(4, '\0');
  bytes[0] = static_cast<char>(text.size());
  bytes += text;
  for (qsizetype i = 0; i + 1 < bytes.size(); ++i) {
    write(bytes.mid(i, 1));
    testloop::drain();
  }
  EXPECT_TRUE(received_.empty());
  write(bytes.right(1));
  ASSERT_TRUE(testloop::waitFor([&] { return received_.size() == 1; }));
  EXPECT_EQ(received_[0].value(u"type").toString(), u"x"_s);
}

TEST_F(DesktopLinkTest, carriesATextOfTenMegabytes) {
  makeOther();
  const QString text(10'000'000, QChar(u'ä'));
  link_->send({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, text}});
  ASSERT_TRUE(testloop::waitFor([&] { return otherReceived_.size() == 1; }));
  EXPECT_EQ(otherReceived_[0].value(u"text").toString(), text);
}

TEST_F(DesktopLinkTest, isLostOnceWhenTheOtherSideGoes) {
  close(std::exchange(ends_[1], -1));
  ASSERT_TRUE(testloop::waitFor([&] { return lost_ > 0; }));
  link_->send({{u"type"_s, u"late"_s}});
  testloop::drain();
  EXPECT_EQ(lost_, 1);
}

TEST_F(DesktopLinkTest, isLostOnATextThatIsNoObject) {
  write(QByteArray("\x02\x00\x00\x00[]", 6));
  ASSERT_TRUE(testloop::waitFor([&] { return lost_ > 0; }));
  EXPECT_TRUE(received_.empty());
}

TEST_F(DesktopLinkTest, isLostOnALengthBeyondTheLimit) {
  write(QByteArray("\xff\xff\xff\xff", 4));
  ASSERT_TRUE(testloop::waitFor([&] { return lost_ > 0; }));
}

TEST_F(DesktopLinkTest, givesUpASideThatStopsReadingBeforeMemoryRunsOut) {
  const JsonObject large{{u"type"_s, u"x"_s}, {u"text"_s, QString(8'000'000, QChar(u'x'))}};
  int sent = 0;
  while (lost_ == 0 && sent < 100) {
    link_->send(large);
    ++sent;
    testloop::drain();
  }
  EXPECT_EQ(lost_, 1);
  EXPECT_LE(sent, DesktopLink::kMaxWaitingBytes / 8'000'000 + 1);
}

}  // namespace
}  // namespace vantora
