// A page of dense text that stands still, scrolls, stands still and is replaced by another one, encoded for a thin link
// that loses what does not fit into its queue. The link, its sender and the time that encoding takes are simulated from
// the encoder's own processor time, so that other work on the machine does not change the figures.
//
// bench_screen_codec [--codec NAME] [--kbps RATE] [--out FILE]; a rate of 0 is a link without a limit.
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/video_codec.h>
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
#include <cmath>
#include <cstdio>
#include <deque>
#include <vector>

#include "bench/video/TextContent.h"
#include "bench/video/ThinLink.h"
#include "main/video/encoders/EncoderFactory.h"
#include "main/video/sources/FramePacer.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;

constexpr int kStep = 3;  // Rows per frame.
constexpr double kTick = 1.0 / 60;
constexpr int kCores = 2;
// The rate of preset "high".
constexpr int kHighKbps = 6000;
// The congestion control's estimate of a thin link stays a little below what the link carries.
constexpr double kEstimate = 0.92;

// Seconds from the start.
constexpr double kScrollAt = 4;
constexpr double kStillAt = 12;
constexpr double kPageAt = 15;
constexpr double kEnd = 21;

// Processor time of the whole process; nothing else runs in it while a frame is encoded.
double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Encoded {
  webrtc::EncodedImage image;
  double capturedAt;
};

