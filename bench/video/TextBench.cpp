// A page of text on a slow link: how much of it the viewer can read, and when, if the frame keeps its size or is sent
// smaller and scaled up again. Each of our encoders gets the same bit rate for every size; a letter counts as readable
// if no other letter of the page's alphabet is more similar to the decoded one.
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/builtin_video_decoder_factory.h>
#include <api/video_codecs/video_codec.h>
#include <api/video_codecs/video_decoder.h>
#include <api/video_codecs/video_encoder.h>
#include <api/video_codecs/video_encoder_factory.h>
#include <modules/video_coding/include/video_codec_interface.h>
#include <rtc_base/logging.h>

#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "main/video/encoders/EncoderFactory.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;
using Buffer = rtc::scoped_refptr<webrtc::I420BufferInterface>;

constexpr int kColumns = 220;
constexpr int kLines = 60;
constexpr int kCellWidth = 8;
constexpr int kCellHeight = 18;
constexpr int kWidth = 1920;
constexpr int kHeight = kLines * kCellHeight;
constexpr int kFps = 10;
constexpr char kFirstLetter = '!';
constexpr int kLetters = '~' - kFirstLetter + 1;
constexpr uint32_t kKbps = 1000;

struct Page {
  Buffer buffer;
  std::vector<char> letters;  // Line by line; ' ' is a blank.
};

QImage blank() {
  QImage image(kWidth, kHeight, QImage::Format_Grayscale8);
  image.fill(Qt::white);
  return image;
}

void draw(QPainter& painter, int column, int line, char letter) {
  const QRect cell(column * kCellWidth, line * kCellHeight, kCellWidth, kCellHeight);
  painter.drawText(cell, Qt::AlignCenter, QString(QLatin1Char(letter)));
}

QFont textFont() {
  QFont font(u"DejaVu Sans Mono"_s);
  font.setPixelSize(13);
  return font;
}

Buffer bufferOf(const QImage& image) {
  const auto buffer = webrtc::I420Buffer::Create(kWidth, kHeight);
  webrtc::I420Buffer::SetBlack(buffer.get());
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      buffer->MutableDataY()[y * buffer->StrideY() + x] =
          static_cast<uint8_t>(16 + image.constScanLine(y)[x] * 219 / 255);
    }
  }
  return buffer;
}

Page makePage(uint32_t seed) {
  QImage image = blank();
  QPainter painter(&image);
  painter.setFont(textFont());
  Page page;
  uint32_t state = 2463534242U + seed * 77U;
  for (int line = 0; line < kLines; ++line) {
    for (int column = 0; column < kColumns; ++column) {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      const char letter = state % 6 == 0 ? ' ' : static_cast<char>(kFirstLetter + state / 6 % kLetters);
      page.letters.push_back(letter);
      if (letter != ' ') draw(painter, column, line, letter);
    }
  }
  painter.end();
  page.buffer = bufferOf(image);
  return page;
}

using Cell = std::array<int, kCellWidth * kCellHeight>;

Cell cellAt(const webrtc::I420BufferInterface& buffer, int column, int line) {
  Cell cell{};
  for (int y = 0; y < kCellHeight; ++y) {
    for (int x = 0; x < kCellWidth; ++x) {
      cell[static_cast<size_t>(y) * kCellWidth + static_cast<size_t>(x)] =
          buffer.DataY()[(line * kCellHeight + y) * buffer.StrideY() + column * kCellWidth + x];
    }
  }
  return cell;
}

std::vector<Cell> makeAlphabet() {
  QImage image = blank();
  QPainter painter(&image);
  painter.setFont(textFont());
  for (int letter = 0; letter < kLetters; ++letter) draw(painter, letter, 0, static_cast<char>(kFirstLetter + letter));
  painter.end();
  const Buffer buffer = bufferOf(image);
  std::vector<Cell> cells;
  cells.reserve(kLetters);
  for (int letter = 0; letter < kLetters; ++letter) cells.push_back(cellAt(*buffer, letter, 0));
  return cells;
}

