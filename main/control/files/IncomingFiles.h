// The files that are being received.
#pragma once

#include <QString>
#include <functional>
#include <map>

#include "main/base/Json.h"
#include "main/control/ControlChannel.h"
#include "main/control/files/DownloadFile.h"

namespace vantora {

// One open transfer.
struct IncomingFile {
  QString url;          // Where the bytes are written.
  DownloadFile handle;  // Open for writing.
  qint64 expectedSize;  // As announced.
  qint64 received;      // Bytes written so far.
  QString name;         // As the viewer called it.
  ReplyAddress sender;
};

// All open transfers, by the viewer's id. Lives across channels and connections: a transfer ends by "file_end", by
// being replaced, or with the process. Thread: all calls on one thread, the file queue's. Owner: FileReceiver.
class IncomingFiles {
 public:
  struct Surroundings {
    // Where files go: the desktop's download folder, empty when it has none. Asked at every start.
    std::function<QString()> downloadFolder;
    // Sends a message to the viewer; called on the thread of these calls.
    std::function<void(const ReplyAddress&, const JsonObject&)> reply;
  };
  // Transfers that may be open at the same time; each holds a file open.
  static constexpr size_t kMaxOpen = 64;

  explicit IncomingFiles(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

  // Creates the file and answers "file_ready"; on failure only a log line says so. A transfer under the same id is
  // forgotten and its file left as it is. Beyond kMaxOpen: "file_rejected".
  void start(const ReplyAddress& sender, const QString& id, const QString& name, qint64 size);
  // Appends a piece in standard Base64; nothing when the id is unknown or `data` holds anything else.
  void appendBase64(const QString& id, const QString& data);
  // Appends a piece to the transfer whose id sorts first; nothing when none is open.
  void appendBinary(const QByteArray& piece);
  // Closes the file and answers "file_saved" with the bytes that arrived; nothing when the id is unknown.
  void end(const ReplyAddress& sender, const QString& id);
  // The disk did not keep up: every transfer ends with "file_rejected", and its file is left incomplete.
  void abandonAll();

 private:
  const Surroundings surroundings_;
  std::map<QString, IncomingFile> incomingFiles_;
};

// "file_rejected".
JsonObject fileRejected(const QString& id, const QString& name, QLatin1StringView reason);

// The bytes that `data` stands for in standard Base64 (letters, digits, '+', '/', padded with '='), or nothing when it
// holds anything else, blanks and line breaks included. Pure.
std::optional<QByteArray> decodeStrictBase64(const QString& data);

// `preferred` when it is a folder or one could be made there, else the folder for temporary files.
QString usableDownloadFolder(const QString& preferred);

}  // namespace vantora
