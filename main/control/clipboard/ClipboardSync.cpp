#include "main/control/clipboard/ClipboardSync.h"

#include <utility>

#include "main/base/Log.h"
#include "main/control/clipboard/TextPreview.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

constexpr auto kFirstLook = 1000ms;
constexpr auto kLookEvery = 2000ms;
// From the notice of a change to the look: programs that set the clipboard often do so several times at once.
constexpr auto kSettle = 50ms;
// For so long after the viewer's text was set a change to the same text is a clipboard manager that takes it over, seen
// two seconds later where nothing tells of changes. Afterwards it is a copy that somebody made.
constexpr auto kTakeover = 5s;

}  // namespace

ClipboardSync::ClipboardSync(Clipboard& clipboard, ControlOutlet& outlet, Scheduler& scheduler)
    : clipboard_(clipboard), outlet_(outlet), scheduler_(scheduler), self_(std::make_shared<ClipboardSync*>(this)) {
  clipboard_.setChangedHandler([this] { noticed(); });
}

ClipboardSync::~ClipboardSync() { clipboard_.setChangedHandler(nullptr); }

void ClipboardSync::setClipboardContent(const QString& text) {
  affinity_.check("ClipboardSync::setClipboardContent");
  nextText_ = text;
  proceed();
}

void ClipboardSync::setClipboardSyncEnabled(bool enabled) {
  affinity_.check("ClipboardSync::setClipboardSyncEnabled");
  clipboardSyncEnabled_ = enabled;
  if (enabled) {
    startClipboardMonitoring();
  } else {
    clipboardMonitorTimer_.reset();
    soon_.reset();
    lookWaits_ = false;
    lookedAt_.reset();
    logLine("[sync] Clipboard monitoring stopped");
  }
  logLine(u"[sync] Clipboard sync "_s + (enabled ? u"enabled"_s : u"disabled"_s));
}

void ClipboardSync::startClipboardMonitoring() {
  if (!clipboardSyncEnabled_) return;
  lastClipboardChangeCount_ = clipboard_.changeCount();
  soon_.reset();
  lookWaits_ = false;
  lookedAt_.reset();
  logLine("[sync] Clipboard monitoring started");
  clipboardMonitorTimer_ = scheduler_.every(kFirstLook, kLookEvery, [this] { checkClipboardChanges(); });
}

void ClipboardSync::noticed() {
  if (!clipboardMonitorTimer_ || soon_) return;
  soon_ = scheduler_.after(kSettle, [this] {
    const auto finished = std::move(soon_);
    checkClipboardChanges();
  });
}

void ClipboardSync::checkClipboardChanges() {
  if (!unseenChange() || lookedAt_) return;
  lookWaits_ = true;
  proceed();
}

void ClipboardSync::sendClipboardContent(const ReplyAddress& on) {
  affinity_.check("ClipboardSync::sendClipboardContent");
  if (waiting_.size() < kMaxWaitingRequests) waiting_.append(on);
  proceed();
}

void ClipboardSync::proceed() {
  if (busy_) return;
  if (const auto text = std::exchange(nextText_, std::nullopt)) return write(*text);
  // The viewer's own text may have taken the place of what there was to see.
  lookWaits_ = lookWaits_ && unseenChange();
  if (lookWaits_ || !waiting_.isEmpty()) read();
}

void ClipboardSync::write(const QString& text) {
  busy_ = true;
  viewersText_ = text;
  clipboard_.setText(text, [weak = std::weak_ptr(self_)](qint64 changeCount) {
    const auto alive = weak.lock();
    if (!alive) return;
    ClipboardSync& self = **alive;
    self.lastClipboardChangeCount_ = changeCount;
    self.writtenAt_ = self.scheduler_.monotonicNow();
    self.busy_ = false;
    self.proceed();
  });
}

void ClipboardSync::read() {
  busy_ = true;
  askers_ = std::exchange(waiting_, {});
  if (std::exchange(lookWaits_, false)) lookedAt_ = clipboard_.changeCount();
  readAt_ = scheduler_.monotonicNow();
  clipboard_.requestText([weak = std::weak_ptr(self_)](const std::optional<QString>& text) {
    if (const auto alive = weak.lock()) (*alive)->readingArrived(text);
  });
}

bool ClipboardSync::isEcho(const QString& text) const {
  return text == viewersText_ && readAt_ - writtenAt_ <= kTakeover;
}

void ClipboardSync::readingArrived(const std::optional<QString>& text) {
  busy_ = false;
  for (const ReplyAddress& asker : std::exchange(askers_, {})) {
    if (asker.connection == outlet_.connection()) sendText(asker.origin, text.value_or(QString()));
  }
  if (const auto changeCount = std::exchange(lookedAt_, std::nullopt)) {
    lastClipboardChangeCount_ = *changeCount;
    // A text that the viewer sent meanwhile is about to replace this one: it must not replace the viewer's. Nor must
    // the emptiness of a reading that failed.
    if (!nextText_ && text && !isEcho(*text)) syncChange(*text);
  }
  proceed();
}

void ClipboardSync::syncChange(const QString& text) {
  viewersText_.reset();
  logLine(u"[sync] Clipboard changed, syncing to client: \""_s + textPreview(text) + u'"');
  if (outlet_.isOpen(ControlChannel::reliable)) {
    sendText(ControlChannel::reliable, text);
  } else {
    logLine("[sync] Warning: Data channel not ready");
  }
}

// A message has at least a byte for each unit of the text: one that cannot be sent is not written in the first place.
void ClipboardSync::sendText(ControlChannel channel, const QString& text) {
  if (!outlet_.isOpen(channel)) return;
  const quint64 most = outlet_.maxMessageSize(channel);
  if (static_cast<quint64>(text.size()) > most) {
    return logLine(u"[sync] Clipboard text of %1 characters not sent: the viewer takes %2 bytes at most"_s.arg(
        QString::number(text.size()), QString::number(most)));
  }
  outlet_.send(channel, {{u"type"_s, u"clipboard_sync"_s}, {u"text"_s, text}});
}

void bindClipboardMessages(ControlDispatcher& dispatcher, ClipboardSync& sync, const ControlOutlet& outlet) {
  dispatcher.on("clipboard_request"_L1, [&](const ControlRequest& request) {
    sync.sendClipboardContent({.origin = request.origin, .connection = outlet.connection()});
    return Handled::yes;
  });
  dispatcher.on("clipboard_set"_L1, [&](const ControlRequest& request) {
    const auto text = stringField(request.body, "text"_L1);
    if (!text) return Handled::ignored;
    logLine(u"[sync] Clipboard updated from client: \""_s + textPreview(*text) + u'"');
    sync.setClipboardContent(*text);
    return Handled::yes;
  });
  dispatcher.on("clipboard_sync_enabled"_L1, [&](const ControlRequest& request) {
    const auto enabled = boolField(request.body, "enabled"_L1);
    if (!enabled) return Handled::ignored;
    sync.setClipboardSyncEnabled(*enabled);
    return Handled::yes;
  });
}

}  // namespace vantora
