#include "main/desktop/RemoteClipboard.h"

#include <algorithm>
#include <utility>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void RemoteClipboard::disconnected() {
  connected_ = false;
  base_ = changeCount_;
  for (auto& [id, reading] : std::exchange(readings_, {})) reading.done(QString());
  for (auto& [id, done] : std::exchange(writings_, {})) done(changeCount_);
}

void RemoteClipboard::take(const QString& type, const JsonObject& message) {
  const qint64 id = integerField(message, "id"_L1).value_or(0);
  if (type == "clipboard_text"_L1) return answerReading(id, stringField(message, "text"_L1).value_or(QString()));

  const auto count = integerField(message, "count"_L1);
  if (!count || *count < 0) return;
  changeCount_ = std::max(changeCount_, base_ + *count);
  if (type == "clipboard_stored"_L1) {
    const auto writing = writings_.find(id);
    if (writing == writings_.end()) return;
    const auto done = std::move(writing->second);
    writings_.erase(writing);
    done(base_ + *count);
  } else if (type == "clipboard_changed"_L1 && changed_) {
    changed_();
  }
}

void RemoteClipboard::setText(const QString& text, std::function<void(qint64)> done) {
  if (!connected_) return done(changeCount_);
  const qint64 id = nextId_++;
  writings_.emplace(id, std::move(done));
  send_({{u"type"_s, u"clipboard_set"_s}, {u"id"_s, id}, {u"text"_s, text}});
}

void RemoteClipboard::requestText(std::function<void(const QString&)> done) {
  if (!connected_) return done(QString());
  const qint64 id = nextId_++;
  readings_.emplace(
      id, Reading{std::move(done), scheduler_.after(kPatience, [this, id] { answerReading(id, QString()); })});
  send_({{u"type"_s, u"clipboard_get"_s}, {u"id"_s, id}});
}

void RemoteClipboard::answerReading(qint64 id, const QString& text) {
  auto reading = readings_.extract(id);
  if (!reading.empty()) reading.mapped().done(text);
}

}  // namespace vantora
