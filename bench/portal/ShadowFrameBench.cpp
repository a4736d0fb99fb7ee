// The time that finding and taking over the changes of a screen costs: frames of a Wayland desktop do not say what has
// changed in them, so each is compared with the last one.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "platform/portal/pipewire/ShadowFrame.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;
using Clock = std::chrono::steady_clock;

constexpr int kWarmUps = 20;
constexpr int kRounds = 200;
constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

class Screen {
 public:
  FrameView view() const {
    return {reinterpret_cast<const std::uint8_t*>(pixels_.data()),
            std::ptrdiff_t{kWidth} * 4,
            {kWidth, kHeight},
            PixelFormat::bgrx};
  }
  void fill(const QRect& area, std::uint32_t colour) {
    for (int y = area.top(); y <= area.bottom(); ++y) {
      std::fill_n(pixels_.begin() + std::ptrdiff_t{y} * kWidth + area.left(), area.width(), colour);
    }
  }

 private:
  std::vector<std::uint32_t> pixels_ = std::vector<std::uint32_t>(std::size_t{kWidth} * kHeight);
};

// The median of the rounds in milliseconds; `prepare` is not counted.
double measure(const std::function<void(int round)>& prepare, const std::function<void()>& act) {
  std::vector<double> times;
  for (int round = 0; round < kWarmUps + kRounds; ++round) {
    prepare(round);
    const auto start = Clock::now();
    act();
    if (round >= kWarmUps) times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
  std::ranges::sort(times);
  return times[times.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 1 && !(argc == 3 && QByteArrayView(argv[1]) == "--out")) {
    std::fputs("usage: bench_portal [--out FILE]\n", stderr);
    return 2;
  }
  Screen screen;
  ShadowFrame shadow;
  const QRect whole(0, 0, kWidth, kHeight);
  const QRect line(100, 400, 800, 20);
  const auto nothing = [](int) {};
  const auto colourOf = [](int round) { return static_cast<std::uint32_t>(round + 1) * 65793; };
  const auto update = [&] { (void)shadow.update(screen.view(), std::nullopt); };
  std::vector<std::uint32_t> copy(std::size_t{kWidth} * kHeight);

  QJsonArray figures;
  const auto report = [&](const QString& name, double time) {
    figures.append(QJsonObject{{u"name"_s, u"Wayland frame 1080p, "_s + name},
                               {u"value"_s, time},
                               {u"unit"_s, u"ms"_s},
                               {u"better"_s, u"lower"_s}});
  };
  report(u"still"_s, measure(nothing, update));
  report(u"line of text changed"_s, measure([&](int round) { screen.fill(line, colourOf(round)); }, update));
  report(u"line of text changed and named as damage"_s,
         measure([&](int round) { screen.fill(line, colourOf(round)); },
                 [&] { (void)shadow.update(screen.view(), std::vector{line}); }));
  report(u"all changed"_s, measure([&](int round) { screen.fill(whole, colourOf(round)); }, update));
  report(u"floor: one copy"_s,
         measure(nothing, [&] { std::memcpy(copy.data(), screen.view().data, copy.size() * sizeof copy[0]); }));
  const QByteArray json = QJsonDocument(QJsonObject{{u"figures"_s, figures}}).toJson();
  if (argc == 1) {
    std::fputs(json.constData(), stdout);
    return 0;
  }
  QFile out(QString::fromLocal8Bit(argv[2]));
  return out.open(QIODevice::WriteOnly) && out.write(json) == json.size() ? 0 : 1;
}
