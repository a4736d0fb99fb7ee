// One clipboard out of several ways to the desktop's.
#pragma once

#include <map>

#include "base/Lifetime.h"
#include "platform/Clipboard.h"

namespace vantora {

// Forwards to one clipboard at a time, which may be replaced at any time: what is pending then fails, and later replies
// of the earlier clipboard are ignored. The change count continues; the replacement is no change itself. Thread: main.
class ClipboardChoice final : public Clipboard {
 public:
  // Each clipboard must outlive this object or be replaced before its end. Its handlers are used here.
  explicit ClipboardChoice(Clipboard& first);
  ~ClipboardChoice() override;
  ClipboardChoice(const ClipboardChoice&) = delete;
  ClipboardChoice& operator=(const ClipboardChoice&) = delete;

  void use(Clipboard& clipboard);

  qint64 changeCount() const override { return clipboard_->changeCount() + offset_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64 changeCount)> done) override;
  void requestText(TextCallback done) override;
  void setInterestHandler(std::function<void(Interest)> handler) override { interest_ = std::move(handler); }
  bool shared() const override { return clipboard_->shared(); }
  bool isImmediate() const override { return clipboard_->isImmediate(); }

 private:
  void subscribe();
  void unsubscribe();

  Clipboard* clipboard_;
  qint64 offset_ = 0;  // From its count to the own one.
  std::function<void()> changed_;
  std::function<void(Interest)> interest_;
  quint64 nextId_ = 0;
  // Pending requests, in their order.
  std::map<quint64, std::function<void(qint64)>> settings_;
  std::map<quint64, TextCallback> readings_;
  Lifetime life_;
};

}  // namespace vantora
