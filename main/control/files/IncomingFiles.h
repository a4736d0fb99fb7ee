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
  QString name;           // As the viewer called it.
  ControlChannel origin;  // Of the announcement.
  quint64 startedOn;      // The connection that announced it,
  quint64 usedOn;         // and the one that sent something of it last.
  quint64 serial;         // Grows from transfer to transfer.
};

// All open transfers, by the viewer's id. Lives across channels and connections: a transfer ends by "file_end", by
// being replaced or crowded out, or with the process. Thread: all calls on one thread, the file queue's. Owner:
// FileReceiver.
class IncomingFiles {
 public:
  struct Surroundings {
    // Where files go: the desktop's download folder, empty when it has none. Asked at every start.
    std::function<QString()> downloadFolder;
    // Sends a message to the viewer; called on the thread of these calls.
    std::function<void(const ReplyAddress&, const JsonObject&)> reply;
  };
  // Transfers that may be open at the same time; each holds a file open. One more ends the oldest one that
  // another connection used last, or, where there is none, the oldest of all.
  static constexpr size_t kMaxOpen = 64;

  explicit IncomingFiles(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

  // Creates the file and answers "file_ready"; on failure only a log line says so. A transfer under the same id is
  // forgotten and its file left as it is. Beyond kMaxOpen an old transfer ends with "file_rejected".
  void start(const ReplyAddress& sender, const QString& id, const QString& name, qint64 size);
  // Appends a piece in standard Base64; nothing when the id is unknown or `data` holds anything else. `connection`: the
  // one that the piece came on.
  void appendBase64(quint64 connection, const QString& id, const QString& data);
  // Appends a piece to a transfer of the newest connection that started one, to the one whose id sorts first; nothing
  // when none is open. So a viewer that was reloaded does not fill the file it left behind.
  void appendBinary(quint64 connection, const QByteArray& piece);
  // Closes the file and answers "file_saved" with the bytes that arrived; nothing when the id is unknown.
  void end(const ReplyAddress& sender, const QString& id);
  // The disk did not keep up: every transfer ends with "file_rejected" for the viewer of `connection`, and its file is
  // left incomplete. The name of a file that this connection had nothing to do with is left out.
  void abandonAll(quint64 connection);

 private:
  void makeRoom(quint64 connection);

  const Surroundings surroundings_;
  std::map<QString, IncomingFile> incomingFiles_;
  quint64 nextSerial_ = 0;
};

// "file_rejected".
JsonObject fileRejected(const QString& id, const QString& name, QLatin1StringView reason);

// The bytes that `data` stands for in standard Base64 (letters, digits, '+', '/', padded with '='), or nothing when it
// holds anything else, blanks and line breaks included. Pure.
std::optional<QByteArray> decodeStrictBase64(const QString& data);

// `preferred` when it is a folder or one could be made there, else the folder for temporary files.
QString usableDownloadFolder(const QString& preferred);

}  // namespace vantora
