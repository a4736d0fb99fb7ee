// The library's list of H.264 formats without its encoder and decoder. The host has its own encoder and decodes
// nothing, and the library's decoder would load FFmpeg with more than a hundred libraries behind it: 10 MB of memory,
// and a third of the time that the program takes to start.
//
// The linker uses these definitions instead of the library's (CMakeLists.txt).
#include <api/video_codecs/h264_profile_level_id.h>
#include <api/video_codecs/sdp_video_format.h>
#include <media/base/media_constants.h>
#include <modules/video_coding/codecs/h264/include/h264.h>

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): these are ours.
namespace webrtc {

SdpVideoFormat CreateH264Format(H264Profile profile, H264Level level, const std::string& packetizationMode,
                                bool addScalabilityModes) {
  absl::InlinedVector<ScalabilityMode, kScalabilityModeCount> modes;
  if (addScalabilityModes) modes.push_back(ScalabilityMode::kL1T1);
  return {cricket::kH264CodecName,
          {{cricket::kH264FmtpProfileLevelId, *H264ProfileLevelIdToString(H264ProfileLevelId(profile, level))},
           {cricket::kH264FmtpLevelAsymmetryAllowed, "1"},
           {cricket::kH264FmtpPacketizationMode, packetizationMode}},
          modes};
}

void DisableRtcUseH264() {}

// Every profile whose decoders show constrained baseline, which is what the encoder sends.
std::vector<SdpVideoFormat> SupportedH264Codecs(bool addScalabilityModes) {
  std::vector<SdpVideoFormat> formats;
  for (const H264Profile profile :
       {H264Profile::kProfileBaseline, H264Profile::kProfileConstrainedBaseline, H264Profile::kProfileMain}) {
    for (const char* mode : {"1", "0"}) {
      formats.push_back(CreateH264Format(profile, H264Level::kLevel3_1, mode, addScalabilityModes));
    }
  }
  return formats;
}

std::vector<SdpVideoFormat> SupportedH264DecoderCodecs() {
  std::vector<SdpVideoFormat> formats = SupportedH264Codecs(false);
  for (const char* mode : {"1", "0"}) {
    formats.push_back(CreateH264Format(H264Profile::kProfilePredictiveHigh444, H264Level::kLevel3_1, mode));
  }
  return formats;
}

std::unique_ptr<H264Encoder> H264Encoder::Create(const cricket::VideoCodec&) { return nullptr; }
bool H264Encoder::IsSupported() { return true; }
bool H264Encoder::SupportsScalabilityMode(ScalabilityMode mode) { return mode == ScalabilityMode::kL1T1; }
std::unique_ptr<H264Decoder> H264Decoder::Create() { return nullptr; }
bool H264Decoder::IsSupported() { return true; }

}  // namespace webrtc
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
