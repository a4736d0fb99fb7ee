#include <gtest/gtest.h>

#include "base/Log.h"
#include "main/session/peer/ControlChannels.h"
#include "tests/fakes/FakePeerConnection.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// Log lines are in the same journal as the events, whose order matters: who makes an offer must find the new channel.
class ControlChannelsTest : public testing::Test {
 protected:
  static QString name(ControlChannel channel) { return labelOf(channel); }
  fakes::FakePeer& peer() { return factory_.last(); }

  fakes::Journal journal_;
  ScopedLogSink log_{[this](const QString& line) { journal_.note(line); }};
  fakes::FakePeerConnectionFactory factory_;
  std::unique_ptr<PeerConnection> connection_ = factory_.createPeerConnection({}, {});
  std::function<void()> onClosed_;
  std::unique_ptr<ControlChannels> channels_ = std::make_unique<ControlChannels>(
      *connection_,
      ControlChannels::Events{.opened = [this](ControlChannel channel) { journal_.note(u"opened "_s + name(channel)); },
                              .closed =
                                  [this](ControlChannel channel) {
                                    journal_.note(u"closed "_s + name(channel));
                                    if (onClosed_) onClosed_();
                                  },
                              .renegotiate = [this] { journal_.note(u"renegotiate"_s); },
                              .message =
                                  [this](ControlChannel channel, const QByteArray& data, bool binary) {
                                    journal_.note(
                                        u"message %1 %2 %3"_s.arg(name(channel), QString::fromUtf8(data)).arg(binary));
                                  }});
};

TEST_F(ControlChannelsTest, createsBothChannelsTheLossyOneFirst) {
  channels_->createOrRefreshDataChannels();
  EXPECT_EQ(journal_.take(), (QStringList{u"[dc] created label=control (unordered,maxPacketLifeTime=70ms)"_s,
                                          u"[dc] created label=control_reliable (reliable)"_s}));
  ASSERT_EQ(peer().channels.size(), 2U);
  EXPECT_EQ(peer().channels[0]->label, u"control"_s);
  EXPECT_EQ(peer().channels[1]->label, u"control_reliable"_s);
  EXPECT_FALSE(peer().control().config.ordered);
  EXPECT_EQ(peer().control().config.maxPacketLifeTimeMs, 70);
  EXPECT_TRUE(peer().reliable().config.ordered);
  EXPECT_EQ(peer().reliable().config.maxPacketLifeTimeMs, std::nullopt);
}

TEST_F(ControlChannelsTest, keepsChannelsThatAreNotClosed) {
  channels_->createOrRefreshDataChannels();
  for (const ChannelState state : {ChannelState::connecting, ChannelState::open, ChannelState::closing}) {
    peer().control().state = state;
    peer().reliable().state = state;
    channels_->createOrRefreshDataChannels();
    EXPECT_EQ(peer().channels.size(), 2U);
  }
}

TEST_F(ControlChannelsTest, replacesOnlyTheClosedChannel) {
  channels_->createOrRefreshDataChannels();
  peer().reliable().close();
  ASSERT_EQ(peer().channels.size(), 3U);
  EXPECT_TRUE(peer().channels[1]->destroyed);
  EXPECT_EQ(peer().channels[2]->label, u"control_reliable"_s);
  EXPECT_FALSE(peer().channels[0]->destroyed);
}

TEST_F(ControlChannelsTest, logsChannelsThatCannotBeCreatedAndTriesAgainLater) {
  peer().refusesChannels = true;
  channels_->createOrRefreshDataChannels();
  EXPECT_EQ(journal_.take(), (QStringList{u"[dc] failed to create datachannel control"_s,
                                          u"[dc] failed to create datachannel control_reliable"_s}));
  EXPECT_FALSE(channels_->exists(ControlChannel::control));
  channels_->send(ControlChannel::control, {});
  peer().refusesChannels = false;
  channels_->createOrRefreshDataChannels();
  EXPECT_TRUE(channels_->exists(ControlChannel::control));
  EXPECT_TRUE(channels_->exists(ControlChannel::reliable));
}

TEST_F(ControlChannelsTest, logsEveryStateAndReportsOpenings) {
  channels_->createOrRefreshDataChannels();
  journal_.take();
  peer().control().change(ChannelState::connecting);
  peer().reliable().open();
  peer().control().change(ChannelState::closing);
  EXPECT_EQ(journal_.take(), (QStringList{u"[dc] state=0 label=control"_s, u"[dc] state=1 label=control_reliable"_s,
                                          u"opened control_reliable"_s, u"[dc] state=2 label=control"_s}));
}

