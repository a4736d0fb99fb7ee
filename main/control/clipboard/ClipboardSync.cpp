#include "main/control/clipboard/ClipboardSync.h"

#include <utility>

#include "base/Characters.h"
#include "base/Log.h"
#include "main/control/clipboard/TextPieces.h"
#include "main/control/clipboard/TextPreview.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

constexpr auto kFirstCheck = 1000ms;
constexpr auto kCheckPeriod = 2000ms;
// Delay from a change event to the check: programs often set the clipboard several times in a row.
constexpr auto kSettle = 50ms;
// Within this time after the viewer's text was set, a change to the same text comes from a clipboard manager that takes
// the text over, detected two seconds later where there are no change events. After it, it is a copy made by a person.
constexpr auto kTakeover = 5s;

// Bytes of a "clipboard_sync" besides its text: {"text":"","type":"clipboard_sync"}
constexpr qint64 kEnvelope = 35;

void logUpdate(const QString& text) {
  logLine(u"[sync] Clipboard updated from client: \""_s + textPreview(text) + u'"');
}

}  // namespace

ClipboardSync::ClipboardSync(Clipboard& clipboard, ControlSender& sender, Scheduler& scheduler)
    : clipboard_(clipboard), sender_(sender), scheduler_(scheduler), outgoing_(sender, scheduler) {
  clipboard_.setChangedHandler([this] { clipboardChanged(); });
}

ClipboardSync::~ClipboardSync() { clipboard_.setChangedHandler(nullptr); }

void ClipboardSync::setClipboardContent(const QString& text) {
  affinity_.check("ClipboardSync::setClipboardContent");
  // The viewer's text is newer than a local change that is still being sent.
  outgoing_.stopUnlessAsked();
  incoming_.drop();
  nextText_ = text;
  proceed();
}

bool ClipboardSync::takePiece(const TextPiece& piece) {
  affinity_.check("ClipboardSync::takePiece");
  switch (incoming_.take(piece)) {
    case IncomingText::Outcome::complete: {
      const QString text = incoming_.takeText();
      logUpdate(text);
      setClipboardContent(text);
      return true;
    }
    case IncomingText::Outcome::tooLong:
      sender_.send(ControlChannel::reliable, {{u"type"_s, u"clipboard_too_large"_s},
                                              {u"id"_s, piece.id},
                                              {u"length"_s, piece.length},
                                              {u"limit"_s, Clipboard::kMaxTextBytes}});
      break;
    case IncomingText::Outcome::ignored:
    case IncomingText::Outcome::taken:
      break;
  }
  return false;
}

void ClipboardSync::channelClosed(ControlChannel channel) {
  if (channel != ControlChannel::reliable) return;
  outgoing_.stop();
  incoming_.drop();
}

void ClipboardSync::setClipboardSyncEnabled(bool enabled, bool parts) {
  affinity_.check("ClipboardSync::setClipboardSyncEnabled");
  clipboardSyncEnabled_ = enabled;
  changesInParts_ = parts ? std::optional(sender_.connection()) : std::nullopt;
  if (enabled) {
    startClipboardMonitoring();
  } else {
    clipboardMonitorTimer_.reset();
    settleTimer_.reset();
    checkPending_ = false;
    checkedCount_.reset();
    outgoing_.stopUnlessAsked();
    logLine("[sync] Clipboard monitoring stopped");
  }
  logLine(u"[sync] Clipboard sync "_s + (enabled ? u"enabled"_s : u"disabled"_s));
}

void ClipboardSync::startClipboardMonitoring() {
  if (!clipboardSyncEnabled_) return;
  lastClipboardChangeCount_ = clipboard_.changeCount();
  settleTimer_.reset();
  checkPending_ = false;
  checkedCount_.reset();
  logLine("[sync] Clipboard monitoring started");
  clipboardMonitorTimer_ = scheduler_.every(kFirstCheck, kCheckPeriod, [this] { checkClipboardChanges(); });
}

void ClipboardSync::clipboardChanged() {
  if (!clipboardMonitorTimer_ || settleTimer_) return;
  settleTimer_ = scheduler_.after(kSettle, [this] {
    const auto finished = std::move(settleTimer_);
    checkClipboardChanges();
  });
}

void ClipboardSync::checkClipboardChanges() {
  if (!unseenChange() || checkedCount_) return;
  checkPending_ = true;
  proceed();
}

void ClipboardSync::sendClipboardContent(const ReplyAddress& on, bool parts) {
  affinity_.check("ClipboardSync::sendClipboardContent");
  if (waiting_.size() < kMaxWaitingRequests) waiting_.append({.to = on, .parts = parts});
  proceed();
}

void ClipboardSync::proceed() {
  if (busy_) return;
  if (const auto text = std::exchange(nextText_, std::nullopt)) return write(*text);
  answerWithTextUnderWay();
  if (rest_) return;
  // The viewer's own text may have replaced the change to be checked.
  checkPending_ = checkPending_ && unseenChange();
  if (checkPending_ || !waiting_.isEmpty()) read();
}

// Reading and splitting a long text blocks the thread for a while: repeated requests must not repeat it.
void ClipboardSync::answerWithTextUnderWay() {
  if (!outgoing_.isUnderWay() || outgoingCount_ != clipboard_.changeCount()) return;
  const auto takesIt = [this](const Receiver& asker) {
    return asker.parts && asker.to.connection == sender_.connection();
  };
  if (waiting_.removeIf(takesIt) > 0) outgoing_.restart();
}

void ClipboardSync::write(const QString& text) {
  busy_ = true;
  viewersText_ = text;
  clipboard_.setText(text, life_.guard([this](qint64 changeCount) {
    lastClipboardChangeCount_ = changeCount;
    writtenAt_ = scheduler_.monotonicNow();
    busy_ = false;
    proceed();
  }));
}

