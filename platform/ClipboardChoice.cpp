#include "platform/ClipboardChoice.h"

#include <utility>

namespace vantora {

ClipboardChoice::ClipboardChoice(Clipboard& first) : clipboard_(&first) { subscribe(); }

ClipboardChoice::~ClipboardChoice() { unsubscribe(); }

void ClipboardChoice::subscribe() {
  clipboard_->setChangedHandler([this] {
    if (changed_) changed_();
  });
  clipboard_->setInterestHandler([this](Interest interest) {
    if (interest_) interest_(interest);
  });
}

void ClipboardChoice::unsubscribe() {
  clipboard_->setChangedHandler({});
  clipboard_->setInterestHandler({});
}

void ClipboardChoice::use(Clipboard& clipboard) {
  if (&clipboard == clipboard_) return;
  unsubscribe();
  offset_ = changeCount() - clipboard.changeCount();
  clipboard_ = &clipboard;
  subscribe();
  // They may make new requests, and use another clipboard.
  const auto settings = std::exchange(settings_, {});
  const auto readings = std::exchange(readings_, {});
  const auto alive = life_.handle();
  for (const auto& [id, done] : settings) {
    if (!alive) return;
    done(changeCount());
  }
  for (const auto& [id, done] : readings) done({});
}

void ClipboardChoice::setText(const QString& text, std::function<void(qint64)> done) {
  const quint64 id = nextId_++;
  settings_.emplace(id, std::move(done));
  clipboard_->setText(text, life_.guard([this, id, offset = offset_](qint64 count) {
    if (const auto pending = settings_.extract(id)) pending.mapped()(count + offset);
  }));
}

void ClipboardChoice::requestText(TextCallback done) {
  const quint64 id = nextId_++;
  readings_.emplace(id, std::move(done));
  clipboard_->requestText(life_.guard([this, id](const ClipboardReading& reading) {
    if (const auto pending = readings_.extract(id)) pending.mapped()(reading);
  }));
}

}  // namespace vantora
