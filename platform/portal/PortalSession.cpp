#include "platform/portal/PortalSession.h"

#include <fcntl.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QTimer>
#include <utility>

#include "base/dbus/DBusCall.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

// Values of the portals' interfaces.
constexpr uint kKeyboard = 1;
constexpr uint kPointer = 2;
constexpr uint kMonitor = 1;
constexpr uint kCursorHidden = 1;
constexpr uint kCursorMetadata = 4;
constexpr uint kUntilRevoked = 2;

// The first version that restores an earlier consent; older ones lack half of what is used here.
constexpr uint kScreenCastNeeded = 4;
constexpr uint kRemoteDesktopRestores = 2;
constexpr uint kRemoteDesktopHasEis = 2;

constexpr std::size_t kMaxStreams = 16;

template <typename Pair>
std::optional<Pair> pairIn(const QVariantMap& properties, const QString& name) {
  const auto found = properties.constFind(name);
  if (found == properties.cend() || !found->canConvert<QDBusArgument>()) return std::nullopt;
  const auto argument = found->value<QDBusArgument>();
  if (argument.currentSignature() != "(ii)"_L1) return std::nullopt;
  int first = 0;
  int second = 0;
  argument.beginStructure();
  argument >> first >> second;
  argument.endStructure();
  return Pair(first, second);
}

std::vector<PortalStream> streamsIn(const QVariantMap& results) {
  std::vector<PortalStream> streams;
  const QVariant value = results.value(u"streams"_s);
  if (!value.canConvert<QDBusArgument>()) return streams;
  const auto argument = value.value<QDBusArgument>();
  if (argument.currentSignature() != "a(ua{sv})"_L1) return streams;
  argument.beginArray();
  while (!argument.atEnd()) {
    PortalStream stream;
    QVariantMap properties;
    argument.beginStructure();
    argument >> stream.node >> properties;
    argument.endStructure();
    stream.position = pairIn<QPoint>(properties, u"position"_s);
    stream.mapping = properties.value(u"mapping_id"_s).toString();
    stream.size = pairIn<QSize>(properties, u"size"_s);
    if (stream.size && stream.size->isEmpty()) stream.size.reset();
    if (streams.size() < kMaxStreams) streams.push_back(stream);
  }
  argument.endArray();
  return streams;
}

}  // namespace

PortalSession::PortalSession(QString busAddress, RestoreTokens tokens, std::function<void()> changed,
                             std::chrono::milliseconds stepTimeout)
    : busAddress_(std::move(busAddress)),
      tokens_(std::move(tokens)),
      changed_(std::move(changed)),
      stepTimeout_(stepTimeout),
      bus_(QString()) {}

PortalSession::~PortalSession() {
  endSession();
  disconnect();
}

void PortalSession::start() {
  if (state_ == State::preparing || state_ == State::asking || state_ == State::granted) return;
  if (!bus_.isConnected()) connect();
  attempt_ = std::make_unique<Attempt>();
  reason_.clear();
  state_ = State::preparing;
  if (!bus_.isConnected()) {
    QTimer::singleShot(0, &attempt_->context, [this] { refuse(u"there is no session bus"_s); });
    return;
  }
  attempt_->disconnected = std::make_unique<DBusSignal>(
      bus_, u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s,
      [this](const QDBusMessage&) { desktopEnded(u"the session bus has ended"_s); });
  askVersions();
}

void PortalSession::connect() {
  static int count = 0;
  disconnect();
  bus_ = QDBusConnection::connectToBus(busAddress_, u"vantora-portal-%1"_s.arg(++count));
}

void PortalSession::disconnect() {
  // Without a connection there is not even the toolkit's thread for them.
  if (!bus_.name().isEmpty()) QDBusConnection::disconnectFromBus(bus_.name());
}

void PortalSession::close() {
  endSession();
  attempt_.reset();
  grant_ = {};
  path_.clear();
  state_ = State::idle;
}

void PortalSession::endSession() {
  if (!attempt_ || attempt_->sessionPath.isEmpty() || !bus_.isConnected()) return;
  attempt_->request.reset();
  bus_.send(QDBusMessage::createMethodCall(portal::kService, attempt_->sessionPath, portal::kSession, u"Close"_s));
}

void PortalSession::setState(State state) {
  if (std::exchange(state_, state) != state) changed_();
}

void PortalSession::refuse(const QString& reason) {
  endSession();
  attempt_.reset();
  reason_ = reason;
  setState(State::refused);
}

// Portals refuse what is no token of theirs, such as one of a damaged file.
void PortalSession::startWithoutToken() {
  tokens_.write(tokenKind(), QString());
  close();
  start();
}

void PortalSession::end(const QString& reason) {
  if (state_ != State::granted) return;
  endSession();
  desktopEnded(reason);
}

