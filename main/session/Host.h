// The session: the one object that the entry point and the user interface talk to.
#pragma once

#include <QString>
#include <memory>

#include "base/BackgroundTask.h"
#include "base/Environment.h"
#include "base/InfoDictionary.h"
#include "base/LocalAddresses.h"
#include "base/Scheduler.h"
#include "main/control/ControlChannel.h"
#include "main/control/authorisation/ControlAuthorisation.h"
#include "main/control/clipboard/ClipboardSync.h"
#include "main/control/commands/SupportCommands.h"
#include "main/control/cursor/CursorMonitor.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "main/control/files/FileReceiver.h"
#include "main/control/input/InputInjector.h"
#include "main/rtc/PeerConnection.h"
#include "main/session/ChatInbox.h"
#include "main/session/peer/IceMonitor.h"
#include "main/session/peer/Negotiation.h"
#include "main/session/peer/PeerLink.h"
#include "main/session/settings/HostSettings.h"
#include "main/signalling/Signaler.h"
#include "main/telemetry/DiagnosticsRequests.h"
#include "main/telemetry/HostStats.h"
#include "main/telemetry/LinkStats.h"
#include "main/telemetry/system/SystemStats.h"
#include "main/video/quality/VideoQuality.h"
#include "main/video/sharing/SharingControl.h"
#include "platform/DesktopSession.h"

namespace vantora {

// Composition root of the session: owns the areas, starts them in the required order and connects
// them. Thread: main. Owner: HostAppDelegate, from launch to the end of the process.
class Host {
 public:
  // What the session depends on; everything referred to must outlive it.
  struct Platform {
    Scheduler& scheduler;
    DesktopSession& desktop;
    PeerConnectionFactory& factory;
    VideoSourceFactory videoSources;
    WebSocketTaskFactory webSocketTasks;
    RandomBelow random;
    // Makes a diagnostics report; if empty, requests for a report get no reply.
    TaskStarter diagnostics{};
    // Collects the machine's own figures ("sys"); if empty, the statistics omit them.
    TaskStarter statistics{};
  };
  struct Configuration {
    Environment environment;
    InfoDictionary info;
    SignalingUrl signalingUrl;
  };

  // Runs the whole start-up: connects to the signalling server, reads the settings, builds the peer
  // connection, starts the video and makes the first offer.
  Host(const QString& room, Configuration configuration, Platform platform);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Ends the media session: closes the peer connection. The signalling connection stays.
  void shutdown();

  // The machine's addresses changed. A connection to the viewer or to the server whose own address is gone is renewed
  // at once; its loss would be detected only seconds later.
  void addressesChanged(const LocalAddresses& addresses);

  // For the user interface.
  QString getRoomId() const { return roomId_; }
  QString getQualityPreset() const { return quality_->currentQualityPreset(); }
  // For a user interface in this process; that of the desktop process makes its labels from HostState.
  QString getICEStateLabel() const { return iceMonitor_.getICEStateLabel(); }
  IceState iceState() const { return iceMonitor_.iceState(); }
  bool isSharingEnabled() const { return sharing_.isSharingEnabled(); }
  void startSharing();
  void stopSharing() { sharing_.stopSharing(); }
  ControlAuthorisation& authorisation() { return *authorisation_; }
  ChatInbox& chat() { return chat_; }
  bool isFileReceiveAllowed() const { return files_.isFileReceiveAllowed(); }
  void setFileReceiveAllowed(bool allow);
  // Sends `text` to the room; dropped when it is blank or there is no signalling connection. The server's echo shows
  // it.
  void sendChat(const QString& text);
  // Called whenever something that the menu shows changed.
  void setChangedHandler(std::function<void()> handler) { changedHandler_ = std::move(handler); }

 private:
  void handle(const JsonObject& message);
  void createPeer();
  void closePeer();
  void replacePeer(const char* reason);
  void createOrRefreshDataChannels();
  void restartIceForViewer();
  void attemptIceRecovery(bool immediate);
  void followAddresses(const LocalAddresses& addresses, const QString& used);
  void channelOpened(ControlChannel channel);
  void channelClosed(ControlChannel channel);
  void stopStatistics();
  void desktopChanged(const DesktopStatus& status);
  void displaysChanged();
  void changed() const;
  void bindControlMessages();
  Handled selectDisplay(const ControlRequest& request);
  SharingControl::Callbacks sharingCallbacks();
  SessionFigures sessionFigures() const;
  OfferShape offerShape() const;
  int startKbps() const;
  void setMaxBitrate();
  void startVideoSource();

  // Members are destroyed from the bottom up: a member that refers to another one is below it.
  const Configuration configuration_;
  Platform platform_;
  const QString roomId_;
  std::function<void()> changedHandler_;
  ForwardingControlSender sender_;
  InputInjector injector_;
  SupportCommands commands_;
  ChatInbox chat_;
  FileReceiver files_;
  ClipboardSync clipboard_;
  IceMonitor iceMonitor_;
  Negotiation negotiation_;
  SharingControl sharing_;
  SystemStats systemStats_;
  LinkStats linkStats_;
  HostStats stats_;
  DiagnosticsRequests diagnostics_;
  std::unique_ptr<Signaler> signaler_;
  HostSettings settings_;
  std::unique_ptr<ControlAuthorisation> authorisation_;
  std::unique_ptr<VideoQuality> quality_;
  std::unique_ptr<CursorMonitor> cursor_;
  std::unique_ptr<ControlDispatcher> dispatcher_;
  std::unique_ptr<PeerLink> link_;
  std::unique_ptr<Timer> memoryTimer_;
};

}  // namespace vantora
