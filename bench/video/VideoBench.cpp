// The time a frame takes before it reaches the encoder: reading and converting the screen, compared with the minimum
// that any capture needs; making the test pattern, compared with painting it pixel by pixel; and detecting changes.
#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <vector>

#include "main/video/encoders/ChangedBlocks.h"
#include "main/video/sources/FrameConverter.h"
#include "main/video/sources/TestPattern.h"
#include "platform/x11/capture/X11ScreenCapture.h"
#include "rtc_base/logging.h"
#include "tests/x11/capture/ScreenPainter.h"
#include "tests/x11/support/XvfbServer.h"
#include "third_party/libyuv/include/libyuv/convert.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;
using Clock = std::chrono::steady_clock;

constexpr int kWarmUps = 20;
constexpr int kRounds = 200;
// Reading and converting should cost little more than one copy and one conversion.
constexpr double kCaptureRatioAim = 1.3;

struct Size {
  int width;
  int height;
  QString name;
};

double milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

double timed(const std::function<void()>& act) {
  const auto start = Clock::now();
  act();
  return milliseconds(Clock::now() - start);
}

class Report {
 public:
  void add(const QString& name, double value, const QString& unit, std::optional<double> aim = {},
           const QString& better = u"lower"_s) {
    QJsonObject figure{{u"name"_s, name}, {u"value"_s, value}, {u"unit"_s, unit}, {u"better"_s, better}};
    if (aim) figure.insert(u"aim"_s, *aim);
    figures_.append(figure);
    std::printf("%-58s %8.3f %s\n", qPrintable(name), value, qPrintable(unit));
  }
  bool write(const QString& path) const {
    QFile file(path);
    const QByteArray json = QJsonDocument(QJsonObject{{u"figures"_s, figures_}}).toJson();
    return file.open(QIODevice::WriteOnly) && file.write(json) == json.size();
  }

 private:
  QJsonArray figures_;
};

void convertAll(const std::uint8_t* bgra, int stride, webrtc::I420Buffer& frame) {
  libyuv::ARGBToI420(bgra, stride, frame.MutableDataY(), frame.StrideY(), frame.MutableDataU(), frame.StrideU(),
                     frame.MutableDataV(), frame.StrideV(), frame.width(), frame.height());
}

// Frames of a screen that changes entirely, and of one where a line of text changes.
bool benchCapture(const Size& size, Report& report) {
  const testx11::XvfbServer server(size.width, size.height);
  if (!server.running()) return false;
  testx11::ScreenPainter painter(server.display());
  const auto capture = makeX11ScreenCapture(server.display().toStdString());
  if (capture->open(0).outcome != ScreenCapture::Outcome::opened) return false;
  CapturedFrame image;
  if (capture->poll(image) != ScreenCapture::Poll::changed) return false;

  FrameConverter converter;
  converter.setFrameSize({size.width, size.height});
  std::vector<std::uint8_t> source(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4,
                                   90);
  std::vector<std::uint8_t> copy(source.size());
  std::vector<double> whole;
  std::vector<double> line;
  std::vector<double> still;
  std::vector<double> floor;
  for (int round = 0; round < kWarmUps + kRounds; ++round) {
    const auto pollAndConvert = [&] {
      if (capture->poll(image) != ScreenCapture::Poll::changed) return;
      converter.convert(image, converter.newFrame());
    };
    painter.fillAll(static_cast<std::uint32_t>(round * 65793));
    const double wholeTime = timed(pollAndConvert);
    painter.fill(static_cast<std::uint32_t>(round * 251), 100, 400, 800, 20);
    const double lineTime = timed(pollAndConvert);
    const double stillTime = timed(pollAndConvert);
    const double floorTime = timed([&] {
      std::memcpy(copy.data(), source.data(), source.size());
      convertAll(copy.data(), size.width * 4, *converter.newFrame());
    });
    if (round < kWarmUps) continue;
    whole.push_back(wholeTime);
    line.push_back(lineTime);
    still.push_back(stillTime);
    floor.push_back(floorTime);
  }
  const QString name = u"screen %1, "_s.arg(size.name);
  report.add(name + u"whole change, read and converted"_s, median(whole), u"ms"_s);
  report.add(name + u"line of text, read and converted"_s, median(line), u"ms"_s);
  report.add(name + u"poll without a change"_s, median(still), u"ms"_s);
  report.add(name + u"floor: one copy, one conversion"_s, median(floor), u"ms"_s);
  report.add(name + u"whole change over floor"_s, median(whole) / median(floor), u"ratio"_s, kCaptureRatioAim);
  report.add(name + u"line of text over floor"_s, median(line) / median(floor), u"ratio"_s, kCaptureRatioAim);
  return true;
}

