// The user interface over a fake session, controlled by lines on standard input; for tests on a real X server. Requests
// to the session and answers to questions go to standard output, one line each.
#include <QApplication>
#include <QSocketNotifier>
#include <cstdio>
#include <iostream>
#include <string>

#include "base/Log.h"
#include "main/ui/Theme.h"
#include "main/ui/UserInterface.h"
#include "tests/fakes/FakeSessionControl.h"

namespace {

using namespace vantora;
using namespace Qt::Literals::StringLiterals;

void say(const QString& line) {
  std::fputs((line + u'\n').toUtf8().constData(), stdout);
  std::fflush(stdout);
}

class Stage {
 public:
  Stage() {
    session_.listener = [](const QString& what) { say(u"asked "_s + what); };
    QObject::connect(&input_, &QSocketNotifier::activated, &input_, [this] {
      std::string line;
      if (!std::getline(std::cin, line)) return QCoreApplication::quit();
      do {
        obey(QString::fromStdString(line));
      } while (std::cin.rdbuf()->in_avail() > 0 && std::getline(std::cin, line));
    });
    say(u"ready"_s);
  }

 private:
  void obey(const QString& line) {
    const QString verb = line.section(u' ', 0, 0);
    const QString rest = line.section(u' ', 1);
    if (verb == "chat"_L1) interface_.presentChat(rest.section(u' ', 0, 0), rest.section(u' ', 1), 1709651220000);
    if (verb == "ice"_L1) {
      session_.change([&](HostState& state) { state.iceState = static_cast<IceState>(rest.toInt()); });
    }
    if (verb == "sharing"_L1) session_.change([&](HostState& state) { state.sharingEnabled = rest == "1"_L1; });
    if (verb == "room"_L1) session_.change([&](HostState& state) { state.roomId = rest; });
    if (verb == "lock"_L1) session_.change([&](HostState& state) { state.pinLockedByEnv = true; });
    if (verb == "reopen"_L1) interface_.handleReopen();
    if (verb == "open"_L1) interface_.statusBar().showChatWindow();
    if (verb == "panel"_L1) interface_.statusBar().showPanel();
    if (verb == "introduce"_L1) {
      interface_.showPanelUnlessTray([] { say(u"introduced"_s); }, {.forTray = std::chrono::milliseconds(rest.toInt()),
                                                                    .forAnswer = std::chrono::seconds(60),
                                                                    .forManager = std::chrono::seconds(60),
                                                                    .step = std::chrono::milliseconds(20)});
    }
    if (verb == "dark"_L1) QApplication::setPalette(theme::darkPalette());
    if (verb == "light"_L1) QApplication::setPalette(QPalette());
    if (verb == "tray?"_L1) say(u"tray %1"_s.arg(interface_.statusBar().trayShown()));
    if (verb == "unread?"_L1) say(u"unread %1"_s.arg(interface_.statusBar().unreadChatCount()));
    if (verb == "windows?"_L1) say(u"windows "_s + openWindows().join(u", "_s));
    if (verb == "focus?"_L1) {
      const QWidget* focus = QApplication::focusWidget();
      say(u"focus "_s + (focus ? focus->accessibleName() : u"nowhere"_s));
    }
    // Where the first link of the conversation is on the screen.
    if (verb == "link?"_L1) {
      Transcript& transcript = interface_.statusBar().chatWindow().transcript();
      transcript.flush();
      const QTextCursor link = transcript.document()->find(rest);
      const QPoint place = transcript.viewport()->mapToGlobal(transcript.cursorRect(link).center());
      say(u"link %1 %2"_s.arg(place.x() - 10).arg(place.y()));
    }
  }

  // Titles in alphabetical order.
  static QStringList openWindows() {
    QStringList titles;
    for (const QWidget* window : QApplication::topLevelWidgets()) {
      if (window->isVisible() && !window->windowTitle().isEmpty()) titles.append(window->windowTitle());
    }
    titles.sort();
    return titles;
  }

  fakes::FakeSessionControl session_;
  UserInterface interface_{session_, InfoDictionary()};
  QSocketNotifier input_{0, QSocketNotifier::Read};
};

}  // namespace

int main(int argc, char* argv[]) {
  std::ios::sync_with_stdio(false);
  QApplication application(argc, argv);
  const ScopedLogSink quiet([](const QString&) {});
  const Stage stage;
  return QApplication::exec();
}
