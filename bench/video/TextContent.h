// A page of dense text, and a decoder for what is encoded of it.
#pragma once

#include <aom/aom_decoder.h>
#include <aom/aomdx.h>
#include <api/video/i420_buffer.h>
#include <api/video/video_frame.h>
#include <api/video_codecs/builtin_video_decoder_factory.h>
#include <api/video_codecs/video_decoder.h>

#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

namespace vantora {

using Buffer = rtc::scoped_refptr<webrtc::I420BufferInterface>;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

// As wide as the screen and twice as high; every `seed` has another text.
inline QImage drawText(unsigned seed) {
  QFont font(QStringLiteral("DejaVu Sans Mono"));
  font.setPixelSize(14);
  const QFontMetrics metrics(font);
  const int columns = kWidth / metrics.horizontalAdvance(u'm');
  const int rows = 2 * kHeight / metrics.height();
  QImage image(kWidth, rows * metrics.height(), QImage::Format_Grayscale8);
  image.fill(Qt::white);
  QPainter painter(&image);
  painter.setFont(font);
  std::mt19937 random(seed);
  for (int row = 0; row < rows; ++row) {
    QString line;
    while (line.size() < columns) {
      for (unsigned length = 2 + random() % 9; length > 0; --length)
        line += QChar(static_cast<char16_t>(u'a' + random() % 26));
      line += u' ';
    }
    painter.drawText(0, row * metrics.height() + metrics.ascent(), line.left(columns));
  }
  return image;
}

// The screen that shows `text` from row `offset` on.
inline Buffer view(const QImage& text, int offset) {
  const auto buffer = webrtc::I420Buffer::Create(kWidth, kHeight);
  webrtc::I420Buffer::SetBlack(buffer.get());
  for (int y = 0; y < kHeight; ++y) {
    const uchar* from = text.constScanLine((y + offset) % text.height());
    uint8_t* to = buffer->MutableDataY() + y * buffer->StrideY();
    for (int x = 0; x < kWidth; ++x) to[x] = static_cast<uint8_t>(16 + from[x] * 219 / 255);
  }
  return buffer;
}

// Of the luma, in decibels; 0 without a picture.
inline double psnr(const Buffer& shown, const Buffer& wanted) {
  if (!shown) return 0;
  uint64_t sum = 0;
  for (int y = 0; y < kHeight; ++y) {
    const uint8_t* a = shown->DataY() + y * shown->StrideY();
    const uint8_t* b = wanted->DataY() + y * wanted->StrideY();
    for (int x = 0; x < kWidth; ++x) sum += static_cast<uint64_t>((a[x] - b[x]) * (a[x] - b[x]));
  }
  return 10 * std::log10(255.0 * 255 * kWidth * kHeight / static_cast<double>(std::max<uint64_t>(sum, 1)));
}

// Keeps the last decoded picture.
class Decoder : public webrtc::DecodedImageCallback {
 public:
  Decoder(const webrtc::SdpVideoFormat& format, webrtc::VideoCodecType type) {
    if (type == webrtc::kVideoCodecAV1) {
      aom_codec_dec_init(&av1_, aom_codec_av1_dx(), nullptr, 0);
      return;
    }
    decoder_ = webrtc::CreateBuiltinVideoDecoderFactory()->CreateVideoDecoder(format);
    webrtc::VideoDecoder::Settings settings;
    settings.set_codec_type(type);
    settings.set_number_of_cores(1);
    decoder_->Configure(settings);
    decoder_->RegisterDecodeCompleteCallback(this);
  }
  ~Decoder() override {
    if (!decoder_) aom_codec_destroy(&av1_);
  }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  void decode(const webrtc::EncodedImage& image) {
    if (decoder_) {
      decoder_->Decode(image, false, 0);
      return;
    }
    if (aom_codec_decode(&av1_, image.data(), image.size(), nullptr) != AOM_CODEC_OK) return;
    aom_codec_iter_t iterator = nullptr;
    while (const aom_image_t* picture = aom_codec_get_frame(&av1_, &iterator)) {
      last_ = webrtc::I420Buffer::Copy(kWidth, kHeight, picture->planes[0], picture->stride[0], picture->planes[1],
                                       picture->stride[1], picture->planes[2], picture->stride[2]);
    }
  }
  const Buffer& last() const { return last_; }

 private:
  int32_t Decoded(webrtc::VideoFrame& frame) override {
    last_ = frame.video_frame_buffer()->ToI420();
    return 0;
  }

  std::unique_ptr<webrtc::VideoDecoder> decoder_;
  aom_codec_ctx_t av1_{};
  Buffer last_;
};

}  // namespace vantora
