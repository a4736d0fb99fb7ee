// The desktop's clipboard, reached through the desktop process.
#pragma once

#include <map>
#include <optional>

#include "base/Json.h"
#include "base/Scheduler.h"
#include "platform/Clipboard.h"

namespace vantora {

// Without a desktop process the newest text that was set is kept for the next one; it is all that can be read then, and
// a request completes at once. A request not carried out within kTimeout fails; if its text is set later after all,
// that does not count as a change. The last text set here is lost when its desktop process ends, and the next process
// sets it again unless another program filled the clipboard. Thread: main. Owner: DesktopProcessClient.
class RemoteClipboard final : public Clipboard {
 public:
  static constexpr std::chrono::milliseconds kTimeout{6000};

  // The types of messages about the primary selection begin with "primary" instead of "clipboard"; it is of interest
  // only while it has a text that was set here.
  enum class Content { clipboard, primarySelection };

  // `scheduler` and `primary` must outlive this object.
  RemoteClipboard(Scheduler& scheduler, std::function<void(const JsonObject&)> send,
                  Content content = Content::clipboard, Clipboard* primary = nullptr);

  // `shared`: other programs see what the desktop process sets.
  void connected(bool shared = true);
  void disconnected();
  // Takes "clipboard_changed", "clipboard_stored", "clipboard_text", "clipboard_offered" and "clipboard_taken"; others
  // and malformed ones are ignored.
  void take(const QString& type, const JsonObject& message);

  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }
  void setText(const QString& text, std::function<void(qint64 changeCount)> done) override;
  void requestText(TextCallback done) override;
  void setInterestHandler(std::function<void(Interest)> handler) override { interest_ = std::move(handler); }
  bool shared() const override { return connected_ && shared_; }
  // The compositor has to ask the desktop process first, over Xwayland.
  bool isImmediate() const override { return false; }
  Clipboard* primary() override { return primary_; }

 private:
  struct Reading {
    TextCallback done;
    std::unique_ptr<Timer> timeout;
  };
  // The newest text that was set.
  struct Writing {
    qint64 id;
    QString text;
    bool stored;                       // The clipboard has held it.
    std::function<void(qint64)> done;  // Empty once called.
    std::unique_ptr<Timer> timeout;
  };

  void sendText();
  void checkForCopies();
  void stored(qint64 id, qint64 count);
  void completeReading(qint64 id, const ClipboardReading& result);
  void completeWriting();

  Scheduler& scheduler_;
  std::function<void(const JsonObject&)> send_;
  const Content content_;
  const QString name_;
  Clipboard* const primary_;
  std::function<void()> changed_;
  std::function<void(Interest)> interest_;
  bool connected_ = false;
  bool shared_ = false;
  bool wasConnected_ = false;
  // Continues from the counts of earlier desktop processes: each of them starts at 0.
  qint64 changeCount_ = 0;
  qint64 base_ = 0;
  qint64 nextId_ = 1;
  std::map<qint64, Reading> readings_;
  std::optional<Writing> writing_;  // Empty when another program has copied since.
  std::optional<qint64> underWay_;  // The text sent to the desktop process and not stored yet.
};

}  // namespace vantora
