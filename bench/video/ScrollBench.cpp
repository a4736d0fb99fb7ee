// What an encoder makes of a dense page that stands still, scrolls, stands still again and is replaced, of a moving
// window, a photograph and typed characters, at the bit rate of its link: evenness and size of the frames, latency
// (without the time for encoding), likeness, processor time. A simulated clock and link, real encoders and decoders:
// bench_scroll [--out FILE] [--codecs "H264 VP8"] [--kbps "2000 6000"] [--scenes "text wheel window photo typing"]
// [--frames]
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/builtin_video_decoder_factory.h>
#include <api/video_codecs/video_codec.h>
#include <api/video_codecs/video_decoder.h>
#include <api/video_codecs/video_encoder.h>
#include <api/video_codecs/video_encoder_factory.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <rtc_base/logging.h>
#include <sys/resource.h>

#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <vector>

#include "bench/video/ScrollScenes.h"
#include "main/video/encoders/EncoderFactory.h"

namespace {

using namespace vantora;
using namespace vantora::bench;
using namespace Qt::Literals::StringLiterals;

// User and system time of all threads, in milliseconds.
double processorMs() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto ms = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) * 1e-3;
  };
  return ms(usage.ru_utime) + ms(usage.ru_stime);
}

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::ranges::sort(values);
  return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}

struct Sent {
  double captured;  // Seconds.
  double bits;
  double queued;   // Seconds that the link needed for what was sent before.
  double arrived;  // Seconds.
  double encodingMs;
  bool key;
  Picture shown;
};

