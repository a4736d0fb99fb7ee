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
#include "platform/linux/LinuxDownloads.h"
#include "platform/linux/LinuxMachineIdentity.h"

namespace vantora {
HostAppDelegate::HostAppDelegate(QStringList arguments, Environment environment, InfoDictionary info)
    : arguments_(std::move(arguments)),
      environment_(std::move(environment)),
      info_(std::move(info)),
      platform_(makePlatform(environment_)),
      desktop_(scheduler_, QCoreApplication::applicationFilePath()) {}

HostAppDelegate::~HostAppDelegate() {
  // The session's last steps are nobody's news.
  if (host_) host_->setChangedHandler(nullptr);
}

HostAppDelegate::Launch HostAppDelegate::applicationDidFinishLaunching() {
  const LinuxMachineIdentity machine;
  const QString room = resolveRoomId(info_, environment_, arguments_, machine);
  auto address = resolveSignalingUrl(info_, environment_, arguments_);
  if (const auto* error = std::get_if<SignalingUrlError>(&address)) return {.error = error->message};

  const auto& signalingUrl = std::get<SignalingUrl>(address);
  const QByteArray name = launchName(environment_, room, signalingUrl.text);
  if (secondLaunch_.claim(name, [this] { applicationShouldHandleReopen(); }) == SecondLaunch::Outcome::toldOther) {
    return {.alreadyRunning = true, .error = {}};
  }

  factory_ = makeWebRtcRuntime(makeVideoEncoderFactory);
  host_ = std::make_unique<Host>(
      room,
      Host::Configuration{
          .environment = environment_, .info = info_, .signalingUrl = std::get<SignalingUrl>(std::move(address))},
      Host::Platform{.scheduler = scheduler_,
                     .displays = *platform_.displays,
                     .input = *platform_.input,
                     .supportTools = *platform_.supportTools,
                     .cursor = *platform_.cursor,
                     .accessibility = *platform_.accessibility,
                     .clipboard = desktop_.clipboard(),
                     .factory = *factory_,
                     .videoSources = videoSources(),
                     .webSocketTasks = qtWebSocketTasks(scheduler_),
                     .random = systemRandom(),
                     .hostName = machine.prettyHostName(),
                     .downloadFolder = downloadFolder,
                     .diagnostics = diagnosticsReports(diagnosticsThreads_),
                     .statistics = machineStatistics(statisticsThread_)});
  if (!info_.bundleIdentifier()) logLine("[notify] skipping UNUserNotifications (no bundle identifier)");
  startDesktop();
  return {};
}

void HostAppDelegate::applicationShouldHandleReopen() { desktop_.reopen(); }

void HostAppDelegate::startDesktop() {
  host_->setChangedHandler([this] { desktop_.changed(); });
  host_->chat().setCallbacks(
      {.presentChat = [this](const QString& from, const QString& text,
                             qint64 ts) { desktop_.presentChat(from, text, ts); },
       .deliverHostNotification = [this](const QString& title,
                                         const QString& body) { desktop_.deliverHostNotification(title, body); }});
  desktop_.start({.state = [this] { return hostState(); },
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
  desktop_.changed();
}

VideoSourceFactory HostAppDelegate::videoSources() {
  return {.synthetic = [environment = environment_](
                           int fps, int width,
                           int height) { return std::make_unique<DummyVideoSource>(fps, width, height, environment); },
          .screen =
              [capture = platform_.screenCapture](int width, int height, int fps, int displayIndex, ScreenNews news) {
                return std::make_unique<ScreenVideoSource>(capture, width, height, fps, displayIndex, std::move(news));
              }};
}

}  // namespace vantora