void benchScaling(Report& report) {
  const Size kFrom{1920, 1080, {}};
  const std::vector<std::uint8_t> pixels(static_cast<std::size_t>(kFrom.width * kFrom.height * 4), 90);
  FrameConverter converter;
  converter.setFrameSize({1280, 720});
  std::vector<double> times;
  for (int round = 0; round < kRounds; ++round) {
    CapturedFrame image;
    image.memory = CpuPixels{pixels.data(), kFrom.width * 4};
    image.size = {kFrom.width, kFrom.height};
    image.damage = {QRect(QPoint(0, 0), image.size)};
    times.push_back(timed([&] { converter.convert(image, converter.newFrame()); }));
  }
  report.add(u"screen 1080p to 720p, converted and scaled"_s, median(times), u"ms"_s);
}

// The simple way: paints every pixel of the image, then converts it.
void paintPlainly(BgraImage& image, webrtc::I420Buffer& frame, double time) {
  const std::vector<std::uint8_t> row = makePixelBuffer(image.width, 1, 0)->bytes;  // Above the box.
  const BoxColumns box = boxColumns(image.width, time);
  for (int y = 0; y < image.height; ++y) {
    std::uint8_t* pixel = image.bytes.data() + static_cast<std::ptrdiff_t>(y) * image.stride;
    const int barWidth = std::max(image.width / 6, 1);
    for (int x = 0; x < image.width; ++x, pixel += 4) {
      const std::uint8_t* colour = row.data() + static_cast<std::ptrdiff_t>(x / barWidth % 6) * barWidth * 4;
      const bool boxed = y >= kBoxTop && y < kBoxBottom && x >= box.left && x < box.right;
      for (int i = 0; i < 3; ++i) pixel[i] = boxed ? 0 : colour[i];
      pixel[3] = 255;
    }
  }
  convertAll(image.bytes.data(), image.stride, frame);
}

void benchPattern(const Size& size, Report& report) {
  const TestPattern pattern(size.width, size.height);
  const auto frame = webrtc::I420Buffer::Create(size.width, size.height);
  auto image = makePixelBuffer(size.width, size.height, 0);
  std::vector<double> fast;
  std::vector<double> plain;
  for (int round = 0; round < kRounds; ++round) {
    fast.push_back(timed([&] { pattern.paint(*frame, round / 60.0); }));
    if (round < kRounds / 4) plain.push_back(timed([&] { paintPlainly(*image, *frame, round / 60.0); }));
  }
  const QString name = u"test pattern %1, "_s.arg(size.name);
  report.add(name + u"frame"_s, median(fast), u"ms"_s);
  report.add(name + u"pixel by pixel"_s, median(plain), u"ms"_s);
  report.add(name + u"gain"_s, median(plain) / median(fast), u"times"_s, 4.0, u"higher"_s);
}

// A line of text changes in each frame: compares the whole frame, and only the area of the change.
void benchChanges(const Size& size, Report& report) {
  constexpr ChangedBlocks::Area kLine{100, 400, 800, 20};
  std::vector<std::uint8_t> luma(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height), 90);
  const auto change = [&](int round) {
    for (int y = kLine.top; y < kLine.top + kLine.height; ++y) {
      std::memset(luma.data() + static_cast<std::ptrdiff_t>(y) * size.width + kLine.left, round, kLine.width);
    }
  };
  ChangedBlocks changes;
  std::vector<double> whole;
  std::vector<double> part;
  for (int round = 0; round < kWarmUps + kRounds; ++round) {
    change(2 * round);
    const double wholeTime = timed([&] { changes.compare(luma.data(), size.width, size.width, size.height); });
    change(2 * round + 1);
    const double partTime = timed([&] { changes.compare(luma.data(), size.width, size.width, size.height, kLine); });
    if (round < kWarmUps) continue;
    whole.push_back(wholeTime);
    part.push_back(partTime);
  }
  const QString name = u"changed blocks %1, line of text, "_s.arg(size.name);
  report.add(name + u"whole frame compared"_s, median(whole), u"ms"_s);
  report.add(name + u"changed part compared"_s, median(part), u"ms"_s);
}

}  // namespace

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  rtc::LogMessage::LogToDebug(rtc::LS_NONE);
  const QStringList arguments = QCoreApplication::arguments();
  Report report;
  for (const Size& size : {Size{1920, 1080, u"1080p"_s}, Size{2560, 1440, u"1440p"_s}}) {
    if (!benchCapture(size, report)) {
      std::fprintf(stderr, "cannot capture an X server of %dx%d\n", size.width, size.height);
      return 1;
    }
  }
  benchScaling(report);
  for (const Size& size : {Size{1280, 720, u"720p"_s}, Size{1920, 1080, u"1080p"_s}, Size{3840, 2160, u"2160p"_s}}) {
    benchPattern(size, report);
  }
  benchChanges({1920, 1080, u"1080p"_s}, report);
  const auto option = arguments.indexOf(u"--out"_s);
  if (option < 0) return 0;
  const QString path = arguments.value(option + 1);
  if (report.write(path)) return 0;
  std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
  return 1;
}
