// The viewer's end of a connection, over the WebRTC library, in the test's own process.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

#include "main/rtc/PeerConnection.h"

namespace vantora {

// A channel that the host opened, as the viewer sees it.
struct SeenChannel {
  QString label;
  bool ordered = false;
  std::optional<int> maxPacketLifeTimeMs;
  std::optional<int> maxRetransmits;
  bool open = false;
  bool operator==(const SeenChannel&) const = default;
};

// Answers offers, receives video, stores the messages of the channels. Thread: main; callbacks are called there too,
// never after the object was destroyed. Its library threads are separate from those of the host's side.
class ViewerPeer {
 public:
  ViewerPeer();
  ~ViewerPeer();
  ViewerPeer(const ViewerPeer&) = delete;
  ViewerPeer& operator=(const ViewerPeer&) = delete;

  // Called for each candidate of this side.
  void onCandidate(std::function<void(const IceCandidate&)> handler);
  // Answers `offer`; `done` gets the text of the answer, empty when the library refused.
  void answer(const QString& offer, std::function<void(const QString& sdp)> done);
  // A candidate of the host; ignored when the library cannot read it.
  void addCandidate(const IceCandidate& candidate);

  // Closes the newest channel with this label.
  void closeChannel(const QString& label);
  // Opens a channel of this side's own.
  void openChannel(const QString& label);

  QList<SeenChannel> channels() const;
  // States of the newest channel with this label.
  bool isOpen(const QString& label) const;
  bool isClosed(const QString& label) const;
  // Sends on the newest channel with this label. False when that is not open or refuses.
  bool send(const QString& label, const QByteArray& data, bool binary = false);
  quint64 bufferedAmount(const QString& label) const;
  // Until the returned object is released, this side neither reads from the network nor writes to it. Meanwhile only
  // received(), frames() and lastFrameSize() may be called.
  [[nodiscard]] std::shared_ptr<void> holdNetwork();
  // Messages received on channels with this label.
  QList<QByteArray> received(const QString& label) const;
  // Frames decoded so far, and the size of the last one.
  int frames() const;
  QString lastFrameSize() const;

 private:
  class Side;
  std::shared_ptr<Side> side_;
};

}  // namespace vantora