// An encoder, a link of the encoder's rate, and a decoder.
class Line : public webrtc::EncodedImageCallback, public webrtc::DecodedImageCallback {
 public:
  Line(const QByteArray& name, int kbps) : rate_(kbps * 1000.0) {
    static const std::map<QByteArray, webrtc::VideoCodecType> types{{"H264", webrtc::kVideoCodecH264},
                                                                    {"VP8", webrtc::kVideoCodecVP8},
                                                                    {"VP9", webrtc::kVideoCodecVP9},
                                                                    {"AV1", webrtc::kVideoCodecAV1}};
    const webrtc::VideoCodecType type = types.at(name);
    std::map<std::string, std::string> parameters;
    if (type == webrtc::kVideoCodecH264) parameters.emplace("packetization-mode", "1");
    const webrtc::SdpVideoFormat format(name.toStdString(), parameters);
    encoder_ = makeVideoEncoderFactory(std::make_shared<KeyFrameRequest>(), [this] {
                 return std::chrono::nanoseconds(std::llround(now_ * 1e9));
               })->CreateVideoEncoder(format);
    decoder_ = webrtc::CreateBuiltinVideoDecoderFactory()->CreateVideoDecoder(format);
    webrtc::VideoDecoder::Settings settings;
    settings.set_codec_type(type);
    settings.set_number_of_cores(2);
    if (decoder_) {
      decoder_->Configure(settings);
      decoder_->RegisterDecodeCompleteCallback(this);
    }
    webrtc::VideoCodec codec;
    codec.codecType = type;
    codec.width = kWidth;
    codec.height = kHeight;
    codec.startBitrate = codec.maxBitrate = static_cast<unsigned>(kbps);
    codec.minBitrate = 30;
    codec.maxFramerate = kFps;
    codec.qpMax = type == webrtc::kVideoCodecH264 ? 51 : 56;
    codec.mode = webrtc::VideoCodecMode::kRealtimeVideo;
    codec.active = true;
    codec.numberOfSimulcastStreams = 1;
    webrtc::SimulcastStream& stream = codec.simulcastStream[0];
    stream.width = kWidth;
    stream.height = kHeight;
    stream.maxFramerate = kFps;
    stream.numberOfTemporalLayers = 1;
    stream.maxBitrate = stream.targetBitrate = codec.startBitrate;
    stream.qpMax = codec.qpMax;
    stream.active = true;
    codec.SetScalabilityMode(webrtc::ScalabilityMode::kL1T1);
    if (type == webrtc::kVideoCodecVP8) *codec.VP8() = webrtc::VideoEncoder::GetDefaultVp8Settings();
    if (type == webrtc::kVideoCodecVP9) *codec.VP9() = webrtc::VideoEncoder::GetDefaultVp9Settings();
    if (type == webrtc::kVideoCodecH264) *codec.H264() = webrtc::VideoEncoder::GetDefaultH264Settings();
    encoder_->InitEncode(&codec, webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200));
    encoder_->RegisterEncodeCompleteCallback(this);
    webrtc::VideoBitrateAllocation allocation;
    allocation.SetBitrate(0, 0, static_cast<uint32_t>(kbps) * 1000);
    encoder_->SetRates(webrtc::VideoEncoder::RateControlParameters(allocation, kFps));
  }

  // Encodes a frame that was captured at `now` seconds, sends and decodes it. False if it was dropped.
  bool send(const Picture& picture, const Rect& changed, double now) {
    now_ = now;
    const auto frame = webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(picture)
                           .set_timestamp_rtp(static_cast<uint32_t>(now * 90000))
                           .set_timestamp_us(std::llround(now * 1e6))
                           .set_update_rect(changed)
                           .build();
    const std::vector<webrtc::VideoFrameType> types{first_ ? webrtc::VideoFrameType::kVideoFrameKey
                                                           : webrtc::VideoFrameType::kVideoFrameDelta};
    first_ = false;
    image_.reset();
    const double before = processorMs();
    encoder_->Encode(frame, &types);
    const double encodingMs = processorMs() - before;
    processor += encodingMs;
    if (!image_) return false;
    const double bits = static_cast<double>(image_->size()) * 8;
    const double start = std::max(now, free_);
    free_ = start + bits / rate_;
    if (decoder_) decoder_->Decode(*image_, false, 0);
    sent.push_back({now, bits, start - now, free_, encodingMs,
                    image_->_frameType == webrtc::VideoFrameType::kVideoFrameKey, decoded_});
    if (printFrames) {
      std::printf("%8.3f s: %s%8.1f kbit, %5.1f ms\n", now, sent.back().key ? "key" : "   ", bits / 1e3, encodingMs);
    }
    if (sent.size() > kKept) sent[sent.size() - kKept - 1].shown = nullptr;
    return true;
  }

  std::vector<Sent> sent;
  double processor = 0;  // Milliseconds.
  bool printFrames = false;

 private:
  static constexpr size_t kKept = 30;

  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo*) override {
    image_ = image;
    return Result(Result::OK);
  }
  int32_t Decoded(webrtc::VideoFrame& frame) override {
    decoded_ = frame.video_frame_buffer()->ToI420();
    return 0;
  }

  const double rate_;
  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  std::unique_ptr<webrtc::VideoDecoder> decoder_;
  std::optional<webrtc::EncodedImage> image_;
  Picture decoded_;
  double now_ = 0;
  double free_ = 0;
  bool first_ = true;
};

class Run {
 public:
  Run(const QByteArray& codec, int kbps, QJsonArray& figures)
      : line_(codec, kbps), name_(u"%1, %2 kbit/s, "_s.arg(QString::fromLatin1(codec)).arg(kbps)), figures_(figures) {
    line_.printFrames = QCoreApplication::arguments().contains(u"--frames"_s);
  }

