#include "main/desktop/RemoteClipboard.h"

#include <algorithm>
#include <utility>

namespace vantora {

using namespace Qt::Literals::StringLiterals;

RemoteClipboard::RemoteClipboard(Scheduler& scheduler, std::function<void(const JsonObject&)> send, Content content,
                                 Clipboard* primary)
    : scheduler_(scheduler),
      send_(std::move(send)),
      content_(content),
      name_(content == Content::clipboard ? u"clipboard"_s : u"primary"_s),
      primary_(primary) {}

void RemoteClipboard::connected(bool shared) {
  connected_ = true;
  shared_ = shared;
  const bool again = std::exchange(wasConnected_, true);
  if (writing_ && !writing_->stored) return sendText();
  if (again && (writing_ || content_ == Content::clipboard)) checkForCopies();
}

void RemoteClipboard::disconnected() {
  connected_ = false;
  underWay_.reset();
  base_ = changeCount_;
  for (auto& [id, reading] : std::exchange(readings_, {})) reading.done({});
}

// Anything copied while no desktop process ran is a change. The text set here was lost with its process, unless another
// program of the desktop took it over.
void RemoteClipboard::checkForCopies() {
  requestText([this](const ClipboardReading& reading) {
    if (!connected_) return;
    const auto& text = reading.text;
    if (writing_) {
      if (!writing_->stored || text == writing_->text) return;
      if (text && text->isEmpty()) return sendText();
      writing_.reset();
    }
    ++base_;
    ++changeCount_;
    if (changed_) changed_();
  });
}

void RemoteClipboard::take(const QString& type, const JsonObject& message) {
  const qint64 id = integerField(message, "id"_L1).value_or(0);
  for (const auto& [end, interest] : {std::pair{"_offered"_L1, Interest::formats}, {"_taken"_L1, Interest::text}}) {
    if (type != name_ + end) continue;
    if (interest_) interest_(interest);
    return;
  }
  if (type == name_ + "_text"_L1) {
    return completeReading(id, {.text = stringField(message, "text"_L1),
                                .tooLong = integerField(message, "too_long"_L1).value_or(0),
                                .otherContent = boolField(message, "other"_L1).value_or(false)});
  }

  const auto count = integerField(message, "count"_L1);
  if (!count || *count < 0) return;
  if (type == name_ + "_stored"_L1) return stored(id, *count);
  if (type != name_ + "_changed"_L1) return;
  changeCount_ = std::max(changeCount_, base_ + *count);
  if (writing_ && writing_->stored) writing_.reset();
  if (changed_) changed_();
}

void RemoteClipboard::setText(const QString& text, std::function<void(qint64)> done) {
  const qint64 id = nextId_++;
  std::optional<Writing> before = std::exchange(
      writing_, Writing{id, text, false, std::move(done), scheduler_.after(kTimeout, [this] { completeWriting(); })});
  if (connected_ && !underWay_) sendText();
  if (before && before->done) before->done(changeCount_);
}

// Texts must not pile up in the connection to a slow process: only the newest follows the one under way.
void RemoteClipboard::sendText() {
  underWay_ = writing_->id;
  send_({{u"type"_s, name_ + "_set"_L1}, {u"id"_s, writing_->id}, {u"text"_s, writing_->text}});
}

void RemoteClipboard::stored(qint64 id, qint64 count) {
  if (id <= 0 || id >= nextId_) return;
  const bool newest = writing_ && writing_->id == id;
  if (underWay_ == id) underWay_.reset();
  if (!newest && !underWay_ && writing_ && !writing_->stored) sendText();
  if (newest) writing_->stored = true;
  if (newest && writing_->done) {
    changeCount_ = std::max(changeCount_, base_ + count);
    writing_->timeout.reset();
    return std::exchange(writing_->done, nullptr)(base_ + count);
  }
  // The request was completed already; its count must not be taken for a copy by another program.
  base_ = std::min(base_, changeCount_ - count);
}

void RemoteClipboard::requestText(TextCallback done) {
  if (!connected_) return done({.text = writing_ && !writing_->stored ? std::optional(writing_->text) : std::nullopt});
  const qint64 id = nextId_++;
  readings_.emplace(id, Reading{std::move(done), scheduler_.after(kTimeout, [this, id] { completeReading(id, {}); })});
  send_({{u"type"_s, name_ + "_get"_L1}, {u"id"_s, id}});
}

void RemoteClipboard::completeReading(qint64 id, const ClipboardReading& result) {
  auto reading = readings_.extract(id);
  if (!reading.empty()) reading.mapped().done(result);
}

void RemoteClipboard::completeWriting() {
  if (writing_ && writing_->done) std::exchange(writing_->done, nullptr)(changeCount_);
}

}  // namespace vantora
