#include "main/signalling/Signaler.h"

#include <algorithm>
#include <cmath>

#include "base/Log.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

constexpr double kFirstBackoffSeconds = 0.5;
constexpr double kHighestBackoffSeconds = 10.0;

// The shortest form that reads back as the same number, with at least one decimal: 0.5, 1.0, 10.0.
QString seconds(double value) {
  const QString shortest = QString::number(value, 'g', QLocale::FloatingPointShortest);
  return shortest.contains(u'.') ? shortest : shortest + u".0"_s;
}

}  // namespace

Signaler::Signaler(Settings settings, Scheduler& scheduler, WebSocketTaskFactory makeTask)
    : settings_(std::move(settings)),
      scheduler_(scheduler),
      makeTask_(std::move(makeTask)),
      backoff_(kFirstBackoffSeconds) {
  logLine(u"[ws] signaling url: "_s + settings_.url.text);
  connect();
}

Signaler::~Signaler() { affinity_.check("Signaler::~Signaler"); }

void Signaler::connect() {
  affinity_.check("Signaler::connect");
  // This call replaces a scheduled reconnect.
  reconnectTimer_.reset();
  // Drops the old task with its unsent messages.
  task_ = makeTask_(settings_.url.url, eventsOfNextTask());
  task_->resume();
  JsonObject join{{u"type"_s, u"join"_s}, {u"room"_s, settings_.room}, {u"role"_s, u"host"_s}};
  const auto token = settings_.tokenLookup ? settings_.tokenLookup() : std::nullopt;
  if (token && !token->isEmpty()) join.insert(u"token"_s, *token);
  send(join);
  if (onOpen) {
    const auto keepAlive = onOpen;  // The handler may replace itself.
    keepAlive();
  }
}

bool Signaler::send(const JsonObject& message) {
  affinity_.check("Signaler::send");
  if (!task_) return false;
  task_->send(QString::fromUtf8(toJson(message)));
  return true;
}

bool Signaler::addressesChanged(const QStringList& addresses) {
  affinity_.check("Signaler::addressesChanged");
  const QString own = task_ ? task_->localAddress() : QString();
  const bool gone = !own.isEmpty() && !addresses.contains(own);
  if (!gone && !reconnectTimer_) return false;
  logLine(u"[ws] the machine's address changed, connecting again"_s);
  connect();
  return true;
}

WebSocketTask::Events Signaler::eventsOfNextTask() {
  // The task is destroyed before its Signaler and calls nothing after that, so `this` is safe here. This protocol does
  // not use binary frames.
  return {.text = [this](const QString& text) { receive(text); },
          .binary = nullptr,
          .receiveError =
              [this](const QString& reason) {
                logLine(u"[ws] recv error: "_s + reason);
                scheduleReconnect();
              },
          .sendError = [](const QString& reason) { logLine(u"[ws] send error: "_s + reason); }};
}

void Signaler::receive(const QString& text) {
  const auto message = parseJsonObject(text.toUtf8());
  if (!message || !onMessage) return;
  const auto keepAlive = onMessage;
  keepAlive(*message);
}

void Signaler::scheduleReconnect() {
  const double delay = std::min(backoff_, kHighestBackoffSeconds);
  backoff_ = std::min(backoff_ * 2, kHighestBackoffSeconds);
  logLine(u"[ws] reconnect in "_s + seconds(delay) + u's');
  const std::chrono::milliseconds wait(std::lround(delay * 1000));
  reconnectTimer_ = scheduler_.after(wait, [this] { connect(); });
}

}  // namespace vantora
