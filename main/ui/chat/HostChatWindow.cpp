#include "main/ui/chat/HostChatWindow.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QVBoxLayout>
#include <algorithm>

#include "main/ui/BringToFront.h"
#include "main/ui/Theme.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

constexpr QSize kContent(480, 560);
constexpr int kMargin = 12;
constexpr int kGap = 8;
constexpr int kBarHeight = 28;
constexpr int kFieldHeight = 24;
constexpr int kTextPixels = 13;

bool isWebAddress(const QUrl& url) {
  return url.isValid() && !url.host().isEmpty() && (url.scheme() == "http"_L1 || url.scheme() == "https"_L1);
}

}  // namespace

HostChatWindow::HostChatWindow(SessionControl& session, OpenUrl openUrl) : session_(session) {
  if (!openUrl) openUrl = [](const QUrl& url) { QDesktopServices::openUrl(url); };
  setWindowTitle(u"Vantora Chat"_s);
  setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint |
                 Qt::WindowMinMaxButtonsHint);
  setAttribute(Qt::WA_DeleteOnClose, false);
  setAttribute(Qt::WA_QuitOnClose, false);

  transcript_ = new Transcript(
      [open = std::move(openUrl)](const QUrl& url) {
        if (isWebAddress(url)) open(url);
      },
      this);
  auto* bar = new QWidget(this);
  input_ = new ChatInput(bar);
  send_ = new QPushButton(u"Send"_s, bar);
  send_->setAutoDefault(false);

  const qreal scale = theme::textScale();
  QFont shape = input_->font();
  shape.setPixelSize(qRound(kTextPixels * scale));
  input_->setFont(shape);
  send_->setFont(shape);
  // Larger text needs more room than the usual height.
  input_->setFixedHeight(qRound(kFieldHeight * scale));
  send_->setFixedHeight(qRound(kFieldHeight * scale));
  bar->setFixedHeight(qRound(kBarHeight * scale));

  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(kGap);
  row->addWidget(input_, 1, Qt::AlignVCenter);
  row->addWidget(send_, 0, Qt::AlignVCenter);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
  column->setSpacing(kGap);
  column->addWidget(transcript_, 1);
  column->addWidget(bar);

  connect(input_, &QLineEdit::returnPressed, this, [this] { sendTapped(); });
  connect(send_, &QPushButton::clicked, this, [this] { sendTapped(); });
  // The window is for typing: first the field, then the button, then the conversation.
  setTabOrder(input_, send_);
  setTabOrder(send_, transcript_);
  input_->setFocus();
  resize(kContent);
}

void HostChatWindow::append(const QString& from, const QString& text, qint64 ts) {
  transcript_->appendLine(chatLine(from, text, ts, locale()));
}

void HostChatWindow::sendTapped() {
  const QString text = input_->text().trimmed();
  if (text.isEmpty()) return;
  session_.sendChat(text);
  input_->clear();
}

void HostChatWindow::present() {
  bringToFront(*this);
  input_->setFocus(Qt::OtherFocusReason);
}

void HostChatWindow::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  if (shownHandler_) shownHandler_();
}

void HostChatWindow::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Cancel) || event->matches(QKeySequence::Close)) {
    close();
    return;
  }
  QWidget::keyPressEvent(event);
}

}  // namespace vantora
