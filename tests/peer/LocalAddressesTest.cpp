// Changes of this machine's addresses, in the laboratory's network.
#include <gtest/gtest.h>

#include <QStringList>
#include <algorithm>
#include <cstdlib>

#include "base/LocalAddresses.h"
#include "base/QtScheduler.h"
#include "tests/peer/LibPeerFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testloop::waitFor;

const QString kAdded = u"10.76.0.9"_s;

// Not by QProcess: under the thread sanitizer, no thread may start after a fork.
bool ip(const QStringList& arguments) {
  return std::system((u"ip "_s + arguments.join(u' ')).toUtf8().constData()) == 0;  // NOLINT(cert-env33-c)
}
bool addAddress() { return ip({u"addr"_s, u"replace"_s, kAdded + u"/24"_s, u"dev"_s, u"lab0"_s}); }

class LocalAddressesTest : public LibPeerConnectionTest {
 protected:
  ~LocalAddressesTest() override {
    ip({u"link"_s, u"set"_s, u"lab0"_s, u"up"_s});
    if (readLocalAddresses().all.contains(kAdded)) {
      ip({u"addr"_s, u"del"_s, kAdded + u"/24"_s, u"dev"_s, u"lab0"_s});
    }
  }
  // Place among the candidates so far, or -1.
  qsizetype placeOf(const QString& transport, const QString& address) const {
    const auto found = std::find_if(ourCandidates_.begin(), ourCandidates_.end(), [&](const IceCandidate& each) {
      return each.candidate.contains(u' ' + transport + u' ') && each.candidate.contains(u' ' + address + u' ');
    });
    return found == ourCandidates_.end() ? -1 : found - ourCandidates_.begin();
  }

  QtScheduler scheduler_;
};

TEST_F(LocalAddressesTest, readsThoseThatHaveALink) {
  const LocalAddresses addresses = readLocalAddresses();
  EXPECT_TRUE(addresses.all.contains(u"127.0.0.1"_s));
  EXPECT_TRUE(addresses.all.contains(u"10.77.0.1"_s));
  EXPECT_TRUE(addresses.online);
}

TEST_F(LocalAddressesTest, announcesAnAddressThatComesAndGoes) {
  QList<LocalAddresses> seen;
  const LocalAddressesWatch watch(scheduler_, [&](const LocalAddresses& addresses) { seen.append(addresses); });
  ASSERT_TRUE(addAddress());
  ASSERT_TRUE(waitFor([&] { return !seen.isEmpty() && seen.last().all.contains(kAdded); }));
  ASSERT_TRUE(ip({u"addr"_s, u"del"_s, kAdded + u"/24"_s, u"dev"_s, u"lab0"_s}));
  ASSERT_TRUE(waitFor([&] { return !seen.last().all.contains(kAdded); }));
  EXPECT_TRUE(seen.last().online);
}

TEST_F(LocalAddressesTest, isOfflineWithoutALink) {
  QList<LocalAddresses> seen;
  const LocalAddressesWatch watch(scheduler_, [&](const LocalAddresses& addresses) { seen.append(addresses); });
  ASSERT_TRUE(ip({u"link"_s, u"set"_s, u"lab0"_s, u"down"_s}));
  ASSERT_TRUE(waitFor([&] { return !seen.isEmpty() && !seen.last().online; }));
  EXPECT_FALSE(seen.last().all.contains(u"10.77.0.1"_s));
  ASSERT_TRUE(ip({u"link"_s, u"set"_s, u"lab0"_s, u"up"_s}));
  ASSERT_TRUE(waitFor([&] { return seen.last().online; }));
}

TEST_F(LocalAddressesTest, restartsIceOnAnAddressThatIsNewThisMoment) {
  const QString offer = makeOffered();
  ASSERT_EQ(apply(answerOf(offer)), std::nullopt);
  ASSERT_TRUE(waitFor([&] { return placeOf(u"tcp"_s, u"10.77.0.1"_s) >= 0; }));
  ASSERT_TRUE(addAddress());
  runtime_->networksChanged();
  ourCandidates_.clear();
  EXPECT_TRUE(peer_->restartIce());
  reoffer();
  ASSERT_TRUE(waitFor([&] { return placeOf(u"udp"_s, kAdded) >= 0 && placeOf(u"tcp"_s, u"10.77.0.1"_s) >= 0; }));
  // TCP ports come last: by itself the library would find the new address, up to two seconds later, behind them.
  EXPECT_LT(placeOf(u"udp"_s, kAdded), placeOf(u"tcp"_s, u"10.77.0.1"_s));
}

}  // namespace
}  // namespace vantora
