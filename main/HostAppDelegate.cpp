#include "main/HostAppDelegate.h"

#include <QCoreApplication>

#include "base/Log.h"
#include "main/rtc/WebRtcRuntime.h"
#include "main/signalling/QtWebSocketTask.h"
#include "main/signalling/RoomIdentity.h"
#include "main/signalling/SignalingUrl.h"
#include "main/video/encoders/EncoderFactory.h"
#include "main/video/sources/DummyVideoSource.h"
#include "main/video/sources/ScreenVideoSource.h"
#include "platform/DesktopFactory.h"

namespace vantora {
HostAppDelegate::HostAppDelegate(QStringList arguments, Environment environment, InfoDictionary info)
    : arguments_(std::move(arguments)),
      environment_(std::move(environment)),
      info_(std::move(info)),
      desktopProcess_(scheduler_, desktopProgram(QCoreApplication::applicationDirPath())),
      desktop_(makeDesktopSession(environment_, desktopProcess_.clipboard())) {}

HostAppDelegate::~HostAppDelegate() {
  // State changes during the session's shutdown are not reported.
  if (host_) host_->setChangedHandler(nullptr);
}

HostAppDelegate::Launch HostAppDelegate::applicationDidFinishLaunching() {
  const QString room = resolveRoomId(info_, environment_, arguments_, desktop_->machine());
  auto address = resolveSignalingUrl(info_, environment_, arguments_);
  if (const auto* error = std::get_if<SignalingUrlError>(&address)) return {.error = error->message};

  const auto& signalingUrl = std::get<SignalingUrl>(address);
  const QByteArray name = launchName(environment_, room, signalingUrl.text);
  if (singleInstance_.acquire(name, [this] { applicationShouldHandleReopen(); }) ==
      SingleInstance::Outcome::notifiedRunning) {
    return {.alreadyRunning = true, .error = {}};
  }

  factory_ = makeWebRtcRuntime(makeVideoEncoderFactory);
  host_ = std::make_unique<Host>(
      room,
      Host::Configuration{
          .environment = environment_, .info = info_, .signalingUrl = std::get<SignalingUrl>(std::move(address))},
      Host::Platform{.scheduler = scheduler_,
                     .desktop = *desktop_,
                     .factory = *factory_,
                     .videoSources = videoSources(),
                     .webSocketTasks = qtWebSocketTasks(scheduler_),
                     .random = systemRandom(),
                     .diagnostics = diagnosticsReports(diagnosticsThreads_),
                     .statistics = machineStatistics(statisticsThread_)});
  addresses_ = std::make_unique<LocalAddressesWatch>(
      scheduler_, [this](const LocalAddresses& addresses) { host_->addressesChanged(addresses); });
  if (!info_.bundleIdentifier()) logLine("[notify] skipping UNUserNotifications (no bundle identifier)");
  startDesktop();
  return {};
}

void HostAppDelegate::applicationShouldHandleReopen() { desktopProcess_.reopen(); }

void HostAppDelegate::startDesktop() {
  host_->setChangedHandler([this] { desktopProcess_.changed(); });
  host_->chat().setCallbacks({.presentChat = [this](const QString& from, const QString& text,
                                                    qint64 ts) { desktopProcess_.presentChat(from, text, ts); },
                              .deliverHostNotification =
                                  [this](const QString& title, const QString& body) {
                                    desktopProcess_.deliverHostNotification(title, body);
                                  }});
  desktopProcess_.start({.state = [this] { return hostState(); },
                         .requested = [this](const UiRequest& request) { carryOut(request); },
                         .sendChat = [this](const QString& text) { host_->sendChat(text); }},
                        info_.value("VANTORA_PANEL_AUTO") != QStringLiteral("0"));
}

HostState HostAppDelegate::hostState() const {
  const ControlAuthorisation& authorisation = host_->authorisation();
  return {.iceState = host_->iceState(),
          .qualityPreset = host_->getQualityPreset(),
          .roomId = host_->getRoomId(),
          .controlPIN = authorisation.getPIN(),
          .pinLockedByEnv = authorisation.isPinLocked(),
          .sharingEnabled = host_->isSharingEnabled(),
          .allowRemoteControl = authorisation.isAllowRemoteControl(),
          .allowIncomingFiles = host_->isFileReceiveAllowed()};
}

void HostAppDelegate::carryOut(const UiRequest& request) {
  switch (request.action) {
    case UiAction::startSharing:
      host_->startSharing();
      break;
    case UiAction::stopSharing:
      host_->stopSharing();
      break;
    case UiAction::regeneratePin:
      host_->authorisation().regeneratePIN();
      break;
    case UiAction::setAllowRemoteControl:
      host_->authorisation().setAllowRemoteControl(request.allowed);
      break;
    case UiAction::setFileReceiveAllowed:
      host_->setFileReceiveAllowed(request.allowed);
      break;
    case UiAction::quit:
      host_->shutdown();
      QCoreApplication::quit();
      break;
  }
  desktopProcess_.changed();
}

VideoSourceFactory HostAppDelegate::videoSources() {
  return {.synthetic = [environment = environment_](
                           int fps, int width,
                           int height) { return std::make_unique<DummyVideoSource>(fps, width, height, environment); },
          .screen =
              [this](int width, int height, int fps, int displayIndex, ScreenEvents events) {
                return std::make_unique<ScreenVideoSource>([this] { return desktop_->makeScreenCapture(); }, width,
                                                           height, fps, displayIndex, std::move(events));
              }};
}

}  // namespace vantora
