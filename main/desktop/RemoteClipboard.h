// The desktop's clipboard, reached through the desktop process.
#pragma once

#include <map>
#include <optional>

#include "base/Json.h"
#include "base/Scheduler.h"
#include "platform/Clipboard.h"

namespace vantora {

// While there is no desktop process the newest text that is set waits for it, and nothing else can be read, which is
// answered at once. A request that is not carried out within kTimeout is answered as one that failed; a text may still
// arrive afterwards and is no change then. What was set here last goes with a desktop process that ends, and is set
// again by the next one if nobody else filled the clipboard. Thread: main. Owner: DesktopProcessClient.
class RemoteClipboard final : public Clipboard {
 public:
  static constexpr std::chrono::milliseconds kTimeout{6000};

  // `scheduler` must outlive this object.
  RemoteClipboard(Scheduler& scheduler, std::function<void(const JsonObject&)> send)
      : scheduler_(scheduler), send_(std::move(send)) {}

  void connected();
  void disconnected();
  // Takes "clipboard_changed", "clipboard_stored" and "clipboard_text"; others and malformed ones are ignored.
  void take(const QString& type, const JsonObject& message);

  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64 changeCount)> done) override;
  void requestText(TextAnswer done) override;

 private:
  struct Reading {
    TextAnswer done;
    std::unique_ptr<Timer> timeout;
  };
  // The newest text that was set.
  struct Writing {
    qint64 id;
    QString text;
    bool stored;                       // It has been on the clipboard.
    std::function<void(qint64)> done;  // Empty once called.
    std::unique_ptr<Timer> timeout;
  };

  void sendText();
  void lookForCopies();
  void stored(qint64 id, qint64 count);
  void answerReading(qint64 id, const ClipboardReading& answer);
  void answerWriting();

  Scheduler& scheduler_;
  std::function<void(const JsonObject&)> send_;
  std::function<void()> changed_;
  bool connected_ = false;
  bool wasConnected_ = false;
  // Counts on from what earlier desktop processes reported: each of them starts at 0.
  qint64 changeCount_ = 0;
  qint64 base_ = 0;
  qint64 nextId_ = 1;
  std::map<qint64, Reading> readings_;
  std::optional<Writing> writing_;  // None when another program has copied since.
  std::optional<qint64> underWay_;  // The text that the desktop process has got and not stored yet.
};

}  // namespace vantora
