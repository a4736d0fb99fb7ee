#include <gtest/gtest.h>

#include "main/control/ControlChannel.h"
#include "tests/fakes/FakeControlSender.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const JsonObject kMessage{{u"type"_s, u"pong"_s}};
using Sent = fakes::FakeControlSender::Sent;

TEST(ControlChannelTest, namesTheChannels) {
  EXPECT_EQ(labelOf(ControlChannel::control), "control"_L1);
  EXPECT_EQ(labelOf(ControlChannel::reliable), "control_reliable"_L1);
}

TEST(ControlSenderTest, repliesOnTheReliableChannelWhenItExists) {
  fakes::FakeControlSender sender;
  sender.reply(ControlChannel::control, kMessage);
  EXPECT_EQ(sender.sent, (QList<Sent>{{ControlChannel::reliable, kMessage}}));
}

TEST(ControlSenderTest, repliesOnTheChannelOfTheRequestWithoutAReliableOne) {
  fakes::FakeControlSender sender;
  sender.reliable.exists = false;
  sender.reply(ControlChannel::control, kMessage);
  EXPECT_EQ(sender.sent, (QList<Sent>{{ControlChannel::control, kMessage}}));
}

TEST(ControlSenderTest, dropsAReplyWhoseChannelExistsButIsNotOpen) {
  fakes::FakeControlSender sender;
  sender.reliable.open = false;
  sender.reply(ControlChannel::control, kMessage);
  EXPECT_TRUE(sender.sent.isEmpty());
}

TEST(ForwardingControlSenderTest, dropsEverythingWithoutAConnection) {
  ForwardingControlSender current;
  current.send(ControlChannel::control, kMessage);
  EXPECT_FALSE(current.exists(ControlChannel::control));
  EXPECT_FALSE(current.isOpen(ControlChannel::reliable));
  EXPECT_EQ(current.bufferedAmount(ControlChannel::reliable), 0U);
}

TEST(ForwardingControlSenderTest, speaksForTheConnectionInForce) {
  ForwardingControlSender current;
  fakes::FakeControlSender first;
  fakes::FakeControlSender second;
  first.buffered = 7;
  current.set(&first);
  EXPECT_TRUE(current.exists(ControlChannel::control));
  EXPECT_TRUE(current.isOpen(ControlChannel::control));
  EXPECT_EQ(current.bufferedAmount(ControlChannel::reliable), 7U);
  current.send(ControlChannel::control, kMessage);
  current.set(&second);
  current.send(ControlChannel::reliable, kMessage);
  EXPECT_EQ(first.sent, (QList<Sent>{{ControlChannel::control, kMessage}}));
  EXPECT_EQ(second.sent, (QList<Sent>{{ControlChannel::reliable, kMessage}}));
}

}  // namespace
}  // namespace vantora
