#include "platform/portal/clipboard/PortalClipboard.h"

#include <fcntl.h>

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <algorithm>
#include <utility>

#include "base/Characters.h"
#include "base/ThreadAffinity.h"
#include "base/dbus/DBusCall.h"
#include "base/dbus/DBusSignal.h"
#include "platform/TextPipes.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

const QString& objectPath() {
  static const QString path = u"/org/freedesktop/portal/desktop"_s;
  return path;
}

const QString& interfaceName() {
  static const QString name = u"org.freedesktop.portal.Clipboard"_s;
  return name;
}

// The formats in a report; nullopt when it has none. Some portals wrap the list in a structure.
std::optional<QStringList> formatsIn(const QVariantMap& report) {
  const QVariant value = report.value(u"mime_types"_s);
  if (value.metaType() == QMetaType::fromType<QStringList>()) return value.toStringList();
  if (value.metaType() != QMetaType::fromType<QDBusArgument>()) return std::nullopt;
  const auto argument = value.value<QDBusArgument>();
  QStringList formats;
  if (argument.currentSignature() == "as"_L1) {
    argument >> formats;
  } else if (argument.currentSignature() == "(as)"_L1) {
    argument.beginStructure();
    argument >> formats;
    argument.endStructure();
  } else {
    return std::nullopt;
  }
  return formats;
}

FileDescriptor descriptorIn(const QDBusMessage& reply) {
  if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return FileDescriptor();
  const auto descriptor = reply.arguments().constFirst().value<QDBusUnixFileDescriptor>();
  return FileDescriptor(descriptor.isValid() ? ::fcntl(descriptor.fileDescriptor(), F_DUPFD_CLOEXEC, 0) : -1);
}

class DBusPortalClipboard final : public PortalClipboard {
 public:
  DBusPortalClipboard(const QDBusConnection& bus, QString service, std::chrono::milliseconds timeout)
      : bus_(bus),
        service_(std::move(service)),
        timeout_(timeout),
        ownerChanged_(bus, objectPath(), interfaceName(), u"SelectionOwnerChanged"_s,
                      [this](const QDBusMessage& message) { ownerChanged(message); }),
        transferWanted_(bus, objectPath(), interfaceName(), u"SelectionTransfer"_s,
                        [this](const QDBusMessage& message) { transferWanted(message); }) {}

  void setSession(const QString& sessionPath) override {
    affinity_.check("PortalClipboard::setSession");
    if (sessionPath == session_) return;
    session_ = sessionPath;
    ours_ = false;
    offered_.clear();
    formats_.reset();
    readings_.failAll();
    asking_ = false;
    ++calls_;
    ++sessions_;
    transfers_ = 0;
    if (const auto done = std::exchange(done_, nullptr)) done(changeCount_);
  }

  bool shared() const override { return !session_.isEmpty(); }
  void setInterestHandler(std::function<void(Interest)> handler) override { interest_ = std::move(handler); }
  qint64 changeCount() const override { return changeCount_; }
  void setChangedHandler(std::function<void()> handler) override { changed_ = std::move(handler); }

  void setText(const QString& text, std::function<void(qint64)> done) override {
    affinity_.check("PortalClipboard::setText");
    if (session_.isEmpty() || utf8Length(text) > kMaxTextBytes) return done(changeCount_);
    const auto before = std::exchange(done_, std::move(done));
    wanted_ = text;
    // The content is requested later: a call under way sets the newer text as well.
    if (!asking_) askForSelection();
    if (before) before(changeCount_);  // Never set: replaced by this text.
  }

  void requestText(TextCallback done) override {
    affinity_.check("PortalClipboard::requestText");
    readings_.add([this, done = std::move(done)](ClipboardReading reading) {
      reading.confidential =
          reading.text && !ours_ && formats_ && formats_->contains(QLatin1StringView(kConfidentialFormat));
      done(reading);
    });
  }

 private:
  QDBusMessage callTo(const QString& method, const QVariantList& arguments) const {
    QDBusMessage call = QDBusMessage::createMethodCall(service_, objectPath(), interfaceName(), method);
    call.setArguments(QVariantList{QVariant::fromValue(QDBusObjectPath(session_))} + arguments);
    return call;
  }

  bool isOurs(const QVariant& session) const {
    return !session_.isEmpty() && session.value<QDBusObjectPath>().path() == session_;
  }

  void askForSelection() {
    asking_ = true;
    callDBus(
        bus_, callTo(u"SetSelection"_s, {QVariantMap{{u"mime_types"_s, textFormats()}}}), &context_,
        [this, call = ++calls_](const QDBusMessage& reply) {
          if (call != calls_ || !std::exchange(asking_, false)) return;
          if (reply.type() == QDBusMessage::ReplyMessage) return stored();
          if (const auto done = std::exchange(done_, nullptr)) done(changeCount_);
        },
        static_cast<int>(timeout_.count()));
  }

