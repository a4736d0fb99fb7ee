#include <gtest/gtest.h>

#include <functional>

#include "main/rtc/congestion/LinkCapacity.h"

namespace vantora {
namespace {

using webrtc::DataRate;
using webrtc::DataSize;
using webrtc::PacketResult;
using webrtc::TimeDelta;
using webrtc::Timestamp;

constexpr double kPacketBits = 1200 * 8;

class LinkCapacityTest : public ::testing::Test {
 protected:
  // Sends `count` packets of 1200 bytes at `kbps`, of which the link carries `linkKbps` and each `loseEvery`th is lost;
  // the viewer's clock runs ahead by `driftMs` in the meantime. Reports come after every fifth packet.
  void send(int count, double kbps, double linkKbps, int loseEvery = 0, double driftMs = 0,
            const std::function<double(int)>& jitterMs = {}) {
    webrtc::TransportPacketsFeedback report;
    for (int i = 1; i <= count; ++i) {
      sentMs_ += kPacketBits / kbps;
      PacketResult packet;
      packet.sent_packet.send_time = at(sentMs_);
      packet.sent_packet.size = DataSize::Bytes(1200);
      packet.sent_packet.sequence_number = ++sequence_;
      if (loseEvery == 0 || i % loseEvery != 0) {
        freeMs_ = std::max(freeMs_, sentMs_) + kPacketBits / linkKbps;
        aheadMs_ += driftMs / count;
        packet.receive_time = at(freeMs_ + kClockMs + aheadMs_ + (jitterMs ? jitterMs(i) : 0));
      }
      report.packet_feedbacks.push_back(packet);
      if (i % 5 != 0) continue;
      report.feedback_time = at(freeMs_);
      link_.onFeedback(report);
      report = {};
    }
  }
  void pause(double ms) { sentMs_ = std::max(sentMs_, freeMs_) + ms; }
  static Timestamp at(double ms) { return Timestamp::Micros(static_cast<int64_t>(ms * 1000)); }
  static double kbps(std::optional<DataRate> rate) { return rate ? rate->bps<double>() / 1000 : 0; }

  static constexpr double kClockMs = 123456;  // The viewer's clock shows another time.
  LinkCapacity link_;
  double sentMs_ = 1000;
  double freeMs_ = 0;
  double aheadMs_ = 0;
  int64_t sequence_ = 0;
};

TEST_F(LinkCapacityTest, measuresTheLinkWhileItsQueueGrows) {
  send(30, 3000, 2000);
  EXPECT_NEAR(kbps(link_.capacity()), 2000, 20);
  EXPECT_TRUE(link_.queues());
  EXPECT_EQ(link_.measuredAt(), at(freeMs_));
  EXPECT_NEAR(link_.queueDelay().ms<double>(), 30 * kPacketBits * (1 / 2000.0 - 1 / 3000.0), 2);
}

TEST_F(LinkCapacityTest, knowsNoCapacityWithoutAQueue) {
  send(200, 1000, 2000);
  EXPECT_FALSE(link_.capacity());
  EXPECT_FALSE(link_.queues());
  EXPECT_NEAR(kbps(link_.proven()), 1000, 10);
}

TEST_F(LinkCapacityTest, aRateWithPausesProvesNothing) {
  for (int i = 0; i < 50; ++i) {
    send(5, 4000, 8000);
    pause(50);
  }
  EXPECT_FALSE(link_.proven());
}

TEST_F(LinkCapacityTest, meansIncludePauses) {
  for (int i = 0; i < 50; ++i) {
    send(5, 8000, 8000);
    pause(94);
  }
  EXPECT_NEAR(kbps(link_.arriving()), 480, 60);
}

TEST_F(LinkCapacityTest, followsALinkThatGetsSlower) {
  send(60, 3000, 2000);
  send(60, 3000, 600);
  EXPECT_NEAR(kbps(link_.capacity()), 600, 10);
}

TEST_F(LinkCapacityTest, aProvenRateRaisesTheCapacityOnceItIsOld) {
  send(30, 3000, 2000);
  pause(100);
  send(100, 2500, 4000);
  EXPECT_NEAR(kbps(link_.capacity()), 2000, 20);
  send(1000, 2500, 4000);
  EXPECT_NEAR(kbps(link_.capacity()), 2500, 30);
}

TEST_F(LinkCapacityTest, aFullQueueIsMeasuredByItsLosses) {
  // Every third packet finds the queue full: those between them take a steady time.
  send(100, 3000, 1e9, 3, 0, [](int) { return 30.0; });
  EXPECT_FALSE(link_.capacity()) << "a constant delay is no queue";
  send(100, 3000, 1e9, 3, 0, [](int i) { return i > 2 ? 60.0 : 30.0; });
  EXPECT_NEAR(kbps(link_.capacity()), 2000, 60);
  EXPECT_NEAR(link_.lossShare(), 1.0 / 3, 0.05);
}

TEST_F(LinkCapacityTest, clocksThatDriftApartMakeNoQueue) {
  for (int minute = 0; minute < 5; ++minute) {
    send(6250, 1000, 2000, 0, 6);  // 100 parts in a million.
    EXPECT_FALSE(link_.queues());
  }
  EXPECT_FALSE(link_.capacity());
}

TEST_F(LinkCapacityTest, jitterIsNoQueueInTheLongRun) {
  uint32_t random = 1;
  const auto jitter = [&random](int) {
    random = random * 1664525 + 1013904223;
    return static_cast<double>(random >> 8) / (1 << 24) * 30;
  };
  send(3000, 4000, 1e9, 0, 0, jitter);
  int queued = 0;
  for (int i = 0; i < 1000; ++i) {
    send(5, 4000, 1e9, 0, 0, jitter);
    queued += link_.queues();
  }
  EXPECT_LT(queued, 250);
}

TEST_F(LinkCapacityTest, anOutageIsNotARate) {
  send(30, 1000, 2000);
  freeMs_ = sentMs_ + 3000;  // The link passes what waited after three seconds.
  send(30, 1000, 2000);
  EXPECT_FALSE(link_.capacity()) << kbps(link_.capacity());
}

TEST_F(LinkCapacityTest, reportsOfLossesOnlyChangeNothing) {
  webrtc::TransportPacketsFeedback report;
  report.feedback_time = at(1000);
  report.packet_feedbacks.resize(3);
  for (PacketResult& each : report.packet_feedbacks) each.sent_packet.send_time = at(900);
  link_.onFeedback(report);
  EXPECT_EQ(link_.lossShare(), 1);
  EXPECT_FALSE(link_.capacity());
  EXPECT_EQ(link_.queueDelay(), TimeDelta::Zero());
}

TEST_F(LinkCapacityTest, keepsBoundedlyManyPacketsOfAViewerWhoseClockStandsStill) {
  webrtc::TransportPacketsFeedback report;
  for (int i = 1; i <= 50'000; ++i) {
    PacketResult packet;
    packet.sent_packet.send_time = at(1000 + i);
    packet.sent_packet.size = DataSize::Bytes(1200);
    packet.sent_packet.sequence_number = i;
    packet.receive_time = at(kClockMs);
    report.packet_feedbacks = {packet};
    report.feedback_time = at(1000 + i);
    link_.onFeedback(report);
  }
  // They count as the packets of the latest half second.
  EXPECT_LE(kbps(link_.arriving()), 20'000 * kPacketBits / 500);
}

}  // namespace
}  // namespace vantora