// Later: called within signals that belong to the attempt.
void PortalSession::desktopEnded(const QString& reason) {
  QTimer::singleShot(0, &attempt_->context, [this, reason] {
    const bool wasGranted = state_ == State::granted;
    attempt_.reset();
    grant_ = {};
    path_.clear();
    reason_ = reason;
    setState(wasGranted ? State::closed : State::refused);
  });
}

void PortalSession::askVersions() {
  const QStringList interfaces = {portal::kScreenCast, portal::kRemoteDesktop, portal::kClipboard};
  attempt_->propertiesMissing = static_cast<int>(interfaces.size());
  for (const QString& interface : interfaces) {
    QDBusMessage call = QDBusMessage::createMethodCall(portal::kService, portal::kPath,
                                                       u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s);
    call.setArguments({interface});
    callDBus(
        bus_, call, &attempt_->context,
        [this, interface](const QDBusMessage& reply) {
          // An interface that the portal lacks is an error, or has no properties.
          if (reply.type() == QDBusMessage::ReplyMessage && reply.signature() == "a{sv}"_L1)
            readProperties(interface, qdbus_cast<QVariantMap>(reply.arguments().constFirst()));
          if (reply.errorName() == "org.freedesktop.DBus.Error.ServiceUnknown"_L1) attempt_->portalMissing = true;
          if (--attempt_->propertiesMissing == 0) createSession();
        },
        static_cast<int>(stepTimeout_.count()));
  }
}

void PortalSession::readProperties(const QString& interface, const QVariantMap& properties) {
  Versions& versions = attempt_->versions;
  const uint version = properties.value(u"version"_s).toUInt();
  if (interface == portal::kScreenCast) {
    versions.screenCast = version;
    versions.cursorModes = properties.value(u"AvailableCursorModes"_s).toUInt();
  } else if (interface == portal::kRemoteDesktop) {
    versions.remoteDesktop = version;
    versions.deviceTypes = properties.value(u"AvailableDeviceTypes"_s).toUInt() & (kKeyboard | kPointer);
  } else {
    versions.clipboard = version;
  }
}

QString PortalSession::mainInterface() const {
  return attempt_->versions.remoteDesktop > 0 ? portal::kRemoteDesktop : portal::kScreenCast;
}

RestoreTokens::Kind PortalSession::tokenKind() const {
  return attempt_->versions.remoteDesktop > 0 ? RestoreTokens::Kind::control : RestoreTokens::Kind::view;
}

// One call; the session is refused unless it succeeds.
void PortalSession::step(const QString& interface, const QString& method, const QVariantList& arguments,
                         const QVariantMap& options, std::function<void(const QVariantMap&)> next) {
  attempt_->request = std::make_unique<PortalRequest>(
      bus_, interface, method, arguments, options, stepTimeout_,
      [this, method, next = std::move(next)](const PortalResponse& response) {
        if (response.outcome == PortalResponse::Outcome::success) return next(response.results);
        if (attempt_->withToken) return startWithoutToken();
        refuse(u"%1: %2"_s.arg(method, response.error.isEmpty() ? u"cancelled"_s : response.error));
      });
}

void PortalSession::createSession() {
  Versions& versions = attempt_->versions;
  // Without a device it is of no use.
  if (versions.deviceTypes == 0) versions.remoteDesktop = 0;
  if (attempt_->portalMissing) return refuse(u"no desktop portal is running"_s);
  if (versions.screenCast < kScreenCastNeeded) {
    return refuse(versions.screenCast == 0
                      ? u"the desktop's portal offers no screen sharing"_s
                      : u"the desktop's portal is too old (ScreenCast %1)"_s.arg(versions.screenCast));
  }
  attempt_->portal = std::make_unique<DBusNameWatcher>(bus_, portal::kService, [this](bool present) {
    // A second report of a portal that is present is one that was started again.
    if (!present || std::exchange(attempt_->portalSeen, true)) desktopEnded(u"the desktop's portal has ended"_s);
  });
  const QString token = portal::freshToken();
  watchSession(portal::objectPath(bus_, u"session"_s, token));
  step(mainInterface(), u"CreateSession"_s, {}, {{u"session_handle_token"_s, token}},
       [this](const QVariantMap& results) {
         const QString path = results.value(u"session_handle"_s).toString();
         if (!path.isEmpty() && path != attempt_->sessionPath) watchSession(path);
         if (attempt_->versions.remoteDesktop > 0) {
           selectDevices();
         } else {
           selectSources();
         }
       });
}

void PortalSession::watchSession(const QString& path) {
  attempt_->sessionPath = path;
  attempt_->closed = std::make_unique<DBusSignal>(
      bus_, path, portal::kSession, u"Closed"_s,
      [this](const QDBusMessage&) { desktopEnded(u"the desktop has ended the session"_s); });
}

void PortalSession::addToken(QVariantMap& options) {
  if (!tokens_.areKept()) return;
  options.insert(u"persist_mode"_s, kUntilRevoked);
  const QString token = tokens_.read(tokenKind());
  attempt_->withToken = !token.isEmpty();
  if (attempt_->withToken) options.insert(u"restore_token"_s, token);
}

