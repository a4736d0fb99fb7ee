// What the session does when the machine's addresses change.
#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

const LocalAddresses kOld{.all = {u"10.0.0.5"_s, u"127.0.0.1"_s}, .online = true};
const LocalAddresses kNew{.all = {u"10.0.0.9"_s, u"127.0.0.1"_s}, .online = true};
const LocalAddresses kBoth{.all = {u"10.0.0.5"_s, u"10.0.0.9"_s, u"127.0.0.1"_s}, .online = true};
const LocalAddresses kNone{.all = {u"127.0.0.1"_s}, .online = false};

class HostAddressesTest : public HostFixture {
 protected:
  // A viewer is connected; media and signalling leave from these addresses.
  void connectFrom(const QString& media, const QString& signalling) {
    connectViewer();
    peer().link.localAddress = media;
    sockets_.last().localAddress = signalling;
    forget();
  }
  void changeTo(const LocalAddresses& addresses) {
    host_->addressesChanged(addresses);
    peer().settle();
  }
};

TEST_F(HostAddressesTest, restartsIceAtOnceWhenTheAddressOfTheMediaIsGone) {
  connectFrom(u"10.0.0.5"_s, u"127.0.0.1"_s);
  changeTo(kNew);
  EXPECT_EQ(journal_.with("factory:"_L1), QStringList{u"factory: networksChanged"_s});
  EXPECT_EQ(peer().restarts, 1);
  EXPECT_EQ(signalled(), QStringList{u"offer"_s});
  EXPECT_EQ(logged().first(), u"[ice] restartIce invoked"_s);
  EXPECT_EQ(sockets_.connections.size(), 1U);
}

TEST_F(HostAddressesTest, connectsToTheServerAgainWhenThatAddressIsGone) {
  connectFrom(u"127.0.0.1"_s, u"10.0.0.5"_s);
  changeTo(kNew);
  EXPECT_EQ(peer().restarts, 0);
  EXPECT_EQ(sockets_.connections.size(), 2U);
  EXPECT_EQ(signalled(), (QStringList{u"join"_s, u"offer"_s}));
}

TEST_F(HostAddressesTest, makesOneOfferWhenBothAddressesAreGone) {
  connectFrom(u"10.0.0.5"_s, u"10.0.0.5"_s);
  changeTo(kNew);
  EXPECT_EQ(peer().restarts, 1);
  EXPECT_EQ(journal_.with("peer: createOffer"_L1).size(), 1);
  EXPECT_EQ(signalled(), (QStringList{u"join"_s, u"offer"_s})) << "on the new connection";
}

TEST_F(HostAddressesTest, keepsConnectionsWhoseAddressesRemain) {
  connectFrom(u"10.0.0.5"_s, u"10.0.0.5"_s);
  changeTo(kBoth);
  EXPECT_EQ(journal_.with("factory:"_L1), QStringList{u"factory: networksChanged"_s}) << "for more candidates";
  EXPECT_EQ(peer().restarts, 0);
  EXPECT_EQ(sockets_.connections.size(), 1U);
  EXPECT_TRUE(signalled().isEmpty());
}

TEST_F(HostAddressesTest, waitsWhileThereIsNoAddressToChangeTo) {
  connectFrom(u"10.0.0.5"_s, u"10.0.0.5"_s);
  changeTo(kNone);
  changeTo(kOld);
  EXPECT_EQ(peer().restarts, 0);
  EXPECT_EQ(sockets_.connections.size(), 1U);
  EXPECT_TRUE(signalled().isEmpty());
}

TEST_F(HostAddressesTest, changesNothingBeforeAViewerIsConnected) {
  start();
  peer().settle();
  forget();
  changeTo(kNew);
  EXPECT_EQ(peer().restarts, 0);
  EXPECT_TRUE(signalled().isEmpty());
}

TEST_F(HostAddressesTest, connectsToTheServerWithoutAPeerConnection) {
  factory_.refuses = true;
  start();
  sockets_.last().localAddress = u"10.0.0.5"_s;
  host_->addressesChanged(kNew);
  EXPECT_EQ(sockets_.connections.size(), 2U);
}

}  // namespace
}  // namespace vantora
