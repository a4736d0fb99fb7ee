#include "platform/portal/PortalDesktop.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QTimer>
#include <algorithm>
#include <utility>
#include <vector>

#include "base/Lifetime.h"
#include "base/QtScheduler.h"
#include "base/SessionBusAddress.h"
#include "base/dbus/DBusCall.h"
#include "platform/ClipboardChoice.h"
#include "platform/ClipboardLoan.h"
#include "platform/DesktopChoice.h"
#include "platform/NoClipboard.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/portal/CaptureConsent.h"
#include "platform/portal/PortalAccessibility.h"
#include "platform/portal/PortalDisplays.h"
#include "platform/portal/PortalInput.h"
#include "platform/portal/PortalSession.h"
#include "platform/portal/clipboard/PortalClipboard.h"
#include "platform/portal/cursor/PortalCursor.h"
#include "platform/wayland/DataControlClipboard.h"
#include "platform/wayland/SeatKeymap.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Between two attempts to get a PipeWire connection.
constexpr std::chrono::milliseconds kRemotePause{500};

DesktopStatus statusOf(const PortalSession& session) {
  switch (session.state()) {
    case PortalSession::State::idle:
    case PortalSession::State::preparing:
      return {DesktopState::starting};
    case PortalSession::State::asking:
      return {DesktopState::awaitingConsent};
    case PortalSession::State::granted:
      return {DesktopState::ready};
    case PortalSession::State::refused:
      return {DesktopState::refused, session.reason()};
    case PortalSession::State::closed:
      return {DesktopState::closed, session.reason()};
  }
  return {};
}

class PortalDesktop final : public LinuxDesktop {
 public:
  PortalDesktop(const Environment& environment, Clipboard& clipboard, PortalCaptureFactory makeCapture)
      : LinuxDesktop(clipboard),
        makeCapture_(std::move(makeCapture)),
        session_(sessionBusAddress(environment), RestoreTokens(environment), [this] { sessionChanged(); }),
        cursor_(makePortalCursor(environment)),
        accessibility_(makePortalAccessibility()),
        given_(clipboard),
        givenPrimary_(clipboard.primary() != nullptr ? *clipboard.primary() : noPrimary_),
        dataControl_(makeDataControlClipboard(compositorSocket(environment))),
        clipboard_(clipboard),
        primary_(givenPrimary_),
        input_(session_, displays_),
        keymap_(compositorSocket(environment),
                [this](const QByteArray& keymap) { input_.setLayout(KeyLayout::parse(keymap)); }) {
    dataControl_->setAvailableHandler([this] { chooseClipboard(); });
    chooseClipboard();
    input_.pasteThrough(clipboardLoan_, primaryLoan_, scheduler_);
  }
  ~PortalDesktop() override { refuseCaptures(u"the program ends"_s); }

  DesktopStatus status() const override { return status_; }
  void setStatusHandler(std::function<void(const DesktopStatus&)> handler) override {
    statusHandler_ = std::move(handler);
  }
  Displays& displays() override { return displays_; }
  DesktopInput& input() override { return input_; }
  SystemCursor& cursor() override { return *cursor_; }
  Clipboard& clipboard() override { return clipboardLoan_; }
  Accessibility& accessibility() override { return *accessibility_; }
  std::unique_ptr<ScreenCapture> makeScreenCapture() override {
    const auto consent = std::make_shared<CaptureConsent>(CaptureConsent::Events{
        .requested = life_.onMain([this](const std::weak_ptr<CaptureConsent>& waiting) { requested(waiting.lock()); }),
        .ended = life_.onMain([this] { captureEnded(); }),
        .nudge = life_.onMain([this](std::uint32_t) { input_.nudge(); }),
        .frameSize = life_.onMain([this](std::uint32_t node, QSize pixels) { displays_.setFrameSize(node, pixels); }),
        .cursorReported =
            life_.onMain([this](const std::weak_ptr<CaptureConsent>& reporter) { cursorReported(reporter.lock()); })});
    captures_.push_back(consent);
    return makeCapture_(consent);
  }

 private:
  std::vector<std::shared_ptr<CaptureConsent>> captures() {
    std::vector<std::shared_ptr<CaptureConsent>> living;
    for (const auto& capture : captures_) {
      if (auto consent = capture.lock()) living.push_back(std::move(consent));
    }
    return living;
  }

  void requested(const std::shared_ptr<CaptureConsent>& capture) {
    if (!capture || !capture->isWaiting()) return;
    if (session_.state() == PortalSession::State::granted) return openStreams(capture);
    session_.start();
    updateStatus();
  }

  // Without PipeWire, which may just be restarting, until the session ends.
  void openStreams(const std::weak_ptr<CaptureConsent>& capture) {
    session_.openRemote([this, capture](FileDescriptor remote, const QString& error) {
      const auto consent = capture.lock();
      if (!consent || !consent->isWaiting()) return;
      if (error.isEmpty()) return consent->grant(session_.grant().streams, std::move(remote));
      QTimer::singleShot(kRemotePause, &context_, [this, capture] { openStreams(capture); });
    });
  }

  void refuseCaptures(const QString& reason) {
    for (const auto& capture : captures()) capture->refuse(reason);
  }