void PortalSession::selectDevices() {
  QVariantMap options{{u"types"_s, attempt_->versions.deviceTypes}};
  if (attempt_->versions.remoteDesktop >= kRemoteDesktopRestores) addToken(options);
  step(portal::kRemoteDesktop, u"SelectDevices"_s, {QVariant::fromValue(QDBusObjectPath(attempt_->sessionPath))},
       options, [this](const QVariantMap&) {
         requestClipboard();
         selectSources();
       });
}

// The reply says nothing: whether there is a clipboard is known when the session has started.
void PortalSession::requestClipboard() {
  if (attempt_->versions.clipboard == 0) return;
  QDBusMessage call =
      QDBusMessage::createMethodCall(portal::kService, portal::kPath, portal::kClipboard, u"RequestClipboard"_s);
  call.setArguments({QVariant::fromValue(QDBusObjectPath(attempt_->sessionPath)), QVariantMap()});
  bus_.send(call);
}

void PortalSession::selectSources() {
  const bool metadata = (attempt_->versions.cursorModes & kCursorMetadata) != 0;
  QVariantMap options{
      {u"types"_s, kMonitor}, {u"multiple"_s, true}, {u"cursor_mode"_s, metadata ? kCursorMetadata : kCursorHidden}};
  // Within a session of RemoteDesktop the streams are restored with it.
  if (attempt_->versions.remoteDesktop == 0) addToken(options);
  step(portal::kScreenCast, u"SelectSources"_s, {QVariant::fromValue(QDBusObjectPath(attempt_->sessionPath))}, options,
       [this](const QVariantMap&) { askUser(); });
}

void PortalSession::askUser() {
  // Without a parent window: the portal's dialog stands by itself.
  attempt_->request = std::make_unique<PortalRequest>(
      bus_, mainInterface(), u"Start"_s,
      QVariantList{QVariant::fromValue(QDBusObjectPath(attempt_->sessionPath)), QString()}, QVariantMap(), 0s,
      [this](const PortalResponse& response) {
        switch (response.outcome) {
          case PortalResponse::Outcome::success:
            return granted(response.results);
          case PortalResponse::Outcome::cancelled:
            return refuse(u"the user refused to share the screen"_s);
          case PortalResponse::Outcome::failed:
            return refuse(response.error);
        }
      });
  if (!attempt_->withToken) return setState(State::asking);
  // A stored consent is restored without a question, unless it was revoked.
  QTimer::singleShot(kRestoreTime, &attempt_->context, [this] {
    if (state_ == State::preparing) setState(State::asking);
  });
}

void PortalSession::granted(const QVariantMap& results) {
  const uint devices = results.value(u"devices"_s).toUInt();
  grant_ = {.streams = streamsIn(results),
            .inputOffered = attempt_->versions.remoteDesktop > 0,
            .pointer = (devices & kPointer) != 0,
            .keyboard = (devices & kKeyboard) != 0,
            .eis = attempt_->versions.remoteDesktop >= kRemoteDesktopHasEis,
            .clipboard = results.value(u"clipboard_enabled"_s).toBool()};
  if (grant_.streams.empty()) {
    grant_ = {};
    return refuse(u"the user shares no screen"_s);
  }
  path_ = attempt_->sessionPath;
  attempt_->request.reset();
  // A stored consent to the picture alone would refuse control for ever, without a question.
  const bool worthKeeping = grant_.control() || !grant_.inputOffered;
  tokens_.write(tokenKind(), worthKeeping ? results.value(u"restore_token"_s).toString() : QString());
  setState(State::granted);
}

void PortalSession::openRemote(DescriptorCallback done) {
  openDescriptor(portal::kScreenCast, u"OpenPipeWireRemote"_s, std::move(done));
}

void PortalSession::connectToEis(DescriptorCallback done) {
  openDescriptor(portal::kRemoteDesktop, u"ConnectToEIS"_s, std::move(done));
}

void PortalSession::openDescriptor(const QString& interface, const QString& method, DescriptorCallback done) {
  if (state_ != State::granted) return;
  QDBusMessage call = QDBusMessage::createMethodCall(portal::kService, portal::kPath, interface, method);
  call.setArguments({QVariant::fromValue(QDBusObjectPath(path_)), QVariantMap()});
  callDBus(bus_, call, &attempt_->context, [done = std::move(done)](const QDBusMessage& reply) {
    if (reply.type() == QDBusMessage::ErrorMessage) return done(FileDescriptor(), reply.errorMessage());
    const auto remote = reply.arguments().value(0).value<QDBusUnixFileDescriptor>();
    // The reply owns its descriptor.
    const int own = remote.isValid() ? ::fcntl(remote.fileDescriptor(), F_DUPFD_CLOEXEC, 0) : -1;
    done(FileDescriptor(own), own < 0 ? u"the portal opened no connection"_s : QString());
  });
}

}  // namespace vantora
