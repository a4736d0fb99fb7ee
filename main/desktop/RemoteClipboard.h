// The desktop's clipboard, reached through the desktop process.
#pragma once

#include <map>

#include "main/base/Json.h"
#include "main/base/Scheduler.h"
#include "platform/Clipboard.h"

namespace vantora {

// While there is no desktop process the clipboard is empty and takes nothing; requests are answered at once then.
// A request that the desktop process leaves unanswered for kPatience is answered as if there were none.
// Thread: main. Owner: DesktopSide.
class RemoteClipboard final : public Clipboard {
 public:
  static constexpr std::chrono::milliseconds kPatience{6000};

  // `scheduler` must outlive this object.
  RemoteClipboard(Scheduler& scheduler, std::function<void(const JsonObject&)> send)
      : scheduler_(scheduler), send_(std::move(send)) {}

  void connected() { connected_ = true; }
  void disconnected();
  // Takes "clipboard_changed", "clipboard_stored" and "clipboard_text"; others and malformed ones are ignored.
  void take(const QString& type, const JsonObject& message);

  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64 changeCount)> done) override;
  void requestText(std::function<void(const QString& text)> done) override;

 private:
  template <typename Answer>
  struct Waiting {
    std::function<void(Answer)> done;
    std::unique_ptr<Timer> patience;
  };

  void answerReading(qint64 id, const QString& text);
  void answerWriting(qint64 id, qint64 changeCount);

  Scheduler& scheduler_;
  std::function<void(const JsonObject&)> send_;
  std::function<void()> changed_;
  bool connected_ = false;
  // Counts on from what earlier desktop processes reported: each of them starts at 0.
  qint64 changeCount_ = 0;
  qint64 base_ = 0;
  qint64 nextId_ = 1;
  std::map<qint64, Waiting<const QString&>> readings_;
  std::map<qint64, Waiting<qint64>> writings_;
};

}  // namespace vantora
