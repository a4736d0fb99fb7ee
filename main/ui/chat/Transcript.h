// The conversation as shown in the chat window.
#pragma once

#include <QElapsedTimer>
#include <QTextBrowser>
#include <QTimer>
#include <functional>

#include "main/ui/chat/ChatLine.h"

namespace vantora {

// Read-only text that can be selected and copied; a click on a link passes its address to `openLink`. The text is built
// from pieces, so no text of a sender is interpreted as markup. Thread: main. Owner: HostChatWindow.
class Transcript final : public QTextBrowser {
 public:
  using OpenLink = std::function<void(const QUrl&)>;

  explicit Transcript(OpenLink openLink, QWidget* parent = nullptr);

  // Adds one line at the end, cuts the transcript to its cap in one deletion and scrolls to the end. Lines that arrive
  // in quick succession are displayed together, one frame later; the resulting text is the same.
  void appendLine(QList<ChatPiece> line);
  // Displays waiting lines now.
  void flush();
  // UTF-16 units of the whole text, waiting lines included.
  qsizetype length() const { return length_; }
  // The whole text, including newlines.
  QString text();

 protected:
  void changeEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  // No resource is ever loaded for the text.
  QVariant loadResource(int type, const QUrl& name) override;

 private:
  QTextCharFormat formatOf(const ChatPiece& piece) const;
  qsizetype shownLength() const;
  void insert(QTextCursor& edit, const QList<ChatPiece>& line);
  // Updates the palette's colours, which are stored in the text.
  void recolour();
  void scrollToEndSoon();
  void updateFonts();

  qreal scale_ = 1;
  // Of the text including waiting lines.
  qsizetype length_ = 0;
  QList<QList<ChatPiece>> waiting_;
  qsizetype waitingLength_ = 0;
  QTimer flushTimer_;
  QElapsedTimer sinceFlush_;
  bool scrollPending_ = false;
};

}  // namespace vantora
