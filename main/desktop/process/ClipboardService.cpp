#include "main/desktop/process/ClipboardService.h"

#include <utility>

#include "base/Characters.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

ClipboardService::ClipboardService(std::unique_ptr<Clipboard> clipboard, std::function<void(const JsonObject&)> send,
                                   const QString& name)
    : name_(name), send_(std::move(send)), clipboard_(std::move(clipboard)) {
  clipboard_->setChangedHandler([this] {
    send_({{u"type"_s, name_ + "_changed"_L1}, {u"count"_s, clipboard_->changeCount()}});
  });
  patience_.setSingleShot(true);
  QObject::connect(&patience_, &QTimer::timeout, [this] {
    if (const auto done = std::exchange(read_, nullptr)) done();
  });
  clipboard_->setInterestHandler([this](Clipboard::Interest interest) {
    if (interest == Clipboard::Interest::text) {
      sinceSet_.invalidate();
      // What it has read is on its way.
      constexpr int kTransferMs = 50;
      if (read_) patience_.start(kTransferMs);
    }
    send_({{u"type"_s, name_ + (interest == Clipboard::Interest::text ? "_taken"_L1 : "_offered"_L1)}});
  });
}

void ClipboardService::whenRead(std::function<void()> done) {
  constexpr int kFreshMs = 1000;
  constexpr int kPatienceMs = 300;
  read_ = std::move(done);
  patience_.start(sinceSet_.isValid() && sinceSet_.elapsed() < kFreshMs ? kPatienceMs : 0);
}

bool ClipboardService::take(const QString& type, const JsonObject& message) {
  const qint64 id = integerField(message, "id"_L1).value_or(0);
  if (type == name_ + "_set"_L1) {
    clipboard_->setText(stringField(message, "text"_L1).value_or(QString()), [this, id](qint64 count) {
      sinceSet_.start();
      send_({{u"type"_s, name_ + "_stored"_L1}, {u"id"_s, id}, {u"count"_s, count}});
    });
    return true;
  }
  if (type == name_ + "_get"_L1) {
    clipboard_->requestText([this, id](const ClipboardReading& reading) {
      JsonObject reply{{u"type"_s, name_ + "_text"_L1}, {u"id"_s, id}};
      const qint64 length = reading.text ? utf8Length(*reading.text) : reading.tooLong;
      // A reply with neither field means that the text could not be read.
      if (reading.tooLong > 0 || length > Clipboard::kMaxTextBytes) {
        reply.insert(u"too_long"_s, length);
      } else if (reading.text) {
        reply.insert(u"text"_s, *reading.text);
        if (reading.otherContent) reply.insert(u"other"_s, true);
      }
      send_(reply);
    });
    return true;
  }
  return false;
}

}  // namespace vantora