class Session : public webrtc::EncodedImageCallback {
 public:
  Session(const char* name, webrtc::VideoCodecType type, int linkKbps) : link_(linkKbps * 1000.0, kEstimate) {
    std::map<std::string, std::string> parameters;
    if (type == webrtc::kVideoCodecH264) parameters["packetization-mode"] = "1";
    const webrtc::SdpVideoFormat format(name, parameters);
    encoder_ = makeVideoEncoderFactory(std::make_shared<KeyFrameRequest>(), [this] {
                 return std::chrono::nanoseconds(std::llround(now_ * 1e9));
               })->CreateVideoEncoder(format);
    decoder_ = std::make_unique<Decoder>(format, type);
    const int kbps = linkKbps > 0 ? std::min(kHighKbps, static_cast<int>(linkKbps * kEstimate)) : kHighKbps;
    webrtc::VideoCodec codec;
    codec.codecType = type;
    codec.width = kWidth;
    codec.height = kHeight;
    codec.startBitrate = static_cast<unsigned>(kbps);
    codec.maxBitrate = kHighKbps;
    codec.minBitrate = 30;
    codec.maxFramerate = 60;
    codec.qpMax = type == webrtc::kVideoCodecH264 ? 51 : 56;
    codec.mode = webrtc::VideoCodecMode::kRealtimeVideo;
    codec.active = true;
    codec.numberOfSimulcastStreams = 1;
    webrtc::SimulcastStream& stream = codec.simulcastStream[0];
    stream.width = kWidth;
    stream.height = kHeight;
    stream.maxFramerate = 60;
    stream.numberOfTemporalLayers = 1;
    stream.maxBitrate = stream.targetBitrate = static_cast<unsigned>(kbps);
    stream.qpMax = codec.qpMax;
    stream.active = true;
    codec.SetScalabilityMode(webrtc::ScalabilityMode::kL1T1);
    if (type == webrtc::kVideoCodecVP8) {
      *codec.VP8() = webrtc::VideoEncoder::GetDefaultVp8Settings();
    } else if (type == webrtc::kVideoCodecVP9) {
      *codec.VP9() = webrtc::VideoEncoder::GetDefaultVp9Settings();
      codec.VP9()->numberOfSpatialLayers = 1;
    } else if (type == webrtc::kVideoCodecH264) {
      *codec.H264() = webrtc::VideoEncoder::GetDefaultH264Settings();
    }
    encoder_->InitEncode(&codec,
                         webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), kCores, 1200));
    encoder_->RegisterEncodeCompleteCallback(this);
    webrtc::VideoBitrateAllocation allocation;
    allocation.SetBitrate(0, 0, static_cast<uint32_t>(kbps) * 1000);
    encoder_->SetRates(webrtc::VideoEncoder::RateControlParameters(allocation, 60));
  }

  // Shares the frame captured at `time`, or the newest one while the encoder is busy. `changed`: not a repeat.
  void capture(double time, const Buffer& buffer, bool changed) {
    finish(time);
    waiting_ = Waiting{buffer, time, changed || (waiting_ && waiting_->changed)};
    if (free_ <= time) encodeWaiting(time);
  }
  // Everything up to `time` happens.
  void finish(double time) {
    while (waiting_ && free_ <= time) encodeWaiting(free_);
    now_ = std::max(now_, time);
    deliver(time);
  }
  const Buffer& shown() const { return decoder_->last(); }

  struct Shown {
    double at;
    double capturedAt;
  };
  std::vector<Shown> shownFrames;
  struct Made {
    double capturedAt;
    double bits;
    double waited;  // Seconds in the sender and the link.
    bool key;
    int quantizer;
  };
  std::vector<Made> made;
  std::vector<std::pair<double, double>> costs;  // Time of the call and processor seconds.

 private:
  struct Waiting {
    Buffer buffer;
    double capturedAt;
    bool changed;
  };

  void encodeWaiting(double start) {
    const Waiting frame = *std::exchange(waiting_, std::nullopt);
    now_ = start;
    const auto us = std::llround(frame.capturedAt * 1e6);
    const auto native = webrtc::VideoFrame::Builder()
                            .set_video_frame_buffer(frame.buffer)
                            .set_timestamp_rtp(static_cast<uint32_t>(std::llround(frame.capturedAt * 90000)))
                            .set_timestamp_us(us)
                            .set_update_rect(webrtc::VideoFrame::UpdateRect{0, 0, frame.changed ? kWidth : 0,
                                                                            frame.changed ? kHeight : 0})
                            .build();
    const std::vector<webrtc::VideoFrameType> types{first_ ? webrtc::VideoFrameType::kVideoFrameKey
                                                           : webrtc::VideoFrameType::kVideoFrameDelta};
    first_ = false;
    capturedAt_ = frame.capturedAt;
    encoded_.clear();
    const auto wallStart = std::chrono::steady_clock::now();
    const double before = cpuSeconds();
    encoder_->Encode(native, &types);
    const double cpu = cpuSeconds() - before;
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    costs.emplace_back(start, cpu);
    free_ = start + std::clamp(wall, cpu / kCores, cpu);
    for (Encoded& each : encoded_) {
      made.push_back({each.capturedAt, static_cast<double>(each.image.size()) * 8, 0,
                      each.image._frameType == webrtc::VideoFrameType::kVideoFrameKey, each.image.qp_});
      link_.send(free_, each.image.size());
      onTheWay_.push_back(std::move(each));
    }
  }
  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo*) override {
    encoded_.push_back({image, capturedAt_});
    return Result(Result::OK);
  }
  void deliver(double time) {
    for (const ThinLink::Arrival& arrival : link_.advance(time)) {
      const Encoded frame = std::move(onTheWay_.front());
      onTheWay_.pop_front();
      made[shownFrames.size()].waited = arrival.at - arrival.sentAt;
      decoder_->decode(frame.image);
      shownFrames.push_back({arrival.at, frame.capturedAt});
    }
  }

  ThinLink link_;
  double now_ = 0;
  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  std::unique_ptr<Decoder> decoder_;
  std::optional<Waiting> waiting_;
  double free_ = 0;
  double capturedAt_ = 0;
  bool first_ = true;
  std::vector<Encoded> encoded_;
  std::deque<Encoded> onTheWay_;
};

double share(std::vector<double> values, double part) {
  if (values.empty()) return 0;
  std::ranges::sort(values);
  return values[std::min(values.size() - 1, static_cast<size_t>(part * static_cast<double>(values.size())))];
}

struct Figure {
  QString name;
  double value;
  QString unit;
};

