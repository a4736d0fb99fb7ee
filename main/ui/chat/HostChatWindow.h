// The chat window: the conversation, and a line to say something.
#pragma once

#include <QPushButton>
#include <QUrl>
#include <QWidget>
#include <functional>

#include "main/ui/SessionControl.h"
#include "main/ui/chat/ChatInput.h"
#include "main/ui/chat/Transcript.h"

namespace vantora {

// Made hidden; closing only hides it, and the transcript stays. What the local user says shows when the server's echo
// arrives. Thread: main (of the interface). Owner: HostStatusBar.
class HostChatWindow final : public QWidget {
 public:
  // Opens an http or https address in the user's browser.
  using OpenUrl = std::function<void(const QUrl&)>;

  // `face` must outlive the window.
  explicit HostChatWindow(SessionControl& face, OpenUrl openUrl = {});

  // Adds one message; `ts` is in milliseconds since 1970.
  void append(const QString& from, const QString& text, qint64 ts);
  // Says what stands in the input and clears it; nothing when it is blank.
  void sendTapped();
  // Shows the window in front of others, the input ready for typing.
  void present();
  // Called whenever the window came on screen, however that happened.
  void setShownHandler(std::function<void()> handler) { shownHandler_ = std::move(handler); }

  Transcript& transcript() { return *transcript_; }
  ChatInput& input() { return *input_; }
  QPushButton& sendButton() { return *send_; }

 protected:
  void showEvent(QShowEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  SessionControl& face_;
  std::function<void()> shownHandler_;
  Transcript* transcript_;
  ChatInput* input_;
  QPushButton* send_;
};

}  // namespace vantora