  // Lets the screen change by `scene` sixty times a second for `seconds`; reports on it as `what`.
  void move(Scene& scene, double seconds, const QString& what) {
    const size_t first = line_.sent.size();
    const double start = now_;
    const double processor = line_.processor;
    std::vector<double> captured;
    std::vector<double> likeness;
    for (int i = 0; i < std::lround(seconds * kFps); ++i) {
      const Rect changed = scene.step();
      picture_ = scene.picture();
      if (changed.IsEmpty()) {
        repeat();
      } else {
        captured.push_back(now_);
        lastChange_ = now_;
        pass(line_.send(picture_, changed, now_));
        const Sent& last = line_.sent.back();
        if (last.captured == now_ && last.shown && line_.sent.size() % 12 == 0)
          likeness.push_back(psnr(*last.shown, *picture_));
      }
      now_ += 1.0 / kFps;
    }
    std::vector<double> latency;
    std::vector<double> gaps;
    std::vector<double> bits;
    std::vector<double> queued;
    size_t at = first;
    for (const double time : captured) {
      while (at < line_.sent.size() && line_.sent[at].captured < time) ++at;
      latency.push_back(at < line_.sent.size() ? (line_.sent[at].arrived - time) * 1e3 : 1e4);
    }
    int keys = 0;
    for (size_t i = first; i < line_.sent.size(); ++i) {
      bits.push_back(line_.sent[i].bits / 1e3);
      queued.push_back(line_.sent[i].queued * 1e3);
      keys += line_.sent[i].key;
      if (i > first) gaps.push_back((line_.sent[i].arrived - line_.sent[i - 1].arrived) * 1e3);
    }
    const auto frames = static_cast<double>(bits.size());
    add(what, u"frames"_s, frames / (now_ - start), u"fps"_s);
    add(what, u"interval of arrival, 95th of 100"_s, quantile(gaps, 0.95), u"ms"_s);
    add(what, u"longest interval"_s, quantile(gaps, 1), u"ms"_s);
    add(what, u"latency, median"_s, quantile(latency, 0.5), u"ms"_s);
    add(what, u"latency, 95th of 100"_s, quantile(latency, 0.95), u"ms"_s);
    add(what, u"longest latency"_s, quantile(latency, 1), u"ms"_s);
    add(what, u"frame, median"_s, quantile(bits, 0.5), u"kbit"_s);
    add(what, u"frame, 95th of 100"_s, quantile(bits, 0.95), u"kbit"_s);
    add(what, u"largest frame"_s, quantile(bits, 1), u"kbit"_s);
    add(what, u"queue, 95th of 100"_s, quantile(queued, 0.95), u"ms"_s);
    add(what, u"longest queue"_s, quantile(queued, 1), u"ms"_s);
    double sum = 0;
    for (const double each : bits) sum += each;
    add(what, u"rate"_s, sum / (now_ - start), u"kbit/s"_s);
    add(what, u"key frames"_s, keys, u"frames"_s);
    add(what, u"likeness, median"_s, quantile(likeness, 0.5), u"dB"_s);
    add(what, u"processor"_s, (line_.processor - processor) / frames, u"ms per frame"_s);
  }

  // The screen shows `scene`, which differs everywhere from before, for `seconds`; reports when it is how sharp.
  void replace(Scene& scene, double seconds, const QString& what) {
    const size_t first = line_.sent.size();
    const double start = now_;
    const double processor = line_.processor;
    picture_ = scene.picture();
    lastChange_ = now_;
    pass(line_.send(picture_, Rect{0, 0, kWidth, kHeight}, now_));
    now_ += 1.0 / kFps;
    rest(seconds - 1.0 / kFps);
    double readable = -1;
    double good = -1;
    for (size_t i = first; i < line_.sent.size(); ++i) {
      if (!line_.sent[i].shown) continue;
      const double likeness = psnr(*line_.sent[i].shown, *picture_);
      const double ms = (line_.sent[i].arrived - start) * 1e3;
      if (readable < 0 && likeness >= 30) readable = ms;
      if (good < 0 && likeness >= 40) good = ms;
    }
    if (line_.sent.size() > first) {
      add(what, u"first frame after"_s, (line_.sent[first].arrived - start) * 1e3, u"ms"_s);
      if (line_.sent[first].shown) add(what, u"likeness of it"_s, psnr(*line_.sent[first].shown, *picture_), u"dB"_s);
    }
    add(what, u"30 dB after"_s, readable, u"ms (-1: never)"_s);
    add(what, u"40 dB after"_s, good, u"ms (-1: never)"_s);
    report(what, start, {1.3, 4.3});
    add(what, u"processor"_s, line_.processor - processor, u"ms"_s);
  }

  // Nothing changes for `seconds`.
  void rest(double seconds) {
    for (int i = 0; i < std::lround(seconds * kFps); ++i) {
      repeat();
      now_ += 1.0 / kFps;
    }
  }
  void restAndReport(double seconds, const QString& what, const std::vector<double>& at) {
    const double start = now_;
    const double processor = line_.processor;
    rest(seconds);
    report(what, start, at);
    add(what, u"processor"_s, line_.processor - processor, u"ms"_s);
  }

