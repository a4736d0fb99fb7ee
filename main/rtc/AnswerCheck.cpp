#include "main/rtc/AnswerCheck.h"

#include <pc/session_description.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace vantora {
namespace {

// kbit/s; the value in bit/s must fit into 31 bits.
constexpr int kMaxKbps = 2'000'000;
constexpr std::array<std::string_view, 3> kBitrates{"x-google-min-bitrate", "x-google-start-bitrate",
                                                    "x-google-max-bitrate"};

bool isBitrate(std::string_view text) {
  int kbps = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), kbps);
  return error == std::errc() && end == text.data() + text.size() && kbps >= 1 && kbps <= kMaxKbps;
}

bool isHarmful(std::string_view name, std::string_view value) {
  if (!name.starts_with("x-google-")) return false;
  return std::find(kBitrates.begin(), kBitrates.end(), name) == kBitrates.end() || !isBitrate(value);
}

void dropHarmfulParameters(cricket::VideoContentDescription& video) {
  auto codecs = video.codecs();
  for (cricket::VideoCodec& codec : codecs) {
    std::erase_if(codec.params, [](const auto& parameter) { return isHarmful(parameter.first, parameter.second); });
  }
  video.set_codecs(codecs);
}

bool hasVideoCodec(const cricket::VideoContentDescription& video) {
  return std::any_of(video.codecs().begin(), video.codecs().end(), [](const cricket::VideoCodec& codec) {
    return codec.GetCodecType() == cricket::VideoCodec::CODEC_VIDEO;
  });
}

}  // namespace

std::optional<std::string> makeHarmless(webrtc::SessionDescriptionInterface& answer) {
  std::size_t candidates = 0;
  for (std::size_t i = 0; i < answer.number_of_mediasections(); ++i) {
    if (const webrtc::IceCandidateCollection* const some = answer.candidates(i)) candidates += some->count();
  }
  if (candidates > kMaxCandidates) return "too many candidates";
  for (cricket::ContentInfo& content : answer.description()->contents()) {
    cricket::MediaContentDescription* const media = content.media_description();
    if (const auto* const data = media->as_sctp(); data && data->max_message_size() < 0) {
      return "a negative length of messages";
    }
    cricket::VideoContentDescription* const video = media->as_video();
    if (!video) continue;
    dropHarmfulParameters(*video);
    if (!content.rejected && !hasVideoCodec(*video)) return "no codec for the picture";
  }
  return std::nullopt;
}

}  // namespace vantora
