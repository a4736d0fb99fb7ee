#include <QRegularExpression>

#include "tests/unit/session/HostFixture.h"

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostStartupTest : public HostFixture {};

TEST_F(HostStartupTest, startsEverythingInOrder) {
  variables_ = {{"PREFERRED_CODEC", u"AV01"_s}, {"H264_PROFILE", u"High42"_s}, {"SHARE_AUTO", u"1"_s}};
  start();
  EXPECT_EQ(logged(),
            (QStringList{
                u"[ws] signaling url: ws://h:1"_s, u"[sdp] env preferred codec=av1"_s,
                u"[sdp] env h264 profile=64001f"_s, u"[dc] created label=control (unordered,maxPacketLifeTime=70ms)"_s,
                u"[dc] created label=control_reliable (reliable)"_s,
                u"[quality] degradationPreference=maintain-framerate"_s, u"[quality] contentHint=motion"_s,
                u"[input] target display id=1 rotation=0 bounds=(0, 0, 1920, 1080)"_s, u"[control] PIN: 000042"_s}));
  // The first offer is complete, and it is the only one.
  EXPECT_TRUE(journal_.holds({u"peer: createDataChannel control"_s, u"peer: createDataChannel control_reliable"_s,
                              u"peer: addVideoTransceiver synthetic 1"_s, u"sender: track=screen 1"_s,
                              u"screen 1: start"_s, u"peer: createOffer"_s}));
  EXPECT_EQ(journal_.with("peer: createOffer"_L1).size(), 1);
  EXPECT_EQ(peer().startBitrateBps, 1'000'000);
  EXPECT_EQ(peer().maxBitrateBps, 9'000'000);
  EXPECT_EQ(peer().sender().maxBitrateBps, 3'000'000);
  EXPECT_EQ(peer().sender().maxFramerate, 60);
  EXPECT_EQ(peer().sender().degradation, DegradationPreference::maintainFramerate);
  for (const fakes::FakeSource* source : {&sources_.synthetic(), &sources_.screen()}) {
    EXPECT_EQ(source->width, 1280);
    EXPECT_EQ(source->height, 720);
    EXPECT_EQ(source->fps, 60);
  }
}

TEST_F(HostStartupTest, limitsTheFirstSenderToTheReportedBitRate) {
  for (const QString& configured : {u""_s, u"800"_s, u"20000"_s}) {
    variables_ = {{"MAX_KBPS", configured}};
    const int kbps = configured.isEmpty() ? 3000 : configured.toInt();
    start();
    peer().settle();
    EXPECT_EQ(peer().sender().maxBitrateBps, kbps * 1000);
    EXPECT_EQ(peer().sender().maxFramerate, 60);
    ASSERT_FALSE(peer().localOffers.isEmpty());
    static const QRegularExpression kHint(u"x-google-max-bitrate=(\\d+)"_s);
    EXPECT_EQ(kHint.match(peer().localOffers.last()).captured(1).toInt(), kbps);
    peer().reliable().open();
    EXPECT_EQ(received().last().value(u"maxKbps"_s), QJsonValue(kbps));
  }
}

TEST_F(HostStartupTest, joinsBeforeItOffersAndOffersOnce) {
  start();
  EXPECT_EQ(signalled(), QStringList{u"join"_s});
  peer().settle();
  EXPECT_EQ(signalled(), (QStringList{u"join"_s, u"offer"_s}));
}

TEST_F(HostStartupTest, showsTheDefaultsToTheUser) {
  start(u"my room"_s);
  EXPECT_EQ(host_->getRoomId(), u"my room"_s);
  EXPECT_EQ(host_->getQualityPreset(), u"auto"_s);
  EXPECT_EQ(host_->getICEStateLabel(), u"new"_s);
  EXPECT_FALSE(host_->isSharingEnabled());
  EXPECT_FALSE(host_->authorisation().controlAuthed());
  EXPECT_FALSE(host_->authorisation().controlEnabled());
  EXPECT_TRUE(host_->authorisation().isAllowRemoteControl());
}

