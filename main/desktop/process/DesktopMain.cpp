#include "main/desktop/process/DesktopMain.h"

#include <QApplication>
#include <QJsonArray>
#include <QTimer>
#include <csignal>
#include <initializer_list>

#include "base/Environment.h"
#include "main/desktop/DesktopProcess.h"
#include "main/desktop/SessionProxy.h"
#include "main/desktop/process/ClipboardService.h"
#include "main/ui/UserInterface.h"
#include "platform/DesktopChoice.h"
#include "platform/qt/QtClipboard.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

constexpr auto kDisplayCheck = 2000ms;

// Ignored signals would stay ignored in the browser that a link opens; a handler is reset on exec.
void ignoreForThisProcessOnly(std::initializer_list<int> signals) {
  for (const int signal : signals) std::signal(signal, [](int) {});
}

// Passes messages between the session and the user interface and clipboard of this process.
class Desktop {
 public:
  // `folder` is that of the host's program. Without `hasScreen` no window is visible; a later process with a screen
  // shows them.
  Desktop(int descriptor, const QString& folder, bool hasScreen)
      : hasScreen_(hasScreen),
        info_(InfoDictionary::load(folder)),
        link_(descriptor, {.message = [this](const JsonObject& message) { take(message); },
                           .lost = [this] { clipboard_.whenRead([] { QCoreApplication::quit(); }); }}),
        session_([this](const JsonObject& message) { link_.send(message); }),
        clipboard_(makeQtClipboard(), [this](const JsonObject& message) { link_.send(message); }),
        primary_(
            makeQtClipboard(QClipboard::Selection), [this](const JsonObject& message) { link_.send(message); },
            u"primary"_s) {
    link_.send({{u"type"_s, u"ready"_s}, {u"clipboard"_s, clipboard_.shared()}, {u"primary"_s, primary_.shared()}});
  }

 private:
  void take(const JsonObject& message) {
    const QString type = stringField(message, "type"_L1).value_or(QString());
    if (type == "ping"_L1) {
      link_.send({{u"type"_s, u"pong"_s}});
    } else if (type == "state"_L1) {
      // The first state comes before any other message: without it there is nothing to show.
      if (session_.take(message) && !interface_) open();
    } else if (!clipboard_.take(type, message) && !primary_.take(type, message) && interface_) {
      show(type, message);
    }
  }

  void open() {
    interface_.emplace(session_, info_);
    interface_->statusBar().setReadHandler([this] { tellShown(); });
  }

  void show(const QString& type, const JsonObject& message) {
    const qint64 number = integerField(message, "number"_L1).value_or(0);
    if (type == "conversation"_L1) return restore(message);
    if (type == "chat"_L1) {
      lastLine_ = number;
      interface_->presentChat(stringField(message, "from"_L1).value_or(QString()),
                              stringField(message, "text"_L1).value_or(QString()),
                              integerField(message, "ts"_L1).value_or(0));
      return tellShown();
    }
    if (type == "notify"_L1) {
      interface_->deliverHostNotification(stringField(message, "title"_L1).value_or(QString()),
                                          stringField(message, "body"_L1).value_or(QString()));
    } else if (type == "reopen"_L1 && hasScreen_) {
      interface_->handleReopen();
    } else if (type == "introduce"_L1 && hasScreen_) {
      return interface_->showPanelUnlessTray([this, number] { tellDone(number); });
    } else {
      return;
    }
    tellDone(number);
  }

  void tellDone(qint64 number) { link_.send({{u"type"_s, u"done"_s}, {u"number"_s, number}}); }

  void restore(const JsonObject& message) {
    lastLine_ = integerField(message, "number"_L1).value_or(0);
    HostChatWindow& window = interface_->statusBar().chatWindow();
    const QJsonArray lines = message.value("lines"_L1).toArray();
    for (const auto& each : lines) {
      const JsonObject line = each.toObject();
      window.append(stringField(line, "from"_L1).value_or(QString()), stringField(line, "text"_L1).value_or(QString()),
                    integerField(line, "ts"_L1).value_or(0));
    }
    interface_->statusBar().setUnread(integerField(message, "unread"_L1).value_or(0));
  }

  void tellShown() {
    link_.send({{u"type"_s, u"chat_shown"_s},
                {u"number"_s, lastLine_},
                {u"unread"_s, interface_->statusBar().unreadChatCount()}});
  }

  const bool hasScreen_;
  const InfoDictionary info_;
  DesktopLink link_;
  SessionProxy session_;
  ClipboardService clipboard_;
  ClipboardService primary_;
  // The number of the last chat line in the window.
  qint64 lastLine_ = 0;
  std::optional<UserInterface> interface_;
};

}  // namespace

std::optional<int> desktopLinkDescriptor() {
  bool number = false;
  const int descriptor = qEnvironmentVariableIntValue(DesktopProcess::kLinkVariable, &number);
  qunsetenv(DesktopProcess::kLinkVariable);
  if (!number || descriptor < 3) return std::nullopt;
  return descriptor;
}

int runDesktopProcess(int descriptor, const QString& folder, int& argumentCount, char** arguments) {
  ignoreForThisProcessOnly({SIGINT, SIGHUP, SIGPIPE});
  const Environment environment = Environment::ofProcess();
  const bool chosenByUser = environment.nonEmpty("QT_QPA_PLATFORM").has_value();
  const ToolkitPlatforms platforms =
      chosenByUser ? ToolkitPlatforms{} : toolkitPlatforms(environment, displayServers());
  if (!chosenByUser) qputenv("QT_QPA_PLATFORM", platforms.list);
  QApplication::setQuitOnLastWindowClosed(false);
  QGuiApplication::setDesktopFileName(u"vantora-host"_s);
  QApplication application(argumentCount, arguments);
  // Programs started from here choose their own platform.
  if (!chosenByUser) qunsetenv("QT_QPA_PLATFORM");
  QTimer displayCheck;
  if (platforms.awaitsDisplay) {
    QObject::connect(&displayCheck, &QTimer::timeout, &displayCheck, [&environment] {
      if (!toolkitPlatforms(environment, displayServers()).awaitsDisplay) QCoreApplication::quit();
    });
    displayCheck.start(kDisplayCheck);
  }
  Desktop desktop(descriptor, folder, !platforms.awaitsDisplay);
  return QApplication::exec();
}

}  // namespace vantora
