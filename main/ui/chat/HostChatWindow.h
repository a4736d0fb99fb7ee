// The chat window: the conversation and an input line.
#pragma once

#include <QPushButton>
#include <QUrl>
#include <QWidget>
#include <functional>

#include "main/ui/SessionControl.h"
#include "main/ui/chat/ChatInput.h"
#include "main/ui/chat/Transcript.h"

namespace vantora {

// Created hidden; closing only hides it and keeps the transcript. A message of the local user is shown when the
// server's echo arrives. Thread: main (of the interface). Owner: HostStatusBar.
class HostChatWindow final : public QWidget {
 public:
  // Opens an http or https address in the user's browser.
  using OpenUrl = std::function<void(const QUrl&)>;

  // `session` must outlive the window.
  explicit HostChatWindow(SessionControl& session, OpenUrl openUrl = {});

  // Adds one message; `ts` is in milliseconds since 1970.
  void append(const QString& from, const QString& text, qint64 ts);
  // Sends the text of the input and clears it; does nothing if it is blank.
  void sendTapped();
  // Shows the window in front of others, the input ready for typing.
  void present();
  // Called whenever the window was shown, for any reason.
  void setShownHandler(std::function<void()> handler) { shownHandler_ = std::move(handler); }

  Transcript& transcript() { return *transcript_; }
  ChatInput& input() { return *input_; }
  QPushButton& sendButton() { return *send_; }

 protected:
  void showEvent(QShowEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  SessionControl& session_;
  std::function<void()> shownHandler_;
  Transcript* transcript_;
  ChatInput* input_;
  QPushButton* send_;
};

}  // namespace vantora
