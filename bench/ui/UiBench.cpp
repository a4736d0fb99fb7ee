// The time that chat and menu take in the user interface, and whether its windows stay responsive in a burst of
// messages. The windows are laid out and painted into memory.
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <optional>

#include "base/Json.h"
#include "base/Log.h"
#include "main/ui/StatusIcon.h"
#include "main/ui/UserInterface.h"
#include "tests/fakes/FakeSessionControl.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;

constexpr int kMessages = 10000;
// Number of messages that arrive together from the session.
constexpr int kTogether = 50;
constexpr double kMessageAimUs = 200;
// Longer than this, a person notices that a window hangs.
constexpr double kGapAimMs = 100;

double since(const QElapsedTimer& clock) { return static_cast<double>(clock.nsecsElapsed()) / 1e6; }

struct Burst {
  double totalMs = 0;
  double worstGapMs = 0;
};

QString message(int number) {
  return u"Message %1 of the burst, with a few words and https://example.com/page/%1 in it"_s.arg(number);
}

// Sends all messages in groups, with the event loop running in between; a gap is the time between two runs of the loop,
// in which user input waits.
Burst burst(UserInterface& interface) {
  Burst result;
  QElapsedTimer whole;
  QElapsedTimer gap;
  whole.start();
  gap.start();
  for (int sent = 0; sent < kMessages;) {
    for (int i = 0; i < kTogether; ++i, ++sent) interface.presentChat(u"viewer"_s, message(sent), 1709651220000);
    QCoreApplication::processEvents();
    result.worstGapMs = std::max(result.worstGapMs, since(gap));
    gap.restart();
  }
  result.totalMs = since(whole);
  return result;
}

template <typename Act>
double meanUs(int rounds, Act act) {
  QElapsedTimer clock;
  clock.start();
  for (int round = 0; round < rounds; ++round) act(round);
  return since(clock) * 1000 / rounds;
}

QJsonObject figure(const QString& name, double value, const QString& unit, std::optional<double> aim = std::nullopt) {
  QJsonObject object{{u"name"_s, name}, {u"value"_s, value}, {u"unit"_s, unit}, {u"better"_s, u"lower"_s}};
  if (aim) object.insert(u"aim"_s, *aim);
  return object;
}

QJsonArray measure() {
  fakes::FakeSessionControl session;
  UserInterface interface(session, InfoDictionary(), QDBusConnection(u"nowhere"_s));
  Transcript& transcript = interface.statusBar().chatWindow().transcript();
  QJsonArray figures;

  const Burst hidden = burst(interface);
  figures.append(figure(u"chat message, window hidden"_s, hidden.totalMs * 1000 / kMessages, u"us"_s, kMessageAimUs));
  interface.statusBar().showChatWindow();
  QCoreApplication::processEvents();
  const Burst open = burst(interface);
  figures.append(figure(u"chat message, window open"_s, open.totalMs * 1000 / kMessages, u"us"_s, kMessageAimUs));
  figures.append(figure(u"longest pause in a burst of 10000 messages"_s, open.worstGapMs, u"ms"_s, kGapAimMs));

  const auto say = [&interface, &transcript](const QString& text) {
    interface.presentChat(u"viewer"_s, text, 1709651220000);
    transcript.flush();
  };
  while (transcript.length() < 199900) say(message(7));
  QElapsedTimer trim;
  trim.start();
  say(QString(200, u'x'));
  QCoreApplication::processEvents();
  figures.append(figure(u"trimming the transcript"_s, since(trim), u"ms"_s, kGapAimMs));

  figures.append(figure(u"menu and tooltip after a change"_s,
                        meanUs(2000,
                               [&session](int round) {
                                 session.change(
                                     [round](HostState& state) { state.iceState = static_cast<IceState>(round % 7); });
                               }),
                        u"us"_s));
  figures.append(figure(
      u"tray icon, 22 pixels"_s,
      meanUs(2000, [](int) { static_cast<void>(makeStatusIcon(Qt::green, Qt::black, true).pixmap(22)); }), u"us"_s));
  return figures;
}

int fail(const char* what) {
  std::fprintf(stderr, "bench_ui: %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 1 && !(argc == 3 && QByteArrayView(argv[1]) == "--out")) return fail("usage: bench_ui [--out FILE]");
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
  QApplication application(argc, argv);
  const ScopedLogSink quiet([](const QString&) {});

  const QByteArray json = toJson({{u"figures"_s, measure()}}) + '\n';
  if (argc == 1) {
    std::fputs(json.constData(), stdout);
    return 0;
  }
  QFile file(QString::fromLocal8Bit(argv[2]));
  if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size()) return fail("the result cannot be written");
  return 0;
}
