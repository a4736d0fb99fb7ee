#include "main/control/files/IncomingFiles.h"

#include <QDir>
#include <QFileInfo>

#include "main/base/Log.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void IncomingFiles::start(const ReplyAddress& sender, const QString& id, const QString& name, qint64 size) {
  if (incomingFiles_.size() >= kMaxOpen && !incomingFiles_.contains(id)) {
    surroundings_.reply(sender, fileRejected(id, name, "too many"_L1));
    return;
  }
  auto created = createDownload(usableDownloadFolder(surroundings_.downloadFolder()), name);
  if (const auto* error = std::get_if<QString>(&created)) {
    logLine(u"[file] Failed to open file for writing: "_s + *error);
    return;
  }
  auto& download = std::get<CreatedDownload>(created);
  incomingFiles_.insert_or_assign(id, IncomingFile{.url = QString::fromUtf8(download.path),
                                                   .handle = std::move(download.file),
                                                   .expectedSize = size,
                                                   .received = 0,
                                                   .name = name,
                                                   .sender = sender});
  logLine(u"[file] start id=%1 name=%2 size=%3"_s.arg(id, QString::fromUtf8(download.name), QString::number(size)));
  surroundings_.reply(sender, {{u"type"_s, u"file_ready"_s}, {u"id"_s, id}});
}

void IncomingFiles::appendBase64(const QString& id, const QString& data) {
  const auto found = incomingFiles_.find(id);
  if (found == incomingFiles_.end()) return;
  if (const auto piece = decodeStrictBase64(data)) found->second.received += found->second.handle.append(*piece);
}

void IncomingFiles::appendBinary(const QByteArray& piece) {
  if (incomingFiles_.empty()) return;
  IncomingFile& first = incomingFiles_.begin()->second;
  first.received += first.handle.append(piece);
}

void IncomingFiles::end(const ReplyAddress& sender, const QString& id) {
  auto node = incomingFiles_.extract(id);
  if (!node) return;
  IncomingFile& file = node.mapped();
  file.handle.finish();
  logLine(
      u"[file] saved %1 (%2/%3)"_s.arg(file.name, QString::number(file.received), QString::number(file.expectedSize)));
  surroundings_.reply(
      sender, {{u"type"_s, u"file_saved"_s}, {u"id"_s, id}, {u"name"_s, file.name}, {u"size"_s, file.received}});
}

void IncomingFiles::abandonAll() {
  for (const auto& [id, file] : std::exchange(incomingFiles_, {})) {
    logLine(u"[file] the disk is too slow, giving up id=%1"_s.arg(id));
    surroundings_.reply(file.sender, fileRejected(id, file.name, "overloaded"_L1));
  }
}

JsonObject fileRejected(const QString& id, const QString& name, QLatin1StringView reason) {
  return {{u"type"_s, u"file_rejected"_s}, {u"id"_s, id}, {u"name"_s, name}, {u"reason"_s, QString(reason)}};
}

std::optional<QByteArray> decodeStrictBase64(const QString& data) {
  if (data.size() % 4 != 0) return std::nullopt;
  // What is not Latin-1 becomes '?', which is no Base64 either.
  auto decoded = QByteArray::fromBase64Encoding(data.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
  if (!decoded) return std::nullopt;
  return std::move(decoded.decoded);
}

QString usableDownloadFolder(const QString& preferred) {
  if (!preferred.isEmpty() && (QFileInfo(preferred).isDir() || QDir().mkpath(preferred))) return preferred;
  return QDir::tempPath();
}

}  // namespace vantora
