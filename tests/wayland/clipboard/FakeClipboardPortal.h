// A portal of the test that has a clipboard, and another program that copies and pastes.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <map>

#include "base/process/FileDescriptor.h"

namespace vantora::testbus {

// On the bus from construction to destruction.
class FakeClipboardPortal final : public QDBusVirtualObject {
 public:
  explicit FakeClipboardPortal(const QDBusConnection& bus) : bus_(bus) {
    bus_.registerVirtualObject(path(), this);
    bus_.registerService(name());
  }
  ~FakeClipboardPortal() override {
    bus_.unregisterService(name());
    bus_.unregisterObject(path());
  }
  static QString name() { return QStringLiteral("org.freedesktop.portal.Desktop"); }
  static QString path() { return QStringLiteral("/org/freedesktop/portal/desktop"); }
  static QString session() { return path() + QStringLiteral("/session/1_7/vantora"); }

  // Another program copies; its text is written by `content` into the pipe of each reader.
  using Content = std::function<void(FileDescriptor pipe, const QString& format)>;
  void copy(const QStringList& formats, Content content, const QString& inSession = session()) {
    content_ = std::move(content);
    tellOwner(formats, false, inSession);
  }
  void copyText(const QByteArray& text, const QStringList& formats = {QStringLiteral("text/plain")}) {
    copy(formats, [text](const FileDescriptor& pipe, const QString&) {
      EXPECT_EQ(::write(pipe.get(), text.data(), static_cast<std::size_t>(text.size())), text.size());
    });
  }
  // Content of which no signal has told.
  void hold(Content content) { content_ = std::move(content); }
  void tellOwner(const QStringList& formats, bool sessionIsOwner, const QString& inSession = session()) {
    signal(QStringLiteral("SelectionOwnerChanged"),
           {QVariantMap{{QStringLiteral("mime_types"), formats}, {QStringLiteral("session_is_owner"), sessionIsOwner}}},
           inSession);
  }
  // Another program pastes; what it gets is in pasted().
  void paste(const QString& format, uint serial) {
    signal(QStringLiteral("SelectionTransfer"), {format, serial}, session());
  }
  void signal(const QString& member, const QVariantList& arguments, const QString& inSession) {
    QDBusMessage message =
        QDBusMessage::createSignal(path(), QStringLiteral("org.freedesktop.portal.Clipboard"), member);
    message.setArguments(QVariantList{QVariant::fromValue(QDBusObjectPath(inSession))} + arguments);
    bus_.send(message);
  }
  // What has arrived for the program that pastes with this serial.
  QByteArray pasted(uint serial) {
    const auto pipe = pipes_.find(serial);
    char piece[65536];
    ssize_t count = 0;
    while (pipe != pipes_.end() && (count = ::read(pipe->second.get(), piece, sizeof piece)) > 0) {
      pasted_[serial].append(piece, count);
    }
    return pasted_[serial];
  }

  // The programs that paste close their pipe.
  void stopPasting() { pipes_.clear(); }

  QStringList offered;             // The formats of the last selection.
  int selections = 0;              // Calls of SetSelection.
  QStringList readFormats;         // Of calls of SelectionRead.
  std::map<uint, bool> transfers;  // Ended ones: serial and success.
  bool tellsOwner = true;          // Sends the signal for a selection of the session.
  bool refusesSelections = false;
  bool silent = false;                // Replies to no call.
  QStringList refusedFormats;         // Reading these is an error.
  std::function<void()> beforeReply;  // Of SetSelection, after its signal.

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
    if (silent) return true;
    const QVariantList in = message.arguments();
    const QString member = message.member();
    EXPECT_EQ(in.value(0).value<QDBusObjectPath>().path(), session());
    if (member == QStringLiteral("SetSelection")) {
      ++selections;
      if (refusesSelections) return bus.send(message.createErrorReply(QDBusError::AccessDenied, QString()));
      offered = qdbus_cast<QVariantMap>(in.value(1)).value(QStringLiteral("mime_types")).toStringList();
      if (tellsOwner) tellOwner(offered, true);
      if (beforeReply) std::exchange(beforeReply, nullptr)();
      return bus.send(message.createReply());
    }
    if (member == QStringLiteral("SelectionRead")) {
      const QString format = in.value(1).toString();
      readFormats += format;
      if (!content_ || refusedFormats.contains(format)) {
        return bus.send(message.createErrorReply(QDBusError::Failed, QString()));
      }
      auto [out, into] = pipe();
      bus.send(message.createReply(QVariant::fromValue(QDBusUnixFileDescriptor(out.get()))));
      content_(std::move(into), format);
      return true;
    }
    if (member == QStringLiteral("SelectionWrite")) {
      auto [out, into] = pipe();
      ::fcntl(out.get(), F_SETFL, O_NONBLOCK);
      pipes_[in.value(1).toUInt()] = std::move(out);
      return bus.send(message.createReply(QVariant::fromValue(QDBusUnixFileDescriptor(into.get()))));
    }
    if (member == QStringLiteral("SelectionWriteDone")) {
      EXPECT_TRUE(transfers.emplace(in.value(1).toUInt(), in.value(2).toBool()).second);
      return bus.send(message.createReply());
    }
    return false;
  }

 private:
  static std::pair<FileDescriptor, FileDescriptor> pipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
  }

  QDBusConnection bus_;
  Content content_;
  std::map<uint, FileDescriptor> pipes_;
  std::map<uint, QByteArray> pasted_;
};

}  // namespace vantora::testbus
