#include <gtest/gtest.h>

#include "main/control/ControlChannel.h"
#include "tests/fakes/FakeControlOutlet.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const JsonObject kMessage{{u"type"_s, u"pong"_s}};
using Sent = fakes::FakeControlOutlet::Sent;

TEST(ControlChannelTest, namesTheChannels) {
  EXPECT_EQ(labelOf(ControlChannel::control), "control"_L1);
  EXPECT_EQ(labelOf(ControlChannel::reliable), "control_reliable"_L1);
}

TEST(ControlOutletTest, repliesOnTheReliableChannelWhenItExists) {
  fakes::FakeControlOutlet outlet;
  outlet.reply(ControlChannel::control, kMessage);
  EXPECT_EQ(outlet.sent, (QList<Sent>{{ControlChannel::reliable, kMessage}}));
}

TEST(ControlOutletTest, repliesOnTheChannelOfTheRequestWithoutAReliableOne) {
  fakes::FakeControlOutlet outlet;
  outlet.reliable.exists = false;
  outlet.reply(ControlChannel::control, kMessage);
  EXPECT_EQ(outlet.sent, (QList<Sent>{{ControlChannel::control, kMessage}}));
}

TEST(ControlOutletTest, dropsAReplyWhoseChannelExistsButIsNotOpen) {
  fakes::FakeControlOutlet outlet;
  outlet.reliable.open = false;
  outlet.reply(ControlChannel::control, kMessage);
  EXPECT_TRUE(outlet.sent.isEmpty());
}

TEST(CurrentOutletTest, dropsEverythingWithoutAConnection) {
  CurrentOutlet current;
  current.send(ControlChannel::control, kMessage);
  EXPECT_FALSE(current.exists(ControlChannel::control));
  EXPECT_FALSE(current.isOpen(ControlChannel::reliable));
  EXPECT_EQ(current.bufferedAmount(ControlChannel::reliable), 0U);
}

TEST(CurrentOutletTest, speaksForTheConnectionInForce) {
  CurrentOutlet current;
  fakes::FakeControlOutlet first;
  fakes::FakeControlOutlet second;
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