  // A user who stops sharing while being asked need not answer any more, and one who shares without control is asked
  // for control the next time.
  void captureEnded() {
    std::erase_if(captures_, [](const std::weak_ptr<CaptureConsent>& capture) { return capture.expired(); });
    if (!captures_.empty()) return;
    cursor_->streamsClosed();
    const bool granted = session_.state() == PortalSession::State::granted;
    if (granted && (!session_.grant().inputOffered || !input_.mayBeUsableLater())) return;
    if (session_.state() == PortalSession::State::refused || session_.state() == PortalSession::State::closed) return;
    closeClipboard();
    session_.close();
    displays_.setStreams({});
    input_.sessionChanged();
    updateStatus();
  }

  void sessionChanged() {
    switch (session_.state()) {
      case PortalSession::State::granted:
        displays_.setStreams(session_.grant().streams);
        readCursorTheme();
        openClipboard();
        for (const auto& capture : captures()) {
          if (capture->isWaiting()) openStreams(capture);
        }
        break;
      case PortalSession::State::refused:
      case PortalSession::State::closed:
        displays_.setStreams({});
        cursor_->streamsClosed();
        closeClipboard();
        // For ever: nothing but the local user's next start of the sharing asks again.
        refuseCaptures(session_.reason());
        break;
      case PortalSession::State::idle:
      case PortalSession::State::preparing:
      case PortalSession::State::asking:
        break;
    }
    // The session's user learns of the state before the answers to what waits for it.
    updateStatus();
    input_.sessionChanged();
  }

  void updateStatus() {
    const DesktopStatus status = statusOf(session_);
    if (std::exchange(status_, status) == status) return;
    if (const auto handler = statusHandler_) handler(status);
  }

  void cursorReported(const std::shared_ptr<CaptureConsent>& capture) {
    const auto cursor = capture ? capture->takeCursor() : std::nullopt;
    if (!cursor) return;
    if (cursor->visible) input_.cursorReported(cursor->node, cursor->position);
    cursor_->report(*cursor);
  }

  void chooseClipboard() {
    clipboard_.use(bestClipboard());
    Clipboard* const primary = dataControl_->available() ? dataControl_->primary() : nullptr;
    primary_.use(primary != nullptr ? *primary : givenPrimary_);
  }

  // The portal's, where the user granted it; else the compositor's; else that of the desktop process.
  Clipboard& bestClipboard() {
    if (portalClipboard_) return *portalClipboard_;
    if (dataControl_->available()) return *dataControl_;
    return given_;
  }

  void openClipboard() {
    if (!session_.grant().clipboard) return;
    portalClipboard_ = makePortalClipboard(session_.bus(), portal::kService);
    portalClipboard_->setSession(session_.path());
    chooseClipboard();
  }

  void closeClipboard() {
    if (!portalClipboard_) return;
    const auto closed = std::move(portalClipboard_);
    chooseClipboard();
  }

  void readCursorTheme() {
    const auto read = [this](const QString& key, const std::function<void(const QVariant&)>& done) {
      QDBusMessage call = QDBusMessage::createMethodCall(portal::kService, portal::kPath,
                                                         u"org.freedesktop.portal.Settings"_s, u"Read"_s);
      call.setArguments({u"org.gnome.desktop.interface"_s, key});
      callDBus(session_.bus(), call, &context_, [done](const QDBusMessage& reply) {
        QVariant value = reply.arguments().value(0);
        // A variant within a variant.
        while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
        if (reply.type() == QDBusMessage::ReplyMessage) done(value);
      });
    };
    read(u"cursor-theme"_s, [this](const QVariant& value) {
      cursorTheme_ = value.toString();
      cursor_->setTheme(cursorTheme_, cursorSize_);
    });
    read(u"cursor-size"_s, [this](const QVariant& value) {
      cursorSize_ = std::clamp(value.toInt(), 0, 256);
      cursor_->setTheme(cursorTheme_, cursorSize_);
    });
  }

  const PortalCaptureFactory makeCapture_;
  PortalSession session_;
  PortalDisplays displays_;
  QtScheduler scheduler_;
  const std::unique_ptr<PortalCursor> cursor_;
  const std::unique_ptr<Accessibility> accessibility_;
  Clipboard& given_;
  NoClipboard noPrimary_;
  Clipboard& givenPrimary_;
  const std::unique_ptr<DataControlClipboard> dataControl_;
  std::unique_ptr<PortalClipboard> portalClipboard_;
  ClipboardChoice clipboard_;
  ClipboardChoice primary_;
  ClipboardLoan clipboardLoan_{clipboard_, scheduler_, ClipboardLoan::Replaces::text};
  ClipboardLoan primaryLoan_{primary_, scheduler_, ClipboardLoan::Replaces::anything};
  PortalInput input_;
  SeatKeymap keymap_;
  std::vector<std::weak_ptr<CaptureConsent>> captures_;
  DesktopStatus status_;
  std::function<void(const DesktopStatus&)> statusHandler_;
  QString cursorTheme_;
  int cursorSize_ = 0;
  QObject context_;
  Lifetime life_;  // Last: for events of captures, which may outlive this object.
};

}  // namespace

std::unique_ptr<DesktopSession> makePortalDesktop(const Environment& environment, Clipboard& clipboard,
                                                  PortalCaptureFactory makeCapture) {
  return std::make_unique<PortalDesktop>(environment, clipboard, std::move(makeCapture));
}

}  // namespace vantora
