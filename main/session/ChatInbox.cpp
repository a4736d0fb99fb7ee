#include "main/session/ChatInbox.h"

#include <array>
#include <utility>

#include "base/Log.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr std::array<std::pair<QLatin1StringView, QStringView>, 7> kReactions{{
    {"thumbs_up"_L1, u"\U0001F44D"},
    {"clap"_L1, u"\U0001F44F"},
    {"check"_L1, u"\u2705"},
    {"question"_L1, u"\u2753"},
    {"coffee"_L1, u"\u2615\uFE0F"},
    {"rocket"_L1, u"\U0001F680"},
    {"heart"_L1, u"\u2764\uFE0F"},
}};
constexpr QStringView kBell = u"\U0001F514";

QString senderOf(const JsonObject& message) { return stringField(message, "from"_L1).value_or(u"?"_s); }

}  // namespace

QString reactionText(const QString& reaction) {
  for (const auto& [name, text] : kReactions) {
    if (reaction == name) return text.toString();
  }
  return kBell.toString();
}

void ChatInbox::handleChatBroadcast(const JsonObject& message) {
  const QString from = senderOf(message);
  const QString text = stringField(message, "text"_L1).value_or(QString());
  const qint64 ts = integerField(message, "ts"_L1).value_or(scheduler_.unixMilliseconds());
  logLine(u"[chat] "_s + from + u": "_s + text + u" @"_s + QString::number(ts));
  show(u"Chat from "_s + from.toUpper(), from, text, ts);
}

void ChatInbox::handleReactionBroadcast(const JsonObject& message) {
  const QString from = senderOf(message);
  const QString text = reactionText(stringField(message, "reaction"_L1).value_or(QString()));
  show(u"Reaction from "_s + from.toUpper(), from, text, scheduler_.unixMilliseconds());
}

void ChatInbox::show(const QString& title, const QString& from, const QString& text, qint64 ts) {
  if (callbacks_.deliverHostNotification) callbacks_.deliverHostNotification(title, text);
  if (callbacks_.presentChat) callbacks_.presentChat(from, text, ts);
}

}  // namespace vantora
