#include "main/desktop/RemoteClipboard.h"

#include <algorithm>
#include <utility>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void RemoteClipboard::disconnected() {
  connected_ = false;
  base_ = changeCount_;
  for (auto& [id, reading] : std::exchange(readings_, {})) reading.done(QString());
  for (auto& [id, writing] : std::exchange(writings_, {})) writing.done(changeCount_);
}

void RemoteClipboard::take(const QString& type, const JsonObject& message) {
  const qint64 id = integerField(message, "id"_L1).value_or(0);
  if (type == "clipboard_text"_L1) return answerReading(id, stringField(message, "text"_L1).value_or(QString()));

  const auto count = integerField(message, "count"_L1);
  if (!count || *count < 0) return;
  changeCount_ = std::max(changeCount_, base_ + *count);
  if (type == "clipboard_stored"_L1) {
    answerWriting(id, base_ + *count);
  } else if (type == "clipboard_changed"_L1 && changed_) {
    changed_();
  }
}

void RemoteClipboard::setText(const QString& text, std::function<void(qint64)> done) {
  if (!connected_) return done(changeCount_);
  const qint64 id = nextId_++;
  writings_.emplace(id, Waiting<qint64>{std::move(done),
                                        scheduler_.after(kPatience, [this, id] { answerWriting(id, changeCount_); })});
  send_({{u"type"_s, u"clipboard_set"_s}, {u"id"_s, id}, {u"text"_s, text}});
}

void RemoteClipboard::requestText(std::function<void(const QString&)> done) {
  if (!connected_) return done(QString());
  const qint64 id = nextId_++;
  readings_.emplace(id, Waiting<const QString&>{std::move(done), scheduler_.after(kPatience, [this, id] {
                                                  answerReading(id, QString());
                                                })});
  send_({{u"type"_s, u"clipboard_get"_s}, {u"id"_s, id}});
}

void RemoteClipboard::answerReading(qint64 id, const QString& text) {
  auto reading = readings_.extract(id);
  if (!reading.empty()) reading.mapped().done(text);
}

void RemoteClipboard::answerWriting(qint64 id, qint64 changeCount) {
  auto writing = writings_.extract(id);
  if (!writing.empty()) writing.mapped().done(changeCount);
}

}  // namespace vantora