TEST_F(ControlChannelsTest, replacesAChannelThatClosedAndAsksForAnOffer) {
  channels_->createOrRefreshDataChannels();
  peer().control().open();
  peer().reliable().open();
  journal_.take();
  peer().control().close();
  EXPECT_EQ(journal_.take(),
            (QStringList{u"[dc] state=3 label=control"_s, u"closed control"_s,
                         u"[dc] created label=control (unordered,maxPacketLifeTime=70ms)"_s, u"renegotiate"_s}));
  EXPECT_TRUE(channels_->isOpen(ControlChannel::reliable));
  EXPECT_FALSE(channels_->isOpen(ControlChannel::control));
  EXPECT_TRUE(channels_->exists(ControlChannel::control));
}

TEST_F(ControlChannelsTest, replacesEachOfTwoThatClosedTogetherWhenItsReportArrives) {
  channels_->createOrRefreshDataChannels();
  const auto reliable = peer().channels[1];
  reliable->state = ChannelState::closed;
  journal_.take();
  peer().control().close();
  EXPECT_EQ(journal_.take(),
            (QStringList{u"[dc] state=3 label=control"_s, u"closed control"_s,
                         u"[dc] created label=control (unordered,maxPacketLifeTime=70ms)"_s, u"renegotiate"_s}));
  // Even if new channels are requested meanwhile, earlier messages and the closing are still reported.
  channels_->createOrRefreshDataChannels();
  reliable->deliver("last words");
  reliable->close();
  EXPECT_EQ(journal_.take(), (QStringList{u"message control_reliable last words 0"_s,
                                          u"[dc] state=3 label=control_reliable"_s, u"closed control_reliable"_s,
                                          u"[dc] created label=control_reliable (reliable)"_s, u"renegotiate"_s}));
  EXPECT_TRUE(reliable->destroyed);
  EXPECT_EQ(peer().channels.size(), 4U);
}

TEST_F(ControlChannelsTest, reportsItsChannelsClosedBeforeTheirConnectionCloses) {
  channels_->createOrRefreshDataChannels();
  peer().control().open();
  const auto reliable = peer().channels[1];
  reliable->state = ChannelState::closed;  // Its own report is still queued.
  journal_.take();
  channels_->endAll();
  reliable->close();
  EXPECT_EQ(journal_.take(), (QStringList{u"[dc] state=3 label=control"_s, u"closed control"_s,
                                          u"[dc] state=3 label=control_reliable"_s, u"closed control_reliable"_s}));
  EXPECT_FALSE(channels_->exists(ControlChannel::control));
  channels_->endAll();
  EXPECT_TRUE(journal_.take().isEmpty());
}

TEST_F(ControlChannelsTest, mayBeDestroyedInsideItsOwnReport) {
  channels_->createOrRefreshDataChannels();
  onClosed_ = [this] { channels_.reset(); };
  journal_.take();
  peer().control().close();
  EXPECT_EQ(journal_.take(), (QStringList{u"[dc] state=3 label=control"_s, u"closed control"_s}));
}

TEST_F(ControlChannelsTest, passesMessagesOnWithTheirChannel) {
  channels_->createOrRefreshDataChannels();
  journal_.take();
  peer().control().deliver("a", false);
  peer().reliable().deliver("b", true);
  EXPECT_EQ(journal_.take(), (QStringList{u"message control a 0"_s, u"message control_reliable b 1"_s}));
}

TEST_F(ControlChannelsTest, sendsTextOnTheNamedChannelWhileItIsOpen) {
  channels_->createOrRefreshDataChannels();
  channels_->send(ControlChannel::reliable, {{u"type"_s, u"early"_s}});
  peer().reliable().open();
  channels_->send(ControlChannel::reliable, {{u"type"_s, u"pong"_s}, {u"t0"_s, 1}});
  EXPECT_EQ(peer().reliable().messages(), (QList<JsonObject>{{{u"type"_s, u"pong"_s}, {u"t0"_s, 1}}}));
  EXPECT_TRUE(peer().control().sent.isEmpty());
}

TEST_F(ControlChannelsTest, reportsWhatIsStillBuffered) {
  EXPECT_EQ(channels_->bufferedAmount(ControlChannel::reliable), 0U);
  channels_->createOrRefreshDataChannels();
  peer().reliable().buffered = 12;
  EXPECT_EQ(channels_->bufferedAmount(ControlChannel::reliable), 12U);
}

}  // namespace
}  // namespace vantora
