#include <gtest/gtest.h>

#include "main/rtc/LibDataChannel.h"
#include "tests/fakes/EventLoop.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// A fake of the library's data channel.
class Wire : public webrtc::DataChannelInterface {
 public:
  void RegisterObserver(webrtc::DataChannelObserver* observer) override {
    observer_ = observer;
    for (const std::string& text : std::exchange(waiting_, {})) receive(text);
    if (const auto during = std::exchange(duringRegistration_, {})) during();
  }
  void UnregisterObserver() override { observer_ = nullptr; }
  std::string label() const override { return "control"; }
  bool reliable() const override { return true; }
  int id() const override { return 1; }
  DataState state() const override { return state_; }
  uint32_t messages_sent() const override { return 0; }
  uint64_t bytes_sent() const override { return 0; }
  uint32_t messages_received() const override { return 0; }
  uint64_t bytes_received() const override { return 0; }
  uint64_t buffered_amount() const override { return 0; }
  void Close() override { state_ = kClosed; }
  bool Send(const webrtc::DataBuffer&) override { return false; }

  void receive(const std::string& text) { observer_->OnMessage(webrtc::DataBuffer(text)); }
  void change(DataState to) {
    state_ = to;
    if (observer_) observer_->OnStateChange();
  }
  bool closed() const { return state_ == kClosed; }
  // Queues a message as received before the registration of an observer.
  void keep(const std::string& text) { waiting_.push_back(text); }
  void beforeRegistrationReturns(std::function<void()> task) { duringRegistration_ = std::move(task); }

 private:
  webrtc::DataChannelObserver* observer_ = nullptr;
  DataState state_ = kOpen;
  std::vector<std::string> waiting_;
  std::function<void()> duringRegistration_;
};

class LibDataChannelTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { testloop::ensureApplication(); }
  LibDataChannelTest() {
    channel_.setEvents({.stateChanged = {}, .message = [this](const QByteArray& data, bool) { got_.append(data); }});
  }

  rtc::scoped_refptr<rtc::RefCountedObject<Wire>> wire_{new rtc::RefCountedObject<Wire>()};
  LibDataChannel channel_{wire_, nullptr};
  QByteArrayList got_;
};

TEST_F(LibDataChannelTest, deliversInOrderOnMain) {
  for (int i = 0; i < 1000; ++i) wire_->receive(std::to_string(i));
  EXPECT_TRUE(got_.isEmpty());
  ASSERT_TRUE(testloop::waitFor([this] { return got_.size() == 1000; }));
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(got_[i], QByteArray::number(i));
}

// The events of a channel from its construction to its closing; `begin` runs before the construction, `go` after it.
class LibDataChannelStatesTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { testloop::ensureApplication(); }
  QStringList told(const std::function<void(Wire&)>& begin, const std::function<void(Wire&)>& go) {
    const rtc::scoped_refptr<rtc::RefCountedObject<Wire>> wire(new rtc::RefCountedObject<Wire>());
    QStringList events;
    begin(*wire);
    LibDataChannel channel(wire, nullptr);
    channel.setEvents(
        {.stateChanged = [&](ChannelState state) { events.append(QString::number(static_cast<int>(state))); },
         .message = [&](const QByteArray& data, bool) { events.append(QString::fromUtf8(data)); }});
    go(*wire);
    wire->change(webrtc::DataChannelInterface::kClosed);
    EXPECT_TRUE(testloop::waitFor([&] { return events.contains(u"3"_s); }));
    return events;
  }
};

TEST_F(LibDataChannelStatesTest, tellTheStateThatTheChannelBeganWith) {
  using Lib = webrtc::DataChannelInterface;
  const auto nothing = [](Wire&) {};
  EXPECT_EQ(told(nothing, nothing), (QStringList{u"1"_s, u"3"_s}));
  EXPECT_EQ(told([](Wire& wire) { wire.change(Lib::kClosed); }, nothing), (QStringList{u"3"_s}));
  EXPECT_EQ(told([](Wire& wire) { wire.change(Lib::kConnecting); }, [](Wire& wire) { wire.change(Lib::kOpen); }),
            (QStringList{u"1"_s, u"3"_s}));
}

TEST_F(LibDataChannelStatesTest, comeOnceWhenTheChannelOpensWhileItIsBeingTakenOver) {
  using Lib = webrtc::DataChannelInterface;
  EXPECT_EQ(told(
                [](Wire& wire) {
                  wire.change(Lib::kConnecting);
                  wire.beforeRegistrationReturns([&wire] { wire.change(Lib::kOpen); });
                },
                [](Wire& wire) { wire.change(Lib::kOpen); }),
            (QStringList{u"1"_s, u"3"_s}));
}

TEST_F(LibDataChannelStatesTest, comeBeforeTheMessagesThatWaited) {
  EXPECT_EQ(told([](Wire& wire) { wire.keep("early"); }, [](Wire& wire) { wire.receive("late"); }),
            (QStringList{u"1"_s, u"early"_s, u"late"_s, u"3"_s}));
}

TEST_F(LibDataChannelTest, closesOnAFloodOfEmptyMessages) {
  const int maximum = static_cast<int>(DataChannel::kMaxPendingBytes / 64);
  for (int i = 0; i < maximum; ++i) wire_->receive({});
  ASSERT_TRUE(testloop::waitFor([this] { return wire_->closed(); }));
  EXPECT_LT(got_.size(), maximum);
}

TEST_F(LibDataChannelTest, leavesMainToOthersBetweenSlicesOfABurst) {
  channel_.setEvents({.stateChanged = {}, .message = [this](const QByteArray& data, bool) {
                        got_.append(data);
                        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
                        while (std::chrono::steady_clock::now() < end) continue;
                      }});
  for (int i = 0; i < 20; ++i) wire_->receive("x");
  qsizetype handledAtFirstTurn = 0;
  QTimer::singleShot(0, [&] { handledAtFirstTurn = got_.size(); });
  ASSERT_TRUE(testloop::waitFor([&] { return handledAtFirstTurn > 0; }));
  EXPECT_LT(handledAtFirstTurn, 20);
  EXPECT_TRUE(testloop::waitFor([this] { return got_.size() == 20; }));
}

TEST_F(LibDataChannelTest, deliversNothingAfterTheHandlerDestroyedTheChannel) {
  auto channel = std::make_unique<LibDataChannel>(wire_, nullptr);
  int count = 0;
  channel->setEvents({.stateChanged = {}, .message = [&](const QByteArray&, bool) {
                        ++count;
                        channel.reset();
                      }});
  wire_->receive("a");
  wire_->receive("b");
  ASSERT_TRUE(testloop::waitFor([&] { return count > 0; }));
  testloop::drain();
  EXPECT_EQ(count, 1);
}

}  // namespace
}  // namespace vantora
