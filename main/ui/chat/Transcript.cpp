#include "main/ui/chat/Transcript.h"

#include <QEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTimer>

#include "main/ui/Theme.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr int kRoleProperty = QTextFormat::UserProperty + 1;
constexpr int kTextPixels = 13;
constexpr int kTimePixels = 11;
// Space between text and edge: across it is 6 for the text and 2 for its lines.
constexpr int kInsetAcross = 8;
constexpr int kInsetDown = 6;

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
  connect(this, &QTextBrowser::anchorClicked, this, [open = std::move(openLink)](const QUrl& url) { open(url); });
}

qsizetype Transcript::length() const { return document()->characterCount() - 1; }

void Transcript::appendLine(QList<ChatPiece> line) {
  // Of a line that alone fills the transcript only the end would stay: the rest need not be laid out.
  const qsizetype all = length() + lengthOf(line);
  const qsizetype kept = all - transcriptExcess(all);
  QTextCursor edit(document());
  edit.beginEditBlock();
  if (lengthOf(line) >= kept) {
    edit.select(QTextCursor::Document);
    edit.removeSelectedText();
    line = lastUnits(std::move(line), kept);
  }
  insert(line);
  if (const qsizetype excess = length() - kept; excess > 0) {
    edit.setPosition(0);
    edit.setPosition(static_cast<int>(excess), QTextCursor::KeepAnchor);
    edit.removeSelectedText();
  }
  edit.endEditBlock();
  scrollToEndSoon();
}

void Transcript::insert(const QList<ChatPiece>& line) {
  QTextCursor end(document());
  end.movePosition(QTextCursor::End);
  QString text;
  for (const ChatPiece& piece : line) {
    if (piece.role == ChatRole::text || piece.role == ChatRole::link) text += piece.text.left(200);
  }
  // A message in a right-to-left script reads from the right, name and time included.
  QTextBlockFormat paragraph;
  paragraph.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
  end.setBlockFormat(paragraph);
  for (const ChatPiece& piece : line) end.insertText(piece.text, formatOf(piece));
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
    // Fragments shift while they are edited: what is to change is noted first.
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
  // Once for all lines that came together: finding the end needs the whole layout.
  if (scrollPending_) return;
  scrollPending_ = true;
  QTimer::singleShot(0, this, [this] {
    scrollPending_ = false;
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
  });
}

}  // namespace vantora