void ClipboardSync::read() {
  busy_ = true;
  askers_ = std::exchange(waiting_, {});
  readCount_ = clipboard_.changeCount();
  if (std::exchange(checkPending_, false)) checkedCount_ = readCount_;
  readAt_ = scheduler_.monotonicNow();
  clipboard_.requestText(life_.guard([this](const ClipboardReading& reading) { readingArrived(reading); }));
}

bool ClipboardSync::isEcho(const QString& text) const {
  return text == viewersText_ && readAt_ - writtenAt_ <= kTakeover;
}

ClipboardSync::Content ClipboardSync::contentOf(const ClipboardReading& reading) {
  const qint64 length = reading.text ? utf8Length(*reading.text) : reading.tooLong;
  if (reading.tooLong > 0 || length > Clipboard::kMaxTextBytes) return {.text = std::nullopt, .length = length};
  return {.text = reading.text.value_or(QString()), .length = length};
}

void ClipboardSync::readingArrived(const ClipboardReading& reading) {
  busy_ = false;
  const Content content = contentOf(reading);
  if (content.length > kLongReading) {
    rest_ = scheduler_.after(kRest, [this] {
      const auto finished = std::move(rest_);
      proceed();
    });
  }
  bool inParts = false;
  for (Receiver asker : std::exchange(askers_, {})) {
    if (asker.to.connection != sender_.connection()) continue;
    // One transfer in pieces serves all requests: it is not restarted for each.
    asker.asked = !(asker.parts && inParts);
    inParts = inParts || asker.parts;
    send(asker, content);
  }
  if (const auto changeCount = std::exchange(checkedCount_, std::nullopt)) {
    lastClipboardChangeCount_ = *changeCount;
    // A text read before the viewer set a newer one must not replace that at the viewer, nor must the empty result of a
    // failed reading.
    const bool failed = !reading.text && content.text;
    if (!nextText_ && !failed && !(content.text && isEcho(*content.text))) syncChange(content);
  }
  proceed();
}

void ClipboardSync::syncChange(const Content& content) {
  viewersText_.reset();
  logLine(u"[sync] Clipboard changed, syncing to client: \""_s + textPreview(content.text.value_or(QString())) + u'"');
  if (sender_.isOpen(ControlChannel::reliable)) {
    const quint64 connection = sender_.connection();
    send({.to = {.connection = connection}, .parts = changesInParts_ == connection, .asked = false}, content);
  } else {
    logLine("[sync] Warning: Data channel not ready");
  }
}

// Whatever is sent is newer than a text that is still being sent.
void ClipboardSync::send(const Receiver& receiver, const Content& content) {
  const ControlChannel channel = receiver.to.origin;
  if (!sender_.isOpen(channel)) return;
  const auto maximum = static_cast<qint64>(sender_.maxMessageSize(channel));
  if (!content.text) return refuse(receiver, content.length, receiver.parts ? Clipboard::kMaxTextBytes : maximum);

  const QString& text = *content.text;
  // Each UTF-16 unit takes at least one byte, so a text with too many units need not be measured.
  if (text.size() + kEnvelope <= maximum && jsonLength(text) + kEnvelope <= maximum) {
    outgoing_.stop();
    sender_.send(channel, {{u"type"_s, u"clipboard_sync"_s}, {u"text"_s, text}});
  } else if (receiver.parts && sender_.isOpen(ControlChannel::reliable)) {
    outgoing_.start(text, content.length, receiver.asked);
    outgoingCount_ = readCount_;
  } else {
    refuse(receiver, content.length, maximum);
  }
}

void ClipboardSync::refuse(const Receiver& receiver, qint64 length, qint64 limit) {
  outgoing_.stop();
  logLine(u"[sync] Clipboard text of %1 bytes not sent: the viewer takes %2 bytes at most"_s.arg(
      QString::number(length), QString::number(limit)));
  // A viewer that neither asked nor supports pieces does not know this message either.
  if (!receiver.asked && !receiver.parts) return;
  sender_.send(receiver.to.origin, {{u"type"_s, u"clipboard_too_large"_s}, {u"length"_s, length}, {u"limit"_s, limit}});
}

void bindClipboardMessages(ControlDispatcher& dispatcher, ClipboardSync& sync, const ControlSender& sender) {
  dispatcher.on("clipboard_request"_L1, [&](const ControlRequest& request) {
    sync.sendClipboardContent({.origin = request.origin, .connection = sender.connection()},
                              boolField(request.body, "parts"_L1).value_or(false));
    return Handled::yes;
  });
  dispatcher.on("clipboard_set"_L1, [&](const ControlRequest& request) {
    const auto text = stringField(request.body, "text"_L1);
    if (!text) return Handled::ignored;
    if (integerField(request.body, "parts"_L1)) {
      // On the other channel pieces may be lost or reordered.
      if (request.origin != ControlChannel::reliable) return Handled::ignored;
      const auto piece = textPieceOf(request.body);
      return piece && sync.takePiece(*piece) ? Handled::yes : Handled::ignored;
    }
    logUpdate(*text);
    sync.setClipboardContent(*text);
    return Handled::yes;
  });
  dispatcher.on("clipboard_sync_enabled"_L1, [&](const ControlRequest& request) {
    const auto enabled = boolField(request.body, "enabled"_L1);
    if (!enabled) return Handled::ignored;
    sync.setClipboardSyncEnabled(*enabled, boolField(request.body, "parts"_L1).value_or(false));
    return Handled::yes;
  });
}

}  // namespace vantora
