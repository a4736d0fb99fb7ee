// Files that the viewer sends.
#pragma once

#include "base/Lifetime.h"
#include "base/ThreadAffinity.h"
#include "main/control/ControlChannel.h"
#include "main/control/dispatch/ControlDispatcher.h"
#include "main/control/files/FileQueue.h"
#include "main/control/files/IncomingFiles.h"

namespace vantora {

// Knows whether files are allowed, and passes everything else to the file queue in the order of arrival. Thread: main.
// Owner: Host, across connections.
class FileReceiver {
 public:
  // Maximum bytes of file pieces that wait for the disk. When exceeded, every open transfer ends.
  static constexpr qint64 kMaxWaitingBytes = 64LL * 1024 * 1024;

  // `sender` must outlive this object. `downloadFolder`: see IncomingFiles; called on the queue's thread.
  FileReceiver(ControlSender& sender, std::function<QString()> downloadFolder,
               qint64 maxWaitingBytes = kMaxWaitingBytes);

  bool isFileReceiveAllowed() const { return allowIncomingFiles_; }
  // The local user's consent. Open transfers remain, but their messages that need the right are ignored without it.
  void setFileReceiveAllowed(bool allow);

  // Handlers: "file_start", "file_chunk" and "file_end" after the right was checked, "file_start" without the right,
  // and binary pieces, which need no right.
  Handled fileStart(const ControlRequest& request);
  Handled fileChunk(const ControlRequest& request);
  Handled fileEnd(const ControlRequest& request);
  void refuseFileStart(const ControlRequest& request);
  void binaryPiece(const QByteArray& piece);

 private:
  void postOrAbandon(qint64 bytes, FileQueue::Task task);
  ReplyAddress sender(const ControlRequest& request) const;

  ThreadAffinity affinity_;
  ControlSender& sender_;
  bool allowIncomingFiles_ = true;
  // The queue was full and no transfer was started since: no transfer is open to which a piece could belong.
  bool abandoned_ = false;
  Lifetime life_;                // For replies that come from the queue.
  IncomingFiles incomingFiles_;  // Used on the queue's thread only.
  FileQueue fileQueue_;          // Last: its thread uses the files.
};

// Installs the handlers of the file messages. `files` must outlive `dispatcher`. Main thread.
void bindFileMessages(ControlDispatcher& dispatcher, FileReceiver& files);

}  // namespace vantora
