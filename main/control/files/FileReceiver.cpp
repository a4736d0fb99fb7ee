#include "main/control/files/FileReceiver.h"

#include "base/Log.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Bytes of a queued message besides its texts.
constexpr qint64 kOverhead = 512;

qint64 bytesOf(const QString& text) { return text.size() * static_cast<qint64>(sizeof(QChar)); }

}  // namespace

FileReceiver::FileReceiver(ControlSender& sender, std::function<QString()> downloadFolder, qint64 maxWaitingBytes)
    : sender_(sender),
      incomingFiles_({.downloadFolder = std::move(downloadFolder),
                      .reply = life_.onMain(
                          [this](const ReplyAddress& to, const JsonObject& message) { sender_.reply(to, message); })}),
      fileQueue_(maxWaitingBytes) {}

void FileReceiver::setFileReceiveAllowed(bool allow) {
  affinity_.check("FileReceiver::setFileReceiveAllowed");
  allowIncomingFiles_ = allow;
  logLine(u"[file] allow incoming files = "_s + (allow ? u"true"_s : u"false"_s));
}

ReplyAddress FileReceiver::sender(const ControlRequest& request) const {
  return {.origin = request.origin, .connection = sender_.connection()};
}

Handled FileReceiver::fileStart(const ControlRequest& request) {
  affinity_.check("FileReceiver::fileStart");
  const auto id = stringField(request.body, "id"_L1);
  const auto name = stringField(request.body, "name"_L1);
  const auto size = integerField(request.body, "size"_L1);
  if (!id || !name || !size) return Handled::ignored;
  const bool queued = fileQueue_.post(kOverhead + bytesOf(*id) + bytesOf(*name),
                                      [this, from = sender(request), id = *id, name = *name, size = *size] {
                                        incomingFiles_.start(from, id, name, size);
                                      });
  if (queued) {
    abandoned_ = false;
  } else {
    sender_.reply(request.origin, fileRejected(*id, *name, "overloaded"_L1));
  }
  return Handled::yes;
}

Handled FileReceiver::fileChunk(const ControlRequest& request) {
  const auto id = stringField(request.body, "id"_L1);
  const auto data = stringField(request.body, "data"_L1);
  if (!id || !data) return Handled::ignored;
  postOrAbandon(bytesOf(*id) + bytesOf(*data), [this, connection = sender_.connection(), id = *id, data = *data] {
    incomingFiles_.appendBase64(connection, id, data);
  });
  return Handled::yes;
}

void FileReceiver::binaryPiece(const QByteArray& piece) {
  postOrAbandon(piece.size(),
                [this, connection = sender_.connection(), piece] { incomingFiles_.appendBinary(connection, piece); });
}

Handled FileReceiver::fileEnd(const ControlRequest& request) {
  const auto id = stringField(request.body, "id"_L1);
  if (!id) return Handled::ignored;
  postOrAbandon(bytesOf(*id), [this, from = sender(request), id = *id] { incomingFiles_.end(from, id); });
  return Handled::yes;
}

void FileReceiver::refuseFileStart(const ControlRequest& request) {
  sender_.reply(request.origin, fileRejected(stringField(request.body, "id"_L1).value_or(QString()),
                                             stringField(request.body, "name"_L1).value_or(QString()), "disabled"_L1));
}

void FileReceiver::postOrAbandon(qint64 bytes, FileQueue::Task task) {
  affinity_.check("FileReceiver::postOrAbandon");
  if (abandoned_ || fileQueue_.post(kOverhead + bytes, std::move(task))) return;
  abandoned_ = true;
  fileQueue_.postAlways([this, connection = sender_.connection()] { incomingFiles_.abandonAll(connection); });
}

void bindFileMessages(ControlDispatcher& dispatcher, FileReceiver& files) {
  dispatcher.on("file_start"_L1, [&files](const ControlRequest& request) { return files.fileStart(request); });
  dispatcher.on("file_chunk"_L1, [&files](const ControlRequest& request) { return files.fileChunk(request); });
  dispatcher.on("file_end"_L1, [&files](const ControlRequest& request) { return files.fileEnd(request); });
  dispatcher.onRefused("file_start"_L1, [&files](const ControlRequest& request) { files.refuseFileStart(request); });
  dispatcher.onBinary([&files](const QByteArray& piece) { files.binaryPiece(piece); });
}

}  // namespace vantora