TEST_F(HostStartupTest, drawsASixDigitPin) {
  for (const auto& [number, pin] : std::initializer_list<std::pair<quint32, QString>>{
           {0, u"000000"_s}, {42, u"000042"_s}, {999'999, u"999999"_s}}) {
    randomNumber_ = number;
    start();
    EXPECT_EQ(host_->authorisation().getPIN(), pin);
    EXPECT_FALSE(host_->authorisation().isPinLocked());
    EXPECT_EQ(logged().last(), u"[control] PIN: "_s + pin);
  }
}

TEST_F(HostStartupTest, takesThePinOfTheEnvironmentAndLocksIt) {
  variables_ = {{"CONTROL_TOKEN", u"Open Sesame"_s}};
  start();
  EXPECT_EQ(host_->authorisation().getPIN(), u"Open Sesame"_s);
  EXPECT_TRUE(host_->authorisation().isPinLocked());
  EXPECT_EQ(logged().last(), u"[control] PIN: Open Sesame"_s);
  journal_.take();
  host_->authorisation().regeneratePIN();
  EXPECT_EQ(host_->authorisation().getPIN(), u"Open Sesame"_s);
  EXPECT_TRUE(journal_.take().isEmpty());
}

TEST_F(HostStartupTest, treatsAnEmptyPinOfTheEnvironmentAsUnset) {
  variables_ = {{"CONTROL_TOKEN", u""_s}};
  start();
  EXPECT_EQ(host_->authorisation().getPIN(), u"000042"_s);
  EXPECT_FALSE(host_->authorisation().isPinLocked());
}

TEST_F(HostStartupTest, sharesAtOnceForTheExactSettingOnly) {
  for (const QString& value : {u"true"_s, u"0"_s, u""_s, u" 1"_s}) {
    variables_ = {{"SHARE_AUTO", value}};
    info_ = {{u"VANTORA_SHARE_AUTO"_s, value}};
    start();
    EXPECT_FALSE(host_->isSharingEnabled()) << value.toStdString();
  }
  variables_ = {{"SHARE_AUTO", u"1"_s}};
  start();
  EXPECT_TRUE(host_->isSharingEnabled());
  variables_.clear();
  info_ = {{u"VANTORA_SHARE_AUTO"_s, u"1"_s}};
  start();
  EXPECT_TRUE(host_->isSharingEnabled());
  variables_ = {{"SHARE_AUTO", u"0"_s}};
  start();
  EXPECT_TRUE(host_->isSharingEnabled()) << "the information key decides by itself";
}

TEST_F(HostStartupTest, passesTheIceServersOfTheEnvironmentOn) {
  variables_ = {{"ICE_URLS", u" a , ,b "_s}, {"ICE_USERNAME", u"n"_s}, {"ICE_CREDENTIAL", u"c"_s}};
  start();
  EXPECT_EQ(peer().servers, (QList<IceServer>{{u"a"_s, u"n"_s, u"c"_s}, {u"b"_s, u"n"_s, u"c"_s}}));
  variables_ = {{"ICE_URLS", u","_s}};
  start();
  EXPECT_TRUE(peer().servers.isEmpty());
}

TEST_F(HostStartupTest, offersAsConfigured) {
  variables_ = {{"PREFERRED_CODEC", u"vp9"_s},
                {"H264_PROFILE", u"high31"_s},
                {"MAX_KBPS", u"300"_s},
                {"X_GOOGLE_MIN_KBPS", u"11"_s}};
  start();
  peer().settle();
  const QString sdp = peer().localOffers.value(0);
  EXPECT_TRUE(sdp.contains(u"profile-level-id=42e01f"_s)) << "another codec is preferred";
  EXPECT_TRUE(sdp.contains(u"x-google-min-bitrate=11;x-google-start-bitrate=425;x-google-max-bitrate=500"_s))
      << sdp.toStdString();
}

// The offer's hint, limited to the rate of a slow link unless it was configured.
TEST_F(HostStartupTest, beginsWithABitRateThatSlowLinksSustain) {
  const std::vector<std::pair<std::map<std::string, QString>, int>> cases{
      {{{"MAX_KBPS", u"300"_s}}, 425'000},
      {{}, 1'000'000},
      {{{"MAX_KBPS", u"40000"_s}}, 1'000'000},
      {{{"X_GOOGLE_START_KBPS", u"600"_s}}, 600'000},
      {{{"X_GOOGLE_START_KBPS", u"1500"_s}}, 1'500'000},
      {{{"X_GOOGLE_START_KBPS", u"2000000"_s}}, 60'000'000},
  };
  for (const auto& [variables, bps] : cases) {
    variables_ = variables;
    start();
    EXPECT_EQ(peer().startBitrateBps, bps);
  }
}

TEST_F(HostStartupTest, allowsOneAndAHalfTimesTheHighestBitRateAndAtLeastThatOfTheUsualPresets) {
  for (const auto& [kbps, bps] :
       {std::pair(u"300"_s, 9'000'000), std::pair(u"6000"_s, 9'000'000), std::pair(u"8000"_s, 12'000'000)}) {
    variables_ = {{"MAX_KBPS", kbps}};
    start();
    EXPECT_EQ(peer().maxBitrateBps, bps);
  }
}

TEST_F(HostStartupTest, continuesWithoutAPeerConnection) {
  factory_.refuses = true;
  start();
  EXPECT_EQ(logged().last(), u"[control] PIN: 000042"_s);
  EXPECT_TRUE(sources_.synthetics.empty());
  signal({{u"type"_s, u"renegotiate"_s}});
  signal({{u"type"_s, u"answer"_s}, {u"sdp"_s, u"v=0"_s}});
  signal({{u"type"_s, u"ice"_s}, {u"candidate"_s, JsonObject{}}});
  host_->startSharing();
  host_->stopSharing();
  EXPECT_EQ(signalled(), QStringList{u"join"_s});
}

TEST_F(HostStartupTest, closesThePeerConnectionAtShutdownAndKeepsTheSignallingConnection) {
  connectInControl();
  holdAButton();
  host_->shutdown();
  EXPECT_TRUE(peer().destroyed);
  EXPECT_TRUE(input_.heldButtons.empty());
  EXPECT_FALSE(sockets_.last().destroyed);
  forget();
  signal({{u"type"_s, u"renegotiate"_s}});
  EXPECT_TRUE(journal_.with("peer:"_L1).isEmpty());
  host_->shutdown();  // Does nothing the second time.
  scheduler_.advance(10s);
}

TEST_F(HostStartupTest, leavesNothingRunningAtTheEnd) {
  connectInControl();
  host_->startSharing();
  holdAButton();
  peer().reportIce(IceState::disconnected);
  sockets_.last().failReceiving(u"gone"_s);
  host_.reset();
  EXPECT_EQ(scheduler_.runningTimers(), 0U);
  EXPECT_TRUE(sockets_.last().destroyed);
  EXPECT_TRUE(peer().destroyed);
  EXPECT_TRUE(sources_.screen().destroyed);
  EXPECT_TRUE(input_.heldButtons.empty());
}

}  // namespace
}  // namespace vantora
