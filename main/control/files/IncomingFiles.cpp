#include "main/control/files/IncomingFiles.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <tuple>

#include "base/Log.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void IncomingFiles::start(const ReplyAddress& sender, const QString& id, const QString& name, qint64 size) {
  auto created = createDownload(usableDownloadFolder(surroundings_.downloadFolder()), name);
  if (const auto* error = std::get_if<QString>(&created)) {
    logLine(u"[file] Failed to open file for writing: "_s + *error);
    return;
  }
  if (!incomingFiles_.contains(id)) makeRoom(sender.connection);
  auto& download = std::get<CreatedDownload>(created);
  incomingFiles_.insert_or_assign(id, IncomingFile{.url = QString::fromUtf8(download.path),
                                                   .handle = std::move(download.file),
                                                   .expectedSize = size,
                                                   .received = 0,
                                                   .name = name,
                                                   .origin = sender.origin,
                                                   .startedOn = sender.connection,
                                                   .usedOn = sender.connection,
                                                   .serial = nextSerial_++});
  logLine(u"[file] start id=%1 name=%2 size=%3"_s.arg(id, QString::fromUtf8(download.name), QString::number(size)));
  surroundings_.reply(sender, {{u"type"_s, u"file_ready"_s}, {u"id"_s, id}});
  if (const QString savedAs = QString::fromUtf8(download.name); savedAs != name) {
    surroundings_.reply(sender,
                        {{u"type"_s, u"file_renamed"_s}, {u"id"_s, id}, {u"name"_s, name}, {u"savedAs"_s, savedAs}});
  }
}

void IncomingFiles::makeRoom(quint64 connection) {
  if (incomingFiles_.size() < kMaxOpen) return;
  // A transfer of a closed connection may never be ended by a viewer.
  const auto oldest = std::ranges::min_element(incomingFiles_, {}, [connection](const auto& entry) {
    return std::tuple(entry.second.usedOn == connection, entry.second.serial);
  });
  const auto& [id, file] = *oldest;
  logLine(u"[file] too many open transfers, giving up id=%1"_s.arg(id));
  surroundings_.reply({.origin = file.origin, .connection = file.usedOn}, fileRejected(id, file.name, "too many"_L1));
  incomingFiles_.erase(oldest);
}

void IncomingFiles::appendBase64(quint64 connection, const QString& id, const QString& data) {
  const auto found = incomingFiles_.find(id);
  if (found == incomingFiles_.end()) return;
  found->second.usedOn = connection;
  if (const auto piece = decodeStrictBase64(data)) found->second.received += found->second.handle.append(*piece);
}

void IncomingFiles::appendBinary(quint64 connection, const QByteArray& piece) {
  if (incomingFiles_.empty()) return;
  // Among equal ones, the first in the map is taken.
  IncomingFile& file =
      std::ranges::max_element(incomingFiles_, {}, [](const auto& entry) { return entry.second.startedOn; })->second;
  file.usedOn = connection;
  file.received += file.handle.append(piece);
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

void IncomingFiles::abandonAll(quint64 connection) {
  for (const auto& [id, file] : std::exchange(incomingFiles_, {})) {
    logLine(u"[file] the disk is too slow, giving up id=%1"_s.arg(id));
    const QString name = file.usedOn == connection ? file.name : QString();
    surroundings_.reply({.origin = file.origin, .connection = connection}, fileRejected(id, name, "overloaded"_L1));
  }
}

JsonObject fileRejected(const QString& id, const QString& name, QLatin1StringView reason) {
  return {{u"type"_s, u"file_rejected"_s}, {u"id"_s, id}, {u"name"_s, name}, {u"reason"_s, QString(reason)}};
}

std::optional<QByteArray> decodeStrictBase64(const QString& data) {
  if (data.size() % 4 != 0) return std::nullopt;
  // Characters outside Latin-1 become '?', which is not Base64 either.
  auto decoded = QByteArray::fromBase64Encoding(data.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
  if (!decoded) return std::nullopt;
  return std::move(decoded.decoded);
}

QString usableDownloadFolder(const QString& preferred) {
  if (!preferred.isEmpty() && (QFileInfo(preferred).isDir() || QDir().mkpath(preferred))) return preferred;
  return QDir::tempPath();
}

}  // namespace vantora
