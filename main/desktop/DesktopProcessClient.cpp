#include "main/desktop/DesktopProcessClient.h"

#include <utility>

namespace vantora {

namespace {

using namespace Qt::Literals::StringLiterals;

// More text than any notification shows.
constexpr qsizetype kMaxNotificationUnits = 10000;

}  // namespace

DesktopProcessClient::DesktopProcessClient(Scheduler& scheduler, const QString& program)
    : primary_(
          scheduler, [this](const JsonObject& sent) { process_.send(sent); },
          RemoteClipboard::Content::primarySelection),
      clipboard_(
          scheduler, [this](const JsonObject& sent) { process_.send(sent); }, RemoteClipboard::Content::clipboard,
          &primary_),
      process_(scheduler, program,
               {.connected = [this] { connected(); },
                .message = [this](const JsonObject& message) { take(message); },
                .disconnected =
                    [this] {
                      ready_ = false;
                      clipboard_.disconnected();
                      primary_.disconnected();
                    }}) {}

void DesktopProcessClient::start(Callbacks callbacks, bool introduce) {
  callbacks_ = std::move(callbacks);
  if (introduce) deliverReliably({{u"type"_s, u"introduce"_s}});
  process_.start();
}

void DesktopProcessClient::connected() {
  lastSentState_.reset();
  changed();
}

void DesktopProcessClient::changed() {
  if (!callbacks_.state) return;
  HostState state = callbacks_.state();
  if (lastSentState_ == state) return;
  process_.send(toMessage(state));
  lastSentState_ = std::move(state);
}

void DesktopProcessClient::presentChat(const QString& from, const QString& text, qint64 ts) {
  deliver(backlog_.add(from, text, ts));
}

void DesktopProcessClient::deliverHostNotification(const QString& title, const QString& body) {
  deliverReliably({{u"type"_s, u"notify"_s},
                   {u"title"_s, title.left(kMaxNotificationUnits)},
                   {u"body"_s, body.left(kMaxNotificationUnits)}});
}

void DesktopProcessClient::reopen() { deliverReliably({{u"type"_s, u"reopen"_s}}); }

// A message sent before the desktop process reports "ready" would be lost if its display fails.
void DesktopProcessClient::deliver(const JsonObject& message) {
  if (ready_) process_.send(message);
}

void DesktopProcessClient::deliverReliably(JsonObject message) {
  message.insert(u"number"_s, kept_.next());
  kept_.add(message, toJson(message).size());
  deliver(message);
}

void DesktopProcessClient::ready(const JsonObject& message) {
  ready_ = true;
  clipboard_.connected(boolField(message, "clipboard"_L1).value_or(false));
  primary_.connected(boolField(message, "primary"_L1).value_or(false));
  for (const JsonObject& line : backlog_.messages()) process_.send(line);
  for (const auto& kept : kept_.kept()) process_.send(kept.entry);
}

void DesktopProcessClient::take(const JsonObject& message) {
  const auto type = stringField(message, "type"_L1);
  if (!type) return;
  if (*type == "ready"_L1) {
    ready(message);
  } else if (*type == "chat_shown"_L1) {
    backlog_.shown(integerField(message, "number"_L1).value_or(-1), integerField(message, "unread"_L1).value_or(-1));
  } else if (*type == "done"_L1) {
    kept_.remove(integerField(message, "number"_L1).value_or(0));
  } else if (*type == "action"_L1) {
    if (const auto request = uiRequestOf(message)) callbacks_.requested(*request);
  } else if (*type == "chat_send"_L1) {
    callbacks_.sendChat(stringField(message, "text"_L1).value_or(QString()));
  } else {
    clipboard_.take(*type, message);
    primary_.take(*type, message);
  }
}

}  // namespace vantora
