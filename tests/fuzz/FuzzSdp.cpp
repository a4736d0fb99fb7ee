// Input: a first line with the request ("codec profile"), then a session description.
#include <QStringList>
#include <algorithm>

#include "base/Log.h"
#include "main/video/sdp/CodecNames.h"
#include "main/video/sdp/SdpInspect.h"
#include "main/video/sdp/SdpTools.h"
#include "tests/fuzz/Check.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// The words of the first "m=video" line, sorted.
QStringList mediaWords(const QString& sdp) {
  for (const QString& line : sdp.split(u'\n')) {
    if (!line.startsWith("m=video"_L1)) continue;
    QStringList words = line.split(u' ', Qt::SkipEmptyParts);
    words.sort();
    return words;
  }
  return {};
}

void check(const QString& sdp, const QString& codec, const QString& profile) {
  const QString preferred = SdpTools::preferCodec(sdp, codec);
  // Payloads are reordered; none is lost, added or changed, and a second run changes nothing.
  fuzz::require(mediaWords(preferred) == mediaWords(sdp));
  fuzz::require(SdpTools::preferCodec(preferred, codec) == preferred);
  fuzz::require(SdpTools::preferCodec(sdp, u"h264"_s) == SdpTools::preferH264(sdp));

  const qsizetype lines = sdp.count(u'\n');
  fuzz::require(SdpTools::rewriteH264Profile(sdp, profile).count(u'\n') == lines);

  for (const auto hints : {SdpTools::setH264BitrateHints, SdpTools::setVP8BitrateHints}) {
    const QString once = hints(sdp, 300, 1200, 2500);
    fuzz::require(once.count(u'\n') == lines);
    // The first run may leave pieces that held only blanks, which the second drops.
    const QString twice = hints(once, 300, 1200, 2500);
    fuzz::require(hints(twice, 300, 1200, 2500) == twice);
  }

  if (const auto fingerprint = dtlsFingerprint(sdp)) {
    fuzz::require(fingerprint->contains(u' ') && !fingerprint->contains(u'\r') && !fingerprint->contains(u'\n'));
    fuzz::require(dtlsFingerprint(u"a=fingerprint:"_s + *fingerprint) == fingerprint);
  }
}

}  // namespace
}  // namespace vantora

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantora;
  const ScopedLogSink silent([](const QString&) {});
  const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  const QString request = text.section(u'\n', 0, 0);
  const QString codec = codecChoiceOfViewer(request.section(u' ', 0, 0)).name.value_or(u"h264"_s);
  check(text.section(u'\n', 1), codec, h264ProfileFor(request.section(u' ', 1)));
  return 0;
}
