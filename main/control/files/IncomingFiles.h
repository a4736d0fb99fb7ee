// The files that are being received.
#pragma once

#include <QString>
#include <functional>
#include <map>

#include "base/Json.h"
#include "main/control/ControlChannel.h"
#include "main/control/files/DownloadFile.h"

namespace vantora {

// One open transfer.
struct IncomingFile {
  QString url;            // Where the bytes are written.
  DownloadFile handle;    // Open for writing.
  qint64 expectedSize;    // As announced.
  qint64 received;        // Bytes written so far.
  QString name;           // As sent by the viewer.
  ControlChannel origin;  // Of the announcement.
  quint64 startedOn;      // The connection that announced it,
  quint64 usedOn;         // and the last one that sent data of it.
  quint64 serial;         // Grows from transfer to transfer.
};

// All open transfers, by the viewer's id. Lives across channels and connections: a transfer ends by "file_end", by
// being replaced or evicted, or with the process. Thread: all calls on one thread, the file queue's. Owner:
// FileReceiver.
class IncomingFiles {
 public:
  struct Surroundings {
    // The desktop's download folder, empty when it has none. Called at every start.
    std::function<QString()> downloadFolder;
    // Sends a message to the viewer; called on the thread of these calls.
    std::function<void(const ReplyAddress&, const JsonObject&)> reply;
  };
  // Maximum number of open transfers; each holds a file open. A further one ends the oldest transfer that another
  // connection used last or, if there is no such transfer, the oldest of all.
  static constexpr size_t kMaxOpen = 64;

  explicit IncomingFiles(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

  // Creates the file and replies "file_ready", then "file_renamed" if it has another name; a failure is only logged. A
  // transfer with the same id is dropped and its file left as it is. Beyond kMaxOpen an old transfer ends with
  // "file_rejected".
  void start(const ReplyAddress& sender, const QString& id, const QString& name, qint64 size);
  // Appends a piece in standard Base64; ignored when the id is unknown or `data` holds anything else. `connection`: the
  // one on which the piece arrived.
  void appendBase64(quint64 connection, const QString& id, const QString& data);
  // Appends a piece to a transfer of the newest connection that started one, of several to the one whose id sorts
  // first; ignored when no transfer is open. So a reloaded viewer does not write to the file of its earlier connection.
  void appendBinary(quint64 connection, const QByteArray& piece);
  // Closes the file and replies "file_saved" with the number of bytes written; ignored when the id is unknown.
  void end(const ReplyAddress& sender, const QString& id);
  // The disk was too slow: every transfer ends with "file_rejected" for the viewer of `connection`, and its file is
  // left incomplete. The name of a file that this connection did not use is left out.
  void abandonAll(quint64 connection);

 private:
  void makeRoom(quint64 connection);

  const Surroundings surroundings_;
  std::map<QString, IncomingFile> incomingFiles_;
  quint64 nextSerial_ = 0;
};

// "file_rejected".
JsonObject fileRejected(const QString& id, const QString& name, QLatin1StringView reason);

// Decodes standard Base64 (letters, digits, '+', '/', padded with '='); nullopt when `data` holds anything else,
// including blanks and line breaks. Pure.
std::optional<QByteArray> decodeStrictBase64(const QString& data);

// `preferred` when it is a folder or could be created, else the folder for temporary files.
QString usableDownloadFolder(const QString& preferred);

}  // namespace vantora
