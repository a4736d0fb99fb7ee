#include "main/ui/chat/Transcript.h"

#include <QEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <algorithm>

#include "main/ui/Theme.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr int kRoleProperty = QTextFormat::UserProperty + 1;
constexpr int kTextPixels = 13;
constexpr int kTimePixels = 11;
// Space between text and edge: horizontally 6 for the text and 2 for its lines.
constexpr int kInsetAcross = 8;
constexpr int kInsetDown = 6;
constexpr int kBetweenLines = 3;
// Minimum interval between two updates of the screen.
constexpr int kFrameMs = 16;
// UTF-16 units that may wait for the next update.
constexpr qsizetype kMaxWaitingUnits = 400000;

}  // namespace

Transcript::Transcript(OpenLink openLink, QWidget* parent) : QTextBrowser(parent) {
  setAccessibleName(u"Conversation"_s);
  setReadOnly(true);
  setUndoRedoEnabled(false);
  setOpenLinks(false);
  setTabChangesFocus(true);
  setTextInteractionFlags(Qt::TextBrowserInteraction | Qt::TextSelectableByKeyboard);
  setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  document()->setUndoRedoEnabled(false);
  updateFonts();
  QTextFrameFormat frame = document()->rootFrame()->frameFormat();
  frame.setLeftMargin(kInsetAcross);
  frame.setRightMargin(kInsetAcross);
  frame.setTopMargin(kInsetDown);
  frame.setBottomMargin(kInsetDown);
  document()->rootFrame()->setFrameFormat(frame);
  flushTimer_.setSingleShot(true);
  connect(&flushTimer_, &QTimer::timeout, this, [this] { flush(); });
  connect(this, &QTextBrowser::anchorClicked, this, [open = std::move(openLink)](const QUrl& url) { open(url); });
}

qsizetype Transcript::shownLength() const { return document()->characterCount() - 1; }

QString Transcript::text() {
  flush();
  return toPlainText();
}

void Transcript::appendLine(QList<ChatPiece> line) {
  const qsizetype added = lengthOf(line);
  waitingLength_ += added;
  length_ += added;
  length_ -= transcriptExcess(length_);
  waiting_.append(std::move(line));
  if (waitingLength_ > kMaxWaitingUnits) return flush();
  if (flushTimer_.isActive()) return;
  const qint64 rest = sinceFlush_.isValid() ? kFrameMs - sinceFlush_.elapsed() : 0;
  flushTimer_.start(static_cast<int>(std::clamp<qint64>(rest, 0, kFrameMs)));
}

void Transcript::flush() {
  flushTimer_.stop();
  if (waiting_.isEmpty()) return;
  // Only the end of the whole text is kept; lines that would be deleted again at once need no layout.
  qsizetype room = length_;
  qsizetype first = waiting_.size();
  while (first > 0 && room > 0) room -= lengthOf(waiting_.at(--first));
  QTextCursor edit(document());
  edit.beginEditBlock();
  if (room <= 0) {
    edit.select(QTextCursor::Document);
    edit.removeSelectedText();
    waiting_[first] = lastUnits(waiting_.at(first), lengthOf(waiting_.at(first)) + room);
  } else if (const qsizetype excess = shownLength() - room; excess > 0) {
    edit.setPosition(0);
    edit.setPosition(static_cast<int>(excess), QTextCursor::KeepAnchor);
    edit.removeSelectedText();
  }
  edit.movePosition(QTextCursor::End);
  for (qsizetype i = first; i < waiting_.size(); ++i) insert(edit, waiting_.at(i));
  edit.endEditBlock();
  waiting_.clear();
  waitingLength_ = 0;
  sinceFlush_.start();
  scrollToEndSoon();
}

void Transcript::insert(QTextCursor& edit, const QList<ChatPiece>& line) {
  QString start;
  for (const ChatPiece& piece : line) {
    if (piece.role == ChatRole::text || piece.role == ChatRole::link) start += piece.text.left(200);
  }
  // A message in a right-to-left script reads from the right, name and time included.
  QTextBlockFormat paragraph;
  paragraph.setBottomMargin(kBetweenLines);
  paragraph.setLayoutDirection(start.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
  edit.setBlockFormat(paragraph);
  for (const ChatPiece& piece : line) edit.insertText(piece.text, formatOf(piece));
}

QTextCharFormat Transcript::formatOf(const ChatPiece& piece) const {
  QTextCharFormat format;
  QFont shape = font();
  shape.setPixelSize(qRound((piece.role == ChatRole::time ? kTimePixels : kTextPixels) * scale_));
  shape.setBold(piece.role == ChatRole::name);
  format.setFont(shape);
  format.setProperty(kRoleProperty, static_cast<int>(piece.role));
  if (piece.role == ChatRole::time) format.setForeground(theme::secondaryText(palette()));
  if (piece.role == ChatRole::link) {
    format.setAnchor(true);
    format.setAnchorHref(piece.url);
    format.setFontUnderline(true);
    format.setForeground(theme::link(palette()));
  }
  return format;
}

void Transcript::recolour() {
  QTextCursor edit(document());
  edit.beginEditBlock();
  for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
    // Editing moves fragments: the ranges are collected first.
    QList<std::pair<int, int>> ranges[2];
    for (auto it = block.begin(); !it.atEnd(); ++it) {
      const QTextFragment fragment = it.fragment();
      const auto role = static_cast<ChatRole>(fragment.charFormat().intProperty(kRoleProperty));
      if (role == ChatRole::time) ranges[0].append({fragment.position(), fragment.length()});
      if (role == ChatRole::link) ranges[1].append({fragment.position(), fragment.length()});
    }
    for (int kind = 0; kind < 2; ++kind) {
      QTextCharFormat colour;
      colour.setForeground(kind == 0 ? theme::secondaryText(palette()) : theme::link(palette()));
      for (const auto& [position, size] : std::as_const(ranges[kind])) {
        edit.setPosition(position);
        edit.setPosition(position + size, QTextCursor::KeepAnchor);
        edit.mergeCharFormat(colour);
      }
    }
  }
  edit.endEditBlock();
}

void Transcript::updateFonts() {
  scale_ = theme::textScale();
  QFont shape = font();
  shape.setPixelSize(qRound(kTextPixels * scale_));
  document()->setDefaultFont(shape);
}

void Transcript::changeEvent(QEvent* event) {
  QTextBrowser::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) recolour();
}

void Transcript::resizeEvent(QResizeEvent* event) {
  const bool atEnd = verticalScrollBar()->value() >= verticalScrollBar()->maximum();
  QTextBrowser::resizeEvent(event);
  if (atEnd) scrollToEndSoon();
}

void Transcript::showEvent(QShowEvent* event) {
  QTextBrowser::showEvent(event);
  scrollToEndSoon();
}

QVariant Transcript::loadResource(int, const QUrl&) { return {}; }

void Transcript::scrollToEndSoon() {
  // Once for all lines that arrived together: finding the end needs the whole layout.
  if (scrollPending_) return;
  scrollPending_ = true;
  QTimer::singleShot(0, this, [this] {
    scrollPending_ = false;
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
  });
}

}  // namespace vantora
