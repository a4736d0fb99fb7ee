#include "main/control/clipboard/OutgoingText.h"

#include <algorithm>

#include "main/control/clipboard/TextPieces.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Maximum bytes of a message besides its text.
constexpr qint64 kEnvelope = 160;

}  // namespace

bool OutgoingText::sends(const QString& text) const {
  return transfer_ && (transfer_->text.constData() == text.constData() || transfer_->text == text);
}

void OutgoingText::start(const QString& text, qint64 length, bool asked) {
  if (sends(text)) {
    if (asked) restart();
    return;
  }
  const quint64 longest = std::min(kMaxPieceMessage, sender_.maxMessageSize(ControlChannel::reliable));
  ++id_;
  transfer_ = Transfer{.text = text,
                       .length = length,
                       .asked = asked,
                       .ends = pieceEnds(text, static_cast<qint64>(longest) - kEnvelope),
                       .next = 0};
  timer_ = scheduler_.every(kCheckPeriod, kCheckPeriod, [this] { sendMore(); });
  sendMore();
}

void OutgoingText::restart() {
  if (!transfer_) return;
  transfer_->asked = true;
  if (transfer_->next == 0) return;
  ++id_;
  transfer_->next = 0;  // The timer sends, so that repeated requests do not send more.
}

void OutgoingText::stop() {
  transfer_.reset();
  timer_.reset();
}

void OutgoingText::stopUnlessAsked() {
  if (transfer_ && !transfer_->asked) stop();
}

// The buffered amount leaves out what the transport has taken over: hence also a limit on what one call sends.
void OutgoingText::sendMore() {
  quint64 sent = 0;
  while (transfer_ && sent < kMaxWaiting && sender_.bufferedAmount(ControlChannel::reliable) < kMaxWaiting) {
    sent += static_cast<quint64>(sendNext());
  }
}

qint64 OutgoingText::sendNext() {
  Transfer& transfer = *transfer_;
  const qsizetype begin = transfer.next == 0 ? 0 : transfer.ends[transfer.next - 1];
  const QString piece = transfer.text.sliced(begin, transfer.ends[transfer.next] - begin);
  sender_.send(ControlChannel::reliable, {{u"type"_s, u"clipboard_sync"_s},
                                          {u"id"_s, id_},
                                          {u"part"_s, transfer.next},
                                          {u"parts"_s, transfer.ends.size()},
                                          {u"length"_s, transfer.length},
                                          {u"text"_s, piece}});
  if (++transfer.next == transfer.ends.size()) stop();
  return jsonLength(piece) + kEnvelope;
}

}  // namespace vantora
