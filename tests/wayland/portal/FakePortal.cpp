#include "tests/wayland/portal/FakePortal.h"

#include <fcntl.h>

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <algorithm>
#include <utility>

namespace vantora::testportal {

// A structure on the bus.
struct IntPair {
  int first = 0;
  int second = 0;
};
struct StreamEntry {
  uint node = 0;
  QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const IntPair& pair) {
  argument.beginStructure();
  argument << pair.first << pair.second;
  argument.endStructure();
  return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, IntPair& pair) {
  argument.beginStructure();
  argument >> pair.first >> pair.second;
  argument.endStructure();
  return argument;
}
QDBusArgument& operator<<(QDBusArgument& argument, const StreamEntry& entry) {
  argument.beginStructure();
  argument << entry.node << entry.properties;
  argument.endStructure();
  return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, StreamEntry& entry) {
  argument.beginStructure();
  argument >> entry.node >> entry.properties;
  argument.endStructure();
  return argument;
}

}  // namespace vantora::testportal

Q_DECLARE_METATYPE(vantora::testportal::IntPair)
Q_DECLARE_METATYPE(vantora::testportal::StreamEntry)

namespace vantora::testportal {
namespace {

using namespace Qt::Literals::StringLiterals;

const QString kService = u"org.freedesktop.portal.Desktop"_s;
const QString kPath = u"/org/freedesktop/portal/desktop"_s;
const QString kPrefix = u"org.freedesktop.portal."_s;

}  // namespace

FakePortal::FakePortal(const QDBusConnection& bus) : bus_(bus), remote_(::open("/dev/null", O_RDWR | O_CLOEXEC)) {
  qDBusRegisterMetaType<IntPair>();
  qDBusRegisterMetaType<StreamEntry>();
  qDBusRegisterMetaType<QList<StreamEntry>>();
  bus_.registerVirtualObject(kPath, this, QDBusConnection::SubPath);
  start();
}

FakePortal::~FakePortal() {
  quit();
  bus_.unregisterObject(kPath);
}

void FakePortal::start() { bus_.registerService(kService); }

void FakePortal::quit() {
  bus_.unregisterService(kService);
  sessions_.clear();
  open_.clear();
}

void FakePortal::reply(const QDBusMessage& message, const QVariantList& arguments) {
  bus_.send(message.createReply(arguments));
}

void FakePortal::fail(const QDBusMessage& message, const QString& error) {
  bus_.send(message.createErrorReply(u"org.freedesktop.portal.Error.Failed"_s, error));
}

FakePortal::Session* FakePortal::find(const QString& path) {
  const auto found = std::ranges::find(sessions_, path, &Session::path);
  return found == sessions_.end() ? nullptr : &*found;
}

bool FakePortal::handleMessage(const QDBusMessage& message, const QDBusConnection&) {
  const QString method = message.member();
  if (stopped && method.startsWith("Notify"_L1)) {
    message.setDelayedReply(true);
    waiting_.push_back(message);
    return true;
  }
  if (silent.contains(method)) {
    message.setDelayedReply(true);
    return true;
  }
  if (const auto error = failing.find(method); error != failing.end()) {
    fail(message, error->second);
    return true;
  }
  if (method == "GetAll"_L1) {
    getProperties(message);
  } else if (message.interface() == kPrefix + "Request"_L1) {
    ++closedRequests;
    std::erase_if(open_, [&message](const Question& question) { return question.request == message.path(); });
    reply(message);
  } else if (message.interface() == kPrefix + "Session"_L1) {
    closedSessions.append(message.path());
    std::erase_if(sessions_, [&message](const Session& session) { return session.path == message.path(); });
    reply(message);
  } else if (message.interface() == kPrefix + "Settings"_L1) {
    const auto found = settings.find(message.arguments().value(1).toString());
    if (found == settings.end()) {
      fail(message, u"no such setting"_s);
    } else {
      const QDBusVariant inner(found->second);
      reply(message, {QVariant::fromValue(QDBusVariant(QVariant::fromValue(inner)))});
    }
  } else if (method == "OpenPipeWireRemote"_L1) {
    ++remotesOpened;
    reply(message, {QVariant::fromValue(QDBusUnixFileDescriptor(remote_.get()))});
  } else if (method == "ConnectToEIS"_L1) {
    ++eisConnections;
    if (!connectToEis) {
      fail(message, u"no such connection"_s);
    } else {
      const FileDescriptor socket = connectToEis();
      reply(message, {QVariant::fromValue(QDBusUnixFileDescriptor(socket.get()))});
    }
  } else if (method.startsWith("Notify"_L1)) {
    QStringList arguments;
    for (const QVariant& argument : message.arguments().mid(2)) arguments.append(argument.toString());
    notified.append(u"%1(%2)"_s.arg(method, arguments.join(u", "_s)));
    reply(message);
  } else {
    handleRequest(message);
  }
  return true;
}

void FakePortal::proceed() {
  stopped = false;
  for (const QDBusMessage& message : std::exchange(waiting_, {})) handleMessage(message, bus_);
}

void FakePortal::getProperties(const QDBusMessage& message) {
  const QString interface = message.arguments().value(0).toString();
  QVariantMap properties;
  if (interface == kPrefix + "ScreenCast"_L1 && screenCast > 0) {
    properties = {{u"version"_s, screenCast}, {u"AvailableCursorModes"_s, cursorModes}};
  } else if (interface == kPrefix + "RemoteDesktop"_L1 && remoteDesktop > 0) {
    properties = {{u"version"_s, remoteDesktop}, {u"AvailableDeviceTypes"_s, deviceTypes}};
  } else if (interface == kPrefix + "Clipboard"_L1 && clipboard > 0) {
    properties = {{u"version"_s, clipboard}};
  } else {
    return fail(message, u"no such interface"_s);
  }
  reply(message, {properties});
}

void FakePortal::handleRequest(const QDBusMessage& message) {
  const QString method = message.member();
  QVariantList arguments = message.arguments();
  const QVariantMap given = qdbus_cast<QVariantMap>(arguments.isEmpty() ? QVariant() : arguments.constLast());
  options[method] = given;
  if (method == "RequestClipboard"_L1 || method == "SetSelection"_L1) return reply(message);
  if (!refusedToken.isEmpty() && given.value(u"restore_token"_s).toString() == refusedToken)
    return fail(message, u"no token of this portal"_s);
  QString sender = message.service().mid(1);
  sender.replace(u'.', u'_');
  const QString request = u"%1/request/%2/%3"_s.arg(kPath, sender, given.value(u"handle_token"_s).toString());
  reply(message, {QVariant::fromValue(QDBusObjectPath(request))});
  if (method == "CreateSession"_L1) return createSession(message, request);
  Session* const session = find(arguments.value(0).value<QDBusObjectPath>().path());
  if (session == nullptr) return respond(request, message.service(), 2, {});
  if (method == "Start"_L1) return start(message, request);
  if (given.value(u"persist_mode"_s).toUInt() > 0) {
    session->persists = true;
    session->restores = given.value(u"restore_token"_s).toString() == token;
  }
  respond(request, message.service(), 0, {});
}

void FakePortal::createSession(const QDBusMessage& message, const QString& request) {
  QString sender = message.service().mid(1);
  sender.replace(u'.', u'_');
  const QVariantMap given = qdbus_cast<QVariantMap>(message.arguments().constLast());
  const QString path = u"%1/session/%2/%3"_s.arg(kPath, sender, given.value(u"session_handle_token"_s).toString());
  sessions_.push_back(
      {.path = path, .client = message.service(), .input = message.interface() == kPrefix + "RemoteDesktop"_L1});
  respond(request, message.service(), 0, {{u"session_handle"_s, path}});
}

void FakePortal::start(const QDBusMessage& message, const QString& request) {
  const QString session = message.arguments().value(0).value<QDBusObjectPath>().path();
  open_.push_back({.request = request, .client = message.service(), .session = session});
  if (find(session)->restores) {
    ++restored;
    return decide(Answer::yes);
  }
  ++questions;
  if (answer != Answer::none) decide(answer);
}

void FakePortal::decide(Answer decision) {
  if (open_.empty()) return;
  const Question question = open_.front();
  open_.erase(open_.begin());
  const Session* const session = find(question.session);
  if (session == nullptr) return;
  if (decision == Answer::no) {
    respond(question.request, question.client, 1, {});
    std::erase_if(sessions_, [&question](const Session& each) { return each.path == question.session; });
    return;
  }
  respond(question.request, question.client, 0, granted(*session, decision == Answer::yes));
}

QVariantMap FakePortal::granted(const Session& session, bool input) const {
  QList<StreamEntry> entries;
  for (const Stream& stream : streams) {
    StreamEntry entry{.node = stream.node, .properties = {}};
    if (stream.position) {
      entry.properties.insert(u"position"_s, QVariant::fromValue(IntPair{stream.position->x(), stream.position->y()}));
    }
    if (stream.size) {
      entry.properties.insert(u"size"_s, QVariant::fromValue(IntPair{stream.size->width(), stream.size->height()}));
    }
    if (!stream.mapping.isEmpty()) entry.properties.insert(u"mapping_id"_s, stream.mapping);
    entries.append(entry);
  }
  QVariantMap results{{u"streams"_s, QVariant::fromValue(entries)}};
  if (session.input) {
    results.insert(u"devices"_s, input ? deviceTypes & 3U : 0U);
    results.insert(u"clipboard_enabled"_s, clipboard > 0 && input);
  }
  if (session.persists) results.insert(u"restore_token"_s, token);
  return results;
}

void FakePortal::respond(const QString& request, const QString& client, uint code, const QVariantMap& results) {
  QDBusMessage signal = QDBusMessage::createTargetedSignal(client, request, kPrefix + "Request"_L1, u"Response"_s);
  signal.setArguments({code, results});
  bus_.send(signal);
}

void FakePortal::closeSession() {
  if (sessions_.empty()) return;
  const Session session = sessions_.back();
  sessions_.pop_back();
  QDBusMessage signal =
      QDBusMessage::createTargetedSignal(session.client, session.path, kPrefix + "Session"_L1, u"Closed"_s);
  signal.setArguments({QVariantMap()});
  bus_.send(signal);
}

}  // namespace vantora::testportal
