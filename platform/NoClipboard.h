// A clipboard that nobody else sees.
#pragma once

#include "platform/Clipboard.h"

namespace vantora {

// Nothing can be read or set. Thread: main.
class NoClipboard final : public Clipboard {
 public:
  qint64 changeCount() const override { return 0; }
  void setChangedHandler(std::function<void()>) override {}
  void setText(const QString&, std::function<void(qint64)> done) override { done(0); }
  void requestText(TextCallback done) override { done({}); }
  void setInterestHandler(std::function<void(Interest)>) override {}
  bool shared() const override { return false; }
};

}  // namespace vantora
