#include "main/desktop/DesktopSide.h"

#include <utility>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

DesktopSide::DesktopSide(Scheduler& scheduler, const QString& program)
    : clipboard_(scheduler, [this](const JsonObject& message) { process_.send(message); }),
      process_(scheduler, program,
               {.connected = [this] { connected(); },
                .message = [this](const JsonObject& message) { take(message); },
                .disconnected =
                    [this] {
                      ready_ = false;
                      clipboard_.disconnected();
                    }}) {}

void DesktopSide::start(Callbacks callbacks) {
  callbacks_ = std::move(callbacks);
  process_.start();
}

void DesktopSide::connected() {
  told_.reset();
  changed();
}

void DesktopSide::changed() {
  if (!callbacks_.state) return;
  HostState state = callbacks_.state();
  if (told_ == state) return;
  process_.send(toMessage(state));
  told_ = std::move(state);
}

void DesktopSide::presentChat(const QString& from, const QString& text, qint64 ts) {
  deliver({{u"type"_s, u"chat"_s}, {u"from"_s, from}, {u"text"_s, text}, {u"ts"_s, ts}});
}

void DesktopSide::deliverHostNotification(const QString& title, const QString& body) {
  deliver({{u"type"_s, u"notify"_s}, {u"title"_s, title}, {u"body"_s, body}});
}

void DesktopSide::reopen() { deliver({{u"type"_s, u"reopen"_s}}); }

// What is sent before the desktop process has said that it is ready would be lost if its display fails it.
void DesktopSide::deliver(const JsonObject& message) {
  if (ready_) return process_.send(message);
  if (kept_.size() >= kMaxKeptLines) kept_.removeFirst();
  kept_.append(message);
}

void DesktopSide::take(const JsonObject& message) {
  const auto type = stringField(message, "type"_L1);
  if (!type) return;
  if (*type == "ready"_L1) {
    ready_ = true;
    clipboard_.connected();
    for (const JsonObject& kept : std::exchange(kept_, {})) process_.send(kept);
  } else if (*type == "action"_L1) {
    if (const auto request = faceRequestOf(message)) callbacks_.requested(*request);
  } else if (*type == "chat_send"_L1) {
    callbacks_.sendChat(stringField(message, "text"_L1).value_or(QString()));
  } else {
    clipboard_.take(*type, message);
  }
}

}  // namespace vantora