 private:
  // What FramePacer does: forty repeats after a change, then one a second.
  void repeat() {
    const double step = now_ - lastChange_ < 4.05 ? 0.1 : 1;
    if (now_ - lastSend_ < step - 1e-4) return;
    if (!picture_) return;
    pass(line_.send(picture_, Rect{0, 0, 0, 0}, now_));
  }
  void pass(bool) { lastSend_ = now_; }

  // The likeness of what the viewer sees at each of `times` after `start`.
  void report(const QString& what, double start, const std::vector<double>& times) {
    for (const double after : times) {
      const Sent* seen = nullptr;
      for (const Sent& each : line_.sent) {
        if (each.arrived <= start + after && each.shown) seen = &each;
      }
      add(what, u"likeness after %1 s"_s.arg(after), seen ? psnr(*seen->shown, *picture_) : 0, u"dB"_s);
    }
  }
  void add(const QString& what, const QString& figure, double value, const QString& unit) {
    const QString name = name_ + what + u": "_s + figure;
    figures_.append(QJsonObject{{u"name"_s, name}, {u"value"_s, value}, {u"unit"_s, unit}});
    std::printf("%-72s   %8.1f %s\n", qPrintable(name), value, qPrintable(unit));
    std::fflush(stdout);
  }

  Line line_;
  const QString name_;
  QJsonArray& figures_;
  Picture picture_;
  double now_ = 1;
  double lastSend_ = 0;
  double lastChange_ = 0;
};

QStringList option(const QString& name, const QString& otherwise) {
  const QStringList arguments = QCoreApplication::arguments();
  const auto at = arguments.indexOf(name);
  return (at < 0 || at + 1 >= arguments.size() ? otherwise : arguments[at + 1]).split(u' ', Qt::SkipEmptyParts);
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QGuiApplication application(argc, argv);
  rtc::LogMessage::LogToDebug(rtc::LS_NONE);
  QJsonArray figures;
  const QStringList scenes = option(u"--scenes"_s, u"text wheel window photo typing"_s);
  for (const QString& codec : option(u"--codecs"_s, u"H264"_s)) {
    for (const QString& kbps : option(u"--kbps"_s, u"6000 4000 2000 1000"_s)) {
      const auto run = [&] { return Run(codec.toLatin1(), kbps.toInt(), figures); };
      if (scenes.contains(u"text"_s)) {
        Run each = run();
        TextScene text(1);
        each.replace(text, 4, u"first page"_s);
        each.move(text, 6, u"scrolling"_s);
        each.restAndReport(4.5, u"after scrolling"_s, {0.3, 1, 4.3});
        TextScene other(7);
        each.replace(other, 6, u"new page"_s);
      }
      if (scenes.contains(u"wheel"_s)) {
        Run each = run();
        TextScene text(1, 51, kFps / 6);
        each.replace(text, 6, u"page"_s);
        each.move(text, 5, u"wheel"_s);
        each.restAndReport(4.5, u"after the wheel"_s, {1, 4.3});
      }
      if (scenes.contains(u"window"_s)) {
        Run each = run();
        WindowScene window;
        each.replace(window, 4, u"desktop"_s);
        each.move(window, 4, u"moving window"_s);
        each.restAndReport(4.5, u"after moving a window"_s, {1, 4.3});
      }
      if (scenes.contains(u"photo"_s)) {
        Run each = run();
        TextScene text(1);
        each.replace(text, 4, u"text"_s);
        PhotoScene photo;
        each.replace(photo, 6, u"photograph"_s);
      }
      if (scenes.contains(u"typing"_s)) {
        Run each = run();
        TypingScene typing;
        each.replace(typing, 6, u"page"_s);
        each.move(typing, 6, u"typing"_s);
        each.restAndReport(4.5, u"after typing"_s, {1, 4.3});
      }
    }
  }
  const QStringList out = option(u"--out"_s, {});
  if (out.isEmpty()) return 0;
  QFile file(out.first());
  const QByteArray json = QJsonDocument(QJsonObject{{u"figures"_s, figures}}).toJson();
  return file.open(QIODevice::WriteOnly) && file.write(json) == json.size() ? 0 : 1;
}