// Share of the letters of `page` that are readable in `shown`, in percent.
double readable(const webrtc::I420BufferInterface& shown, const Page& page, const std::vector<Cell>& alphabet) {
  int right = 0;
  int all = 0;
  for (int line = 0; line < kLines; ++line) {
    for (int column = 0; column < kColumns; ++column) {
      const char letter = page.letters[static_cast<size_t>(line) * kColumns + static_cast<size_t>(column)];
      if (letter == ' ') continue;
      const Cell cell = cellAt(shown, column, line);
      qint64 minimum = std::numeric_limits<qint64>::max();
      int nearest = 0;
      for (int candidate = 0; candidate < kLetters; ++candidate) {
        qint64 distance = 0;
        for (size_t at = 0; at < cell.size(); ++at) {
          const int difference = cell[at] - alphabet[static_cast<size_t>(candidate)][at];
          distance += difference * difference;
        }
        if (distance < minimum) {
          minimum = distance;
          nearest = candidate;
        }
      }
      ++all;
      right += kFirstLetter + nearest == letter;
    }
  }
  return 100.0 * right / all;
}

double psnr(const webrtc::I420BufferInterface& shown, const webrtc::I420BufferInterface& wanted) {
  double sum = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double difference = shown.DataY()[y * shown.StrideY() + x] - wanted.DataY()[y * wanted.StrideY() + x];
      sum += difference * difference;
    }
  }
  return 10 * std::log10(255.0 * 255 * kWidth * kHeight / std::max(sum, 1.0));
}

Buffer resized(const Buffer& original, int width, int height) {
  if (original->width() == width && original->height() == height) return original;
  const auto buffer = webrtc::I420Buffer::Create(width, height);
  buffer->ScaleFrom(*original);
  return buffer;
}

// An encoder and a decoder.
class CodecPair : public webrtc::EncodedImageCallback, public webrtc::DecodedImageCallback {
 public:
  CodecPair(const char* name, webrtc::VideoCodecType type, int width, int height) : width_(width), height_(height) {
    std::map<std::string, std::string> parameters;
    if (type == webrtc::kVideoCodecH264) parameters["packetization-mode"] = "1";
    const webrtc::SdpVideoFormat format(name, parameters);
    // The frames' time is that of the link: the bench encodes as fast as it can.
    encoder_ = makeVideoEncoderFactory(std::make_shared<KeyFrameRequest>(), [this] {
                 return std::chrono::microseconds(timestamp_ * 100 / 9);
               })->CreateVideoEncoder(format);
    decoder_ = webrtc::CreateBuiltinVideoDecoderFactory()->CreateVideoDecoder(format);
    webrtc::VideoDecoder::Settings settings;
    settings.set_codec_type(type);
    settings.set_number_of_cores(2);
    decoder_->Configure(settings);
    decoder_->RegisterDecodeCompleteCallback(this);
    webrtc::VideoCodec codec;
    codec.codecType = type;
    codec.width = static_cast<uint16_t>(width);
    codec.height = static_cast<uint16_t>(height);
    codec.startBitrate = codec.maxBitrate = kKbps;
    codec.minBitrate = 30;
    codec.maxFramerate = kFps;
    codec.qpMax = type == webrtc::kVideoCodecH264 ? 51 : 56;
    codec.mode = webrtc::VideoCodecMode::kRealtimeVideo;
    codec.active = true;
    codec.numberOfSimulcastStreams = 1;
    webrtc::SimulcastStream& stream = codec.simulcastStream[0];
    stream.width = width;
    stream.height = height;
    stream.maxFramerate = kFps;
    stream.numberOfTemporalLayers = 1;
    stream.maxBitrate = stream.targetBitrate = kKbps;
    stream.qpMax = codec.qpMax;
    stream.active = true;
    codec.SetScalabilityMode(webrtc::ScalabilityMode::kL1T1);
    if (type == webrtc::kVideoCodecVP8) {
      *codec.VP8() = webrtc::VideoEncoder::GetDefaultVp8Settings();
    } else if (type == webrtc::kVideoCodecVP9) {
      *codec.VP9() = webrtc::VideoEncoder::GetDefaultVp9Settings();
      codec.VP9()->numberOfSpatialLayers = 1;
    } else {
      *codec.H264() = webrtc::VideoEncoder::GetDefaultH264Settings();
    }
    encoder_->InitEncode(&codec, webrtc::VideoEncoder::Settings(webrtc::VideoEncoder::Capabilities(false), 2, 1200));
    encoder_->RegisterEncodeCompleteCallback(this);
    webrtc::VideoBitrateAllocation allocation;
    allocation.SetBitrate(0, 0, kKbps * 1000);
    encoder_->SetRates(webrtc::VideoEncoder::RateControlParameters(allocation, kFps));
  }

