// The conversation as it stands in the chat window.
#pragma once

#include <QElapsedTimer>
#include <QTextBrowser>
#include <QTimer>
#include <functional>

#include "main/ui/chat/ChatLine.h"

namespace vantora {

// Read-only text that can be selected and copied; a press on a link hands its address to `openLink`. The text is built
// from pieces, so nothing a sender writes is ever taken for markup. Thread: main. Owner: HostChatWindow.
class Transcript final : public QTextBrowser {
 public:
  using OpenLink = std::function<void(const QUrl&)>;

  explicit Transcript(OpenLink openLink, QWidget* parent = nullptr);

  // Adds one line at the end, cuts the transcript to its cap in one deletion and scrolls to the end. Lines that come in
  // quick succession are put on the screen together, a frame later; the text is the same as one by one.
  void appendLine(QList<ChatPiece> line);
  // Puts lines that wait on the screen now.
  void flush();
  // UTF-16 units of the whole text.
  qsizetype length() const { return length_; }
  // The whole text, its newlines as such.
  QString text();

 protected:
  void changeEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  // Nothing is ever fetched for the text.
  QVariant loadResource(int type, const QUrl& name) override;

 private:
  QTextCharFormat formatOf(const ChatPiece& piece) const;
  qsizetype shownLength() const;
  void insert(QTextCursor& edit, const QList<ChatPiece>& line);
  // Colours of the palette stand in the text; they follow when it changes.
  void recolour();
  void scrollToEndSoon();
  void updateFonts();

  qreal scale_ = 1;
  // Of the text with the lines that wait.
  qsizetype length_ = 0;
  QList<QList<ChatPiece>> waiting_;
  qsizetype waitingLength_ = 0;
  QTimer flushTimer_;
  QElapsedTimer sinceFlush_;
  bool scrollPending_ = false;
};

}  // namespace vantora
