// The H.264 encoder inside the WebRTC library prints warnings to standard error, which belongs to the
// program's own log. The linker leads the library's call that makes an encoder through here (see
// CMakeLists.txt), where the encoder's trace is switched off.
#include <third_party/openh264/src/codec/api/svc/codec_api.h>

extern "C" int __real_WelsCreateSVCEncoder(ISVCEncoder** encoder);
extern "C" int __wrap_WelsCreateSVCEncoder(ISVCEncoder** encoder);

extern "C" int __wrap_WelsCreateSVCEncoder(ISVCEncoder** encoder) {
  const int result = __real_WelsCreateSVCEncoder(encoder);
  if (result == 0 && encoder && *encoder) {
    int level = WELS_LOG_QUIET;
    (*encoder)->SetOption(ENCODER_OPTION_TRACE_LEVEL, &level);
  }
  return result;
}