  // Encodes and decodes one frame; returns its encoded bytes, 0 if it was dropped.
  size_t send(const Buffer& buffer) {
    bytes_ = 0;
    timestamp_ += 90000 / kFps;
    const auto frame = webrtc::VideoFrame::Builder()
                           .set_video_frame_buffer(resized(buffer, width_, height_))
                           .set_timestamp_rtp(timestamp_)
                           .set_timestamp_us(timestamp_ * 100 / 9)
                           .build();
    const std::vector<webrtc::VideoFrameType> types{
        timestamp_ == 90000 / kFps ? webrtc::VideoFrameType::kVideoFrameKey : webrtc::VideoFrameType::kVideoFrameDelta};
    const auto start = std::chrono::steady_clock::now();
    encoder_->Encode(frame, &types);
    encodingMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    return bytes_;
  }
  // The last frame as the viewer sees it, scaled to the screen's size.
  Buffer shown() const { return resized(last_, kWidth, kHeight); }
  double encodingMs = 0;

 private:
  Result OnEncodedImage(const webrtc::EncodedImage& image, const webrtc::CodecSpecificInfo*) override {
    bytes_ += image.size();
    decoder_->Decode(image, false, 0);
    return Result(Result::OK);
  }
  int32_t Decoded(webrtc::VideoFrame& frame) override {
    last_ = frame.video_frame_buffer()->ToI420();
    return 0;
  }

  const int width_;
  const int height_;
  std::unique_ptr<webrtc::VideoEncoder> encoder_;
  std::unique_ptr<webrtc::VideoDecoder> decoder_;
  Buffer last_;
  size_t bytes_ = 0;
  uint32_t timestamp_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QGuiApplication application(argc, argv);
  rtc::LogMessage::LogToDebug(rtc::LS_NONE);
  const QStringList arguments = QCoreApplication::arguments();
  const auto at = arguments.indexOf(u"--out"_s);
  const Page before = makePage(1);
  const Page after = makePage(2);
  const std::vector<Cell> alphabet = makeAlphabet();
  QJsonArray figures;
  const auto add = [&](const QString& name, double value, const QString& unit) {
    figures.append(QJsonObject{{u"name"_s, name}, {u"value"_s, value}, {u"unit"_s, unit}});
    std::printf("%-58s %8.1f %s\n", qPrintable(name), value, qPrintable(unit));
  };
  const std::pair<const char*, webrtc::VideoCodecType> codecs[] = {
      {"H264", webrtc::kVideoCodecH264}, {"VP8", webrtc::kVideoCodecVP8}, {"VP9", webrtc::kVideoCodecVP9}};
  for (const auto& [codec, type] : codecs) {
    for (const double scale : {1.0, 0.75, 0.5}) {
      const auto side = [scale = scale](int whole) { return static_cast<int>(whole * scale) / 4 * 4; };
      CodecPair pair(codec, type, side(kWidth), side(kHeight));
      for (int i = 0; i < 3 * kFps; ++i) pair.send(before.buffer);
      std::vector<std::pair<double, Buffer>> seen;  // Seconds after the page changed, and the frame shown then.
      double encoding = 0;
      for (int i = 0; i < 4 * kFps; ++i) {
        const size_t bytes = pair.send(after.buffer);
        if (bytes == 0) continue;
        encoding = std::max(encoding, pair.encodingMs);
        const double free = seen.empty() ? 0 : seen.back().first;
        seen.emplace_back(std::max(free, static_cast<double>(i) / kFps) + static_cast<double>(bytes) * 8 / 1000 / kKbps,
                          pair.shown());
      }
      const QString name = u"text at 1 Mbit/s, %1, size x %2, "_s.arg(QString::fromLatin1(codec)).arg(scale);
      if (seen.empty()) continue;
      double ready = -1;
      double share = 0;
      for (const auto& [arrived, shown] : seen) {
        share = readable(*shown, after, alphabet);
        if (ready < 0 && share >= 90) ready = arrived;
      }
      add(name + u"first picture after"_s, seen.front().first * 1000, u"ms"_s);
      add(name + u"readable in it"_s, readable(*seen.front().second, after, alphabet), u"%"_s);
      add(name + u"90 % readable after"_s, ready < 0 ? -1 : ready * 1000, u"ms (-1: never)"_s);
      add(name + u"readable at last"_s, share, u"%"_s);
      add(name + u"likeness at last"_s, psnr(*seen.back().second, *after.buffer), u"dB"_s);
      add(name + u"slowest picture to encode"_s, encoding, u"ms"_s);
    }
  }
  if (at < 0 || at + 1 >= arguments.size()) return 0;
  QFile file(arguments[at + 1]);
  const QByteArray json = QJsonDocument(QJsonObject{{u"figures"_s, figures}}).toJson();
  return file.open(QIODevice::WriteOnly) && file.write(json) == json.size() ? 0 : 1;
}
