// Rewrites a recorded offer of the WebRTC library (line ends are LF in the file).
#include <gtest/gtest.h>

#include <QFile>

#include "main/video/sdp/SdpInspect.h"
#include "main/video/sdp/SdpTools.h"
#include "tests/fakes/Places.h"
#include "tests/fakes/RecordedLog.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

QString recordedOffer() {
  QFile file(testplaces::source(u"tests/unit/video/sdp/data/library-offer.sdp"_s));
  EXPECT_TRUE(file.open(QIODevice::ReadOnly));
  return QString::fromUtf8(file.readAll());
}

// With the line ends that the library uses.
QString recordedOfferWithCarriageReturns() { return recordedOffer().replace(u'\n', u"\r\n"_s); }

// The lines of `after` that differ from `before`.
QStringList changes(const QString& before, const QString& after) {
  const QStringList a = before.split(u'\n');
  const QStringList b = after.split(u'\n');
  EXPECT_EQ(a.size(), b.size());
  QStringList found;
  for (qsizetype i = 0; i < qMin(a.size(), b.size()); ++i) {
    if (a[i] != b[i]) found.append(b[i]);
  }
  return found;
}

TEST(RecordedOffer, putsEveryH264PayloadFirst) {
  fakes::RecordedLog log;
  const QString sdp = recordedOffer();
  EXPECT_EQ(changes(sdp, SdpTools::preferH264(sdp)),
            QStringList{u"m=video 9 UDP/TLS/RTP/SAVPF 102 127 125 108 110 39 96 97 124 123 107 109 111 40 98 99 100 "
                        u"101 122 121 114"_s});
  EXPECT_EQ(log.lines(), QStringList{u"[sdp] prefer H.264 payloads: 102,127,125,108,110,39"_s});
}

TEST(RecordedOffer, keepsTheLineEndBehindTheLastPayload) {
  const QString sdp = recordedOfferWithCarriageReturns();
  EXPECT_EQ(changes(sdp, SdpTools::preferCodec(sdp, u"VP9"_s)),
            QStringList{u"m=video 9 UDP/TLS/RTP/SAVPF 98 100 96 97 102 124 127 123 125 107 108 109 110 111 39 40 99 "
                        u"101 122 121 114\r"_s});
}

TEST(RecordedOffer, getsTheProfileOnEveryH264Payload) {
  const QString sdp = recordedOfferWithCarriageReturns();
  QStringList expected;
  for (const auto& [payload, mode] : {std::pair(102, 1), {127, 0}, {125, 1}, {108, 0}, {110, 1}, {39, 0}}) {
    // Payloads 110 and 39 had that profile before; what changes is the carriage return.
    expected.append(
        u"a=fmtp:%1 level-asymmetry-allowed=1;packetization-mode=%2;profile-level-id=4d001f"_s.arg(payload).arg(mode));
  }
  EXPECT_EQ(changes(sdp, SdpTools::rewriteH264Profile(sdp, u"4D001F"_s)), expected);
}

TEST(RecordedOffer, getsHintsOnEveryH264Payload) {
  const QString sdp = recordedOffer();
  const QStringList changed = changes(sdp, SdpTools::setH264BitrateHints(sdp, 2100, 2550, 3000));
  EXPECT_EQ(changed.size(), 6);
  for (const QString& line : changed) {
    EXPECT_TRUE(line.endsWith(";x-google-min-bitrate=2100;x-google-start-bitrate=2550;x-google-max-bitrate=3000"_L1));
    EXPECT_TRUE(line.contains("profile-level-id="_L1));
  }
}

TEST(RecordedOffer, hasNoFormatLineForVp8AndSoNoHints) {
  const QString sdp = recordedOffer();
  EXPECT_EQ(SdpTools::setVP8BitrateHints(sdp, 1, 2, 3), sdp);
}

TEST(RecordedOffer, hasOneFingerprintWithEitherLineEnd) {
  const auto fingerprint = dtlsFingerprint(recordedOffer());
  ASSERT_TRUE(fingerprint);
  EXPECT_EQ(fingerprint->size(), qsizetype(sizeof("sha-256 ") - 1 + 32 * 3 - 1));
  EXPECT_EQ(dtlsFingerprint(recordedOfferWithCarriageReturns()), fingerprint);
}

}  // namespace
}  // namespace vantora
