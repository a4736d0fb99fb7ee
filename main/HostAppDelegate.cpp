#include "main/HostAppDelegate.h"

#include "main/base/Log.h"
#include "main/rtc/WebRtcRuntime.h"
#include "main/signalling/QtWebSocketTask.h"
#include "main/signalling/RoomIdentity.h"
#include "main/signalling/SignalingUrl.h"
#include "main/video/sources/DummyVideoSource.h"
#include "main/video/sources/ScreenVideoSource.h"
#include "platform/NoDesktop.h"
#include "platform/linux/LinuxDownloads.h"
#include "platform/linux/LinuxMachineIdentity.h"
#include "platform/x11/capture/X11ScreenCapture.h"

namespace vantora {
HostAppDelegate::HostAppDelegate(QStringList arguments, Environment environment, InfoDictionary info)
    : arguments_(std::move(arguments)),
      environment_(std::move(environment)),
      info_(std::move(info)),
      platform_(makePlatform(environment_)),
      clipboard_(makeNoClipboard()) {}

HostAppDelegate::~HostAppDelegate() = default;

std::optional<QString> HostAppDelegate::applicationDidFinishLaunching() {
  const LinuxMachineIdentity machine;
  const QString room = resolveRoomId(info_, environment_, arguments_, machine);
  auto address = resolveSignalingUrl(info_, environment_, arguments_);
  if (const auto* error = std::get_if<SignalingUrlError>(&address)) return error->message;

  factory_ = makeWebRtcRuntime();
  host_ = std::make_unique<Host>(room,
                                 Host::Configuration{.environment = environment_,
                                                     .info = info_,
                                                     .signalingUrl = std::get<SignalingUrl>(std::move(address))},
                                 Host::Platform{.scheduler = scheduler_,
                                                .displays = *platform_.displays,
                                                .input = *platform_.input,
                                                .supportTools = *platform_.supportTools,
                                                .cursor = *platform_.cursor,
                                                .accessibility = *platform_.accessibility,
                                                .clipboard = *clipboard_,
                                                .factory = *factory_,
                                                .videoSources = videoSources(),
                                                .webSocketTasks = qtWebSocketTasks(scheduler_),
                                                .random = systemRandom(),
                                                .hostName = machine.localizedHostName(),
                                                .downloadFolder = downloadFolder,
                                                .diagnostics = diagnosticsReports(diagnosticsThreads_)});
  if (!info_.bundleIdentifier()) logLine("[notify] skipping UNUserNotifications (no bundle identifier)");
  return std::nullopt;
}

VideoSourceFactory HostAppDelegate::videoSources() {
  return {.synthetic = [environment = environment_](
                           int fps, int width,
                           int height) { return std::make_unique<DummyVideoSource>(fps, width, height, environment); },
          .screen =
              [](int width, int height, int fps, int displayIndex, std::function<void(const QString&)> onPermission) {
                return std::make_unique<ScreenVideoSource>([] { return makeX11ScreenCapture(); }, width, height, fps,
                                                           displayIndex, std::move(onPermission));
              }};
}

}  // namespace vantora
