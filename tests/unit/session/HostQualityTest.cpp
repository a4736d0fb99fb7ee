// How the session handles a viewer's requests for video quality.
#include <limits>

#include "tests/unit/session/HostFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

class HostQualityTest : public HostFixture {};

TEST_F(HostQualityTest, appliesQualityWithoutAnAnswer) {
  connectViewer();
  say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"high"_s}, {u"req"_s, 1}});
  EXPECT_EQ(host_->getQualityPreset(), u"high"_s);
  say({{u"type"_s, u"quality"_s}});  // The default is the automatic choice, high here as well.
  EXPECT_EQ(host_->getQualityPreset(), u"high"_s);
  say({{u"type"_s, u"video_params"_s}, {u"maxBitrateKbps"_s, 1500}, {u"req"_s, 1}});
  EXPECT_EQ(peer().sender().maxBitrateBps, 1'500'000);
  EXPECT_TRUE(received().isEmpty());
}

TEST_F(HostQualityTest, allowsAsMuchBandwidthAsTheViewerRequests) {
  connectViewer();
  say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"high"_s}});
  EXPECT_EQ(peer().maxBitrateBps, 9'000'000);
  say({{u"type"_s, u"video_params"_s}, {u"maxBitrateKbps"_s, 20'000}});
  EXPECT_EQ(peer().maxBitrateBps, 30'000'000);
}

// A sender accepts any requested rate; the library ends the program once it sends at such a rate.
TEST_F(HostQualityTest, allowsNoBandwidthThatEndsTheLibrary) {
  connectViewer();
  for (const qint64 kbps : {qint64{40'001}, qint64{2'000'000}, std::numeric_limits<qint64>::max()}) {
    say({{u"type"_s, u"video_params"_s}, {u"maxBitrateKbps"_s, kbps}});
    EXPECT_EQ(peer().maxBitrateBps, 60'000'000) << kbps;
  }
  EXPECT_EQ(peer().sender().maxBitrateBps, 2'000'000'000);
}

// The library probes whenever the limit rises.
TEST_F(HostQualityTest, allowsTheSameBandwidthWithEveryUsualPreset) {
  connectViewer();
  for (const char16_t* preset : {u"low_stable", u"high", u"low", u"medium", u"high"}) {
    say({{u"type"_s, u"quality"_s}, {u"preset"_s, QString::fromUtf16(preset)}});
    EXPECT_EQ(peer().maxBitrateBps, 9'000'000);
  }
  say({{u"type"_s, u"video_params"_s}, {u"maxBitrateKbps"_s, 1000}});
  EXPECT_EQ(peer().maxBitrateBps, 9'000'000);
  EXPECT_EQ(peer().sender().maxBitrateBps, 1'000'000);
}

TEST_F(HostQualityTest, givesARebuiltConnectionWhatTheViewerAskedFor) {
  connectViewer();
  say({{u"type"_s, u"quality"_s}, {u"preset"_s, u"low_stable"_s}});
  factory_.canRestartIce = false;
  peer().reportIce(IceState::failed);
  EXPECT_EQ(peer().maxBitrateBps, 9'000'000);
  EXPECT_EQ(peer().sender().maxBitrateBps, 1'000'000);
  EXPECT_EQ(peer().sender().maxFramerate, 15);
  EXPECT_EQ(peer().sender().degradation, DegradationPreference::maintainResolution);
  EXPECT_EQ(peer().sender().contentHint, u"detail"_s);
}

TEST_F(HostQualityTest, choosesTheCodecOfTheNextOfferAndAcknowledges) {
  connectViewer();
  say({{u"type"_s, u"codec"_s}, {u"codec"_s, u"vp8"_s}, {u"profile"_s, u"high42"_s}, {u"req"_s, 2}});
  EXPECT_EQ(received(), (QList<JsonObject>{{{u"type"_s, u"ack"_s}, {u"req"_s, 2}}}));
  peer().settle();
  EXPECT_EQ(signalled(), QStringList{u"offer"_s});
  EXPECT_TRUE(peer().localOffers.last().contains(u"SAVPF 96 97"_s));
}

}  // namespace
}  // namespace vantora
