// Time from a viewer's pointer or key message until an application on a real X server receives the event, in
// microseconds.
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <vector>

#include "base/Json.h"
#include "base/QtScheduler.h"
#include "main/control/input/InputInjector.h"
#include "platform/x11/X11Displays.h"
#include "platform/x11/X11Input.h"
#include "tests/x11/support/TestWindow.h"
#include "tests/x11/support/XvfbServer.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;
using Clock = std::chrono::steady_clock;

constexpr int kWarmUps = 200;
constexpr int kRounds = 5000;
// In microseconds: a tenth of a millisecond is far below the interval of video frames.
constexpr double kMoveCallAim = 30;
constexpr double kDeliveredAim = 100;

struct Series {
  std::vector<double> call;       // Until the call returned.
  std::vector<double> delivered;  // Until the application received the event.
};

double microseconds(Clock::duration time) { return std::chrono::duration<double, std::micro>(time).count(); }

// Waits for one event of type `wanted`; false if the connection to the server is lost.
bool await(xcb_connection_t* connection, int wanted) {
  while (xcb_generic_event_t* event = xcb_wait_for_event(connection)) {
    const int type = event->response_type & 0x7f;
    std::free(event);
    if (type == wanted) return true;
  }
  return false;
}

// Runs `act`, which must cause one event of type `wanted(round)`.
template <typename Act, typename Wanted>
bool measure(xcb_connection_t* connection, Series& series, Act act, Wanted wanted) {
  for (int round = 0; round < kWarmUps + kRounds; ++round) {
    const auto start = Clock::now();
    act(round);
    const auto returned = Clock::now();
    if (!await(connection, wanted(round))) return false;
    const auto delivered = Clock::now();
    if (round < kWarmUps) continue;
    series.call.push_back(microseconds(returned - start));
    series.delivered.push_back(microseconds(delivered - start));
  }
  return true;
}

// One figure of the report; `aim` is empty for a figure without a target.
QJsonObject figure(const QString& name, double value, std::optional<double> aim) {
  QJsonObject object{{u"name"_s, name}, {u"value"_s, value}, {u"unit"_s, u"us"_s}, {u"better"_s, u"lower"_s}};
  if (aim) object.insert(u"aim"_s, *aim);
  return object;
}

void report(QJsonArray& figures, const QString& what, std::vector<double> values, std::optional<double> medianAim) {
  std::sort(values.begin(), values.end());
  const auto percentile = [&values](double share) {
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
  };
  figures.append(figure(what + u", median"_s, percentile(0.5), medianAim));
  figures.append(figure(what + u", 95th percentile"_s, percentile(0.95), std::nullopt));
}

int fail(const char* what) {
  std::fprintf(stderr, "bench_input: %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 1 && !(argc == 3 && QByteArrayView(argv[1]) == "--out")) return fail("usage: bench_input [--out FILE]");
  const testx11::XvfbServer server(1920, 1080);
  if (!server.running()) return fail("no X server");
  testx11::TestWindow window(server.display());
  const auto displays = makeX11Displays(server.display());
  const auto input = makeX11Input(server.display(), *displays);
  bool usable = false;
  input->requestPermission([&](const InputPermission& permission) { usable = permission.granted; });
  if (!window.alive() || !usable) return fail("the X server takes no input");
  QtScheduler scheduler;
  InputInjector injector(*displays, *input, scheduler);
  injector.setTargetScreen(0);

  Series moves;
  Series keys;
  const bool done = measure(
                        window.connection(), moves, [&](int round) { injector.move((round % 1000 + 0.5) / 1000, 0.5); },
                        [](int) { return XCB_MOTION_NOTIFY; }) &&
                    measure(
                        window.connection(), keys, [&](int round) { injector.key(u"KeyA"_s, round % 2 == 0, {}); },
                        [](int round) { return round % 2 == 0 ? XCB_KEY_PRESS : XCB_KEY_RELEASE; });
  if (!done) return fail("the X server has gone");

  QJsonArray figures;
  report(figures, u"pointer move, call"_s, moves.call, kMoveCallAim);
  report(figures, u"pointer move, at the application"_s, moves.delivered, kDeliveredAim);
  report(figures, u"key, call"_s, keys.call, std::nullopt);
  report(figures, u"key, at the application"_s, keys.delivered, kDeliveredAim);
  const QByteArray json = toJson({{u"figures"_s, figures}}) + '\n';
  if (argc == 1) {
    std::fputs(json.constData(), stdout);
    return 0;
  }
  QFile out(QString::fromLocal8Bit(argv[2]));
  return out.open(QIODevice::WriteOnly) && out.write(json) == json.size() ? 0 : fail("cannot write the result");
}