  void stored() {
    ours_ = true;
    offered_ = wanted_;
    if (const auto done = std::exchange(done_, nullptr)) done(++changeCount_);
  }

  void ownerChanged(const QDBusMessage& message) {
    const QVariantList arguments = message.arguments();
    if (message.signature() != "oa{sv}"_L1 || !isOurs(arguments[0])) return;
    const auto report = qdbus_cast<QVariantMap>(arguments[1]);
    formats_ = formatsIn(report);
    if (report.value(u"session_is_owner"_s).toBool()) {
      ours_ = true;
      // Before its reply, which a later copy by another program may precede.
      if (std::exchange(asking_, false)) stored();
      return;
    }
    ours_ = false;
    ++changeCount_;
    if (changed_) changed_();
  }

  void beginReading(quint64 turn) {
    if (session_.isEmpty()) return readings_.finish(turn, {});
    if (ours_) return readings_.finish(turn, {.text = offered_});
    QStringList formats;
    for (const QString& format : textFormats()) {
      if (!formats_ || formats_->contains(format)) formats += format;
    }
    // The portal names no formats until the first change.
    tryFormats(turn, formats, !formats_ || formats.isEmpty());
  }

  // `noneIsEmpty`: that no format can be read means that the clipboard has no text.
  void tryFormats(quint64 turn, QStringList formats, bool noneIsEmpty) {
    if (!readings_.isCurrent(turn)) return;
    if (formats.isEmpty()) {
      const bool other = formats_ && !formats_->isEmpty();
      return readings_.finish(turn,
                              {.text = noneIsEmpty ? std::optional(QString()) : std::nullopt, .otherContent = other});
    }
    const QString format = formats.takeFirst();
    callDBus(
        bus_, callTo(u"SelectionRead"_s, {format}), &context_,
        [this, turn, format, formats, noneIsEmpty](const QDBusMessage& reply) {
          FileDescriptor pipe = descriptorIn(reply);
          if (pipe.get() < 0) return tryFormats(turn, formats, noneIsEmpty);
          readings_.read(turn, std::move(pipe), format);
        },
        static_cast<int>(timeout_.count()));
  }

  void transferWanted(const QDBusMessage& message) {
    const QVariantList arguments = message.arguments();
    if (message.signature() != "osu"_L1 || !isOurs(arguments[0])) return;
    const QString format = arguments[1].toString();
    const uint serial = arguments[2].toUInt();
    // A program may want a text of which the portal has not told yet that it is set.
    const bool offering = ours_ || asking_;
    if (!offering || !textFormats().contains(format) || transfers_ >= TextWritings::kMaxAtOnce) {
      return transferDone(serial, false);
    }
    ++transfers_;
    callDBus(
        bus_, callTo(u"SelectionWrite"_s, {serial}), &context_,
        [this, serial, session = sessions_,
         bytes = encodedText(asking_ ? wanted_ : offered_, format)](const QDBusMessage& reply) {
          writings_.add(descriptorIn(reply), bytes, [this, serial, session](bool whole) {
            if (session != sessions_) return;
            --transfers_;
            transferDone(serial, whole);
            if (whole && interest_) interest_(Interest::text);
          });
        },
        static_cast<int>(timeout_.count()));
  }

  void transferDone(uint serial, bool whole) {
    callDBus(
        bus_, callTo(u"SelectionWriteDone"_s, {serial, whole}), &context_, [](const QDBusMessage&) {},
        static_cast<int>(timeout_.count()));
  }

  ThreadAffinity affinity_;
  QDBusConnection bus_;
  const QString service_;
  const std::chrono::milliseconds timeout_;  // Of a call, and of a whole reading.
  QObject context_;
  QString session_;
  quint64 sessions_ = 0;
  std::function<void()> changed_;
  std::function<void(Interest)> interest_;
  qint64 changeCount_ = 0;
  bool ours_ = false;                   // The clipboard holds `offered_`.
  std::optional<QStringList> formats_;  // Of its content, if known.
  QString offered_;
  // The text to set, while `done_` is not empty.
  QString wanted_;
  std::function<void(qint64)> done_;
  bool asking_ = false;  // For the selection.
  quint64 calls_ = 0;
  std::size_t transfers_ = 0;
  TextReadings readings_{[this](quint64 turn) { beginReading(turn); }, {.timeout = timeout_}};
  TextWritings writings_;
  // Last: they end first.
  DBusSignal ownerChanged_;
  DBusSignal transferWanted_;
};

}  // namespace

std::unique_ptr<PortalClipboard> makePortalClipboard(const QDBusConnection& bus, const QString& service,
                                                     std::chrono::milliseconds timeout) {
  return std::make_unique<DBusPortalClipboard>(bus, service, timeout);
}

}  // namespace vantora