std::vector<Figure> run(const char* name, webrtc::VideoCodecType type, int linkKbps, bool verbose) {
  const QImage text = drawText(1);
  const QImage other = drawText(7);
  Session session(name, type, linkKbps);
  int offset = 0;
  Buffer current = view(text, 0);
  double lastPush = -1;
  double lastChange = 0;
  std::vector<double> changes;  // Times of the changes while scrolling.
  std::vector<double> moving;   // PSNR of what is shown while scrolling, about ten times a second.
  double rest = 0;
  double oneSecond = 0;
  double readableAt = -1;
  double fineAt = -1;
  double stillCpu = 0;
  for (int tick = 0; tick * kTick < kEnd; ++tick) {
    const double now = tick * kTick;
    bool changed = tick == 0;
    if (now >= kScrollAt && now < kStillAt) {
      offset += kStep;
      current = view(text, offset);
      changes.push_back(now);
      changed = true;
    } else if (now >= kPageAt && now - kTick < kPageAt) {
      current = view(other, 0);
      changed = true;
    }
    if (changed) lastChange = now;
    const auto seconds = [](FramePacer::Time time) { return std::chrono::duration<double>(time).count(); };
    const double burst = FramePacer::kBurstLength * seconds(FramePacer::kBurstStep);
    const double interval = seconds(now - lastChange < burst + 0.05 ? FramePacer::kBurstStep : FramePacer::kStillStep);
    if (changed || now - lastPush >= interval - kTick / 2) {
      session.capture(now, current, changed);
      lastPush = now;
    } else {
      session.finish(now);
    }
    const auto at = [&](double when) { return now >= when && now - kTick < when; };
    if (at(kScrollAt - kTick)) rest = psnr(session.shown(), current);
    if (at(kStillAt + 1)) oneSecond = psnr(session.shown(), current);
    if (now >= kScrollAt + 1 && now < kStillAt && tick % 6 == 0) {
      const size_t count = session.shownFrames.size();
      const double captured = count > 0 ? session.shownFrames.back().capturedAt : 0;
      const int shownOffset = kStep * std::max(0, static_cast<int>(std::lround((captured - kScrollAt) / kTick)) + 1);
      moving.push_back(psnr(session.shown(), view(text, shownOffset)));
    }
    if (now >= kPageAt && fineAt < 0 && tick % 3 == 0) {
      const double now0 = psnr(session.shown(), current);
      if (readableAt < 0 && now0 >= 30) readableAt = now - kPageAt;
      if (now0 >= 40) fineAt = now - kPageAt;
    }
  }
  session.finish(kEnd + 5);
  const double final = psnr(session.shown(), current);
  std::vector<double> latencies;
  std::vector<double> gaps;
  size_t next = 0;
  for (const double change : changes) {
    while (next < session.shownFrames.size() && session.shownFrames[next].capturedAt < change) ++next;
    latencies.push_back(next < session.shownFrames.size() ? (session.shownFrames[next].at - change) * 1000 : 10'000);
  }
  int shown = 0;
  double last = kScrollAt;
  for (const auto& each : session.shownFrames) {
    if (each.at < kScrollAt || each.at >= kStillAt) continue;
    ++shown;
    gaps.push_back((each.at - last) * 1000);
    last = each.at;
  }
  gaps.push_back((kStillAt - last) * 1000);
  std::vector<double> bits;
  std::vector<double> waits;
  std::vector<double> quantizers;
  int keys = 0;
  double sum = 0;
  for (const auto& each : session.made) {
    if (verbose) {
      std::printf("  %.3f %s %.0f bits, quantizer %d, waited %.0f ms\n", each.capturedAt, each.key ? "KEY" : "   ",
                  each.bits, each.quantizer, each.waited * 1000);
    }
    keys += each.key ? 1 : 0;
    if (each.capturedAt < kScrollAt || each.capturedAt >= kStillAt) continue;
    bits.push_back(each.bits / 1000);
    waits.push_back(each.waited * 1000);
    quantizers.push_back(each.quantizer);
    sum += each.bits;
  }
  double cpu = 0;
  std::vector<double> cost;
  for (const auto& [when, seconds] : session.costs) {
    if (when >= kScrollAt && when < kStillAt) {
      cpu += seconds;
      if (seconds > 0.001) cost.push_back(seconds * 1000);
    }
    if (when >= kStillAt + 2 && when < kPageAt) stillCpu = std::max(stillCpu, seconds);
  }
  constexpr double kMotion = kStillAt - kScrollAt;
  return {{u"frames a second while scrolling"_s, shown / kMotion, u"fps"_s},
          {u"median gap"_s, share(gaps, 0.5), u"ms"_s},
          {u"gap, 95th of 100"_s, share(gaps, 0.95), u"ms"_s},
          {u"largest gap"_s, share(gaps, 1), u"ms"_s},
          {u"latency, median"_s, share(latencies, 0.5), u"ms"_s},
          {u"latency, 95th of 100"_s, share(latencies, 0.95), u"ms"_s},
          {u"waiting for the link, median"_s, share(waits, 0.5), u"ms"_s},
          {u"waiting for the link, 95th of 100"_s, share(waits, 0.95), u"ms"_s},
          {u"frame, median"_s, share(bits, 0.5), u"kbit"_s},
          {u"frame, 95th of 100"_s, share(bits, 0.95), u"kbit"_s},
          {u"largest frame"_s, share(bits, 1), u"kbit"_s},
          {u"first frame"_s, session.made.empty() ? 0 : session.made.front().bits / 1000, u"kbit"_s},
          {u"rate while scrolling"_s, sum / kMotion / 1000, u"kbit/s"_s},
          {u"quantizer while scrolling, median"_s, share(quantizers, 0.5), u""_s},
          {u"key frames"_s, static_cast<double>(keys), u"frames"_s},
          {u"luma PSNR while scrolling"_s, share(moving, 0.5), u"dB"_s},
          {u"luma PSNR after 4 s at rest"_s, rest, u"dB"_s},
          {u"luma PSNR 1 s after the motion"_s, oneSecond, u"dB"_s},
          {u"a new page at 30 dB after"_s, readableAt < 0 ? -1 : readableAt * 1000, u"ms (-1: never)"_s},
          {u"a new page at 40 dB after"_s, fineAt < 0 ? -1 : fineAt * 1000, u"ms (-1: never)"_s},
          {u"luma PSNR at last"_s, final, u"dB"_s},
          {u"processor time of a frame while scrolling, median"_s, share(cost, 0.5), u"ms"_s},
          {u"processor share while scrolling"_s, cpu / kMotion * 100, u"% of a core"_s},
          {u"processor time of a repeat of a still screen"_s, stillCpu * 1000, u"ms"_s}};
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QGuiApplication application(argc, argv);
  rtc::LogMessage::LogToDebug(rtc::LS_NONE);
  const QStringList arguments = QCoreApplication::arguments();
  const auto option = [&](const QString& name) {
    const auto at = arguments.indexOf(name);
    return at >= 0 && at + 1 < arguments.size() ? arguments[at + 1] : QString();
  };
  const bool verbose = arguments.contains(u"--verbose"_s);
  QJsonArray figures;
  constexpr std::pair<const char*, webrtc::VideoCodecType> kCodecs[] = {
      {"VP8", webrtc::kVideoCodecVP8}, {"VP9", webrtc::kVideoCodecVP9}, {"AV1", webrtc::kVideoCodecAV1}};
  for (const auto& [name, type] : kCodecs) {
    const QString codec = QString::fromLatin1(name);
    if (const QString only = option(u"--codec"_s); !only.isEmpty() && only.toUpper() != codec) continue;
    for (const int kbps : {0, 2000, 1000}) {
      if (const QString only = option(u"--kbps"_s); !only.isEmpty() && only.toInt() != kbps) continue;
      for (const Figure& figure : run(name, type, kbps, verbose)) {
        const QString full =
            u"%1, %2: %3"_s.arg(codec, kbps > 0 ? u"%1 Mbit/s"_s.arg(kbps / 1000) : u"no limit"_s, figure.name);
        figures.append(QJsonObject{{u"name"_s, full}, {u"value"_s, figure.value}, {u"unit"_s, figure.unit}});
        std::printf("%-72s %9.1f %s\n", qPrintable(full), figure.value, qPrintable(figure.unit));
      }
      std::fflush(stdout);
    }
  }
  const QString path = option(u"--out"_s);
  if (path.isEmpty()) return 0;
  QFile file(path);
  const QByteArray json = QJsonDocument(QJsonObject{{u"figures"_s, figures}}).toJson();
  return file.open(QIODevice::WriteOnly) && file.write(json) == json.size() ? 0 : 1;
}
