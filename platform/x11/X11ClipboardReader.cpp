#include "platform/x11/X11ClipboardReader.h"

#include <xcb/xfixes.h>

#include <utility>

namespace vantora {
namespace {

xcb_atom_t atom(xcb_connection_t* connection, const QByteArray& name) {
  const auto reply = xcbOwned(xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.constData()), nullptr));
  return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_NONE);
}

}  // namespace

X11ClipboardReader::X11ClipboardReader(const QString& displayName, Options options)
    : options_(options), connection_(displayName) {
  timeout_.setSingleShot(true);
  QObject::connect(&timeout_, &QTimer::timeout, &context_, [this] { finish({}); });
}

X11ClipboardReader::~X11ClipboardReader() = default;

bool X11ClipboardReader::watch(std::function<void(xcb_window_t)> changed) {
  if (!prepare()) return false;
  xcb_connection_t* const connection = connection_.current();
  if (!hasExtension(connection, &xcb_xfixes_id)) return false;
  const auto version = xcbOwned(xcb_xfixes_query_version_reply(
      connection, xcb_xfixes_query_version(connection, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION), nullptr));
  if (!version) return false;
  changed_ = std::move(changed);
  ownerEventType_ = xcb_get_extension_data(connection, &xcb_xfixes_id)->first_event + XCB_XFIXES_SELECTION_NOTIFY;
  xcb_xfixes_select_selection_input(connection, window_, clipboard_,
                                    XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
  xcb_flush(connection);
  return true;
}

bool X11ClipboardReader::hasOwner() {
  xcb_connection_t* const connection = connection_.current();
  if (!connection) return false;
  const auto reply =
      xcbOwned(xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, clipboard_), nullptr));
  return reply && reply->owner != XCB_NONE;
}

void X11ClipboardReader::catchUp() {
  if (!connection_.current()) return;
  (void)hasOwner();
  drain();
}

void X11ClipboardReader::read(Done done) {
  waiting_.push_back(std::move(done));
  if (waiting_.size() == 1) QTimer::singleShot(0, &context_, [this] { next(); });
}

bool X11ClipboardReader::prepare() {
  xcb_connection_t* const connection = connection_.open();
  if (!connection) return false;
  if (generation_ == connection_.generation()) return true;
  generation_ = connection_.generation();
  window_ = xcb_generate_id(connection);
  const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window_, connection_.screen().root, -1, -1, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
  clipboard_ = options_.primary ? static_cast<xcb_atom_t>(XCB_ATOM_PRIMARY) : atom(connection, "CLIPBOARD");
  incremental_ = atom(connection, "INCR");
  targets_ = {atom(connection, "UTF8_STRING"), atom(connection, "text/plain;charset=utf-8"), XCB_ATOM_STRING};
  for (size_t i = 0; i < properties_.size(); ++i) {
    properties_[i] = atom(connection, "VANTORA_CLIPBOARD_" + QByteArray::number(static_cast<qulonglong>(i)));
  }
  notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection), QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, &context_, [this] { drain(); });
  return true;
}

void X11ClipboardReader::next() {
  if (asking_ || waiting_.empty()) return;
  asking_ = true;
  if (!prepare()) return finish({});
  timeout_.start(options_.timeout);
  ask(utf8String);
}

void X11ClipboardReader::ask(size_t target) {
  target_ = target;
  inPieces_ = false;
  bytes_.clear();
  turn_ = (turn_ + 1) % properties_.size();
  xcb_connection_t* const connection = connection_.current();
  if (!connection) return finish({});
  xcb_delete_property(connection, window_, properties_[turn_]);
  xcb_convert_selection(connection, window_, clipboard_, targets_[target], properties_[turn_], XCB_CURRENT_TIME);
  xcb_flush(connection);
}

void X11ClipboardReader::drain() {
  while (xcb_connection_t* const connection = connection_.current()) {
    const auto event = xcbOwned(xcb_poll_for_event(connection));
    if (!event) break;
    handle(*event);
  }
  if (connection_.current()) return;
  notifier_.reset();
  if (asking_) finish({});
}

void X11ClipboardReader::handle(const xcb_generic_event_t& event) {
  const int type = event.response_type & 0x7f;
  if (type == XCB_SELECTION_NOTIFY) {
    const auto& notification = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
    if (notification.property == XCB_NONE) {
      // A refusal names no property: a late one only makes this request skip one target.
      if (!asking_ || inPieces_ || notification.target != targets_[target_]) return;
      if (target_ + 1 < targetCount) return ask(target_ + 1);
      return finish({.text = QString(), .otherContent = hasOwner()});
    }
    answered(notification.property);
  } else if (type == XCB_PROPERTY_NOTIFY) {
    const auto& notification = reinterpret_cast<const xcb_property_notify_event_t&>(event);
    if (notification.state != XCB_PROPERTY_NEW_VALUE) return;
    if (notification.atom != properties_[turn_] || !asking_) {
      // Of an abandoned request: the owner waits for the deletion before it continues.
      takeProperty(notification.atom);
    } else if (inPieces_) {
      pieceArrived();
    }
  } else if (type == ownerEventType_) {
    const auto& notification = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
    changed_(notification.owner);
  }
}

void X11ClipboardReader::answered(xcb_atom_t property) {
  if (!asking_ || property != properties_[turn_] || inPieces_) return;
  Piece piece = takeProperty(property);
  if (piece.type == incremental_) {
    inPieces_ = true;
    return;
  }
  bytes_ = std::move(piece.bytes);
  if (bytes_.size() > options_.bytes) return finish({.tooLong = bytes_.size()});
  finish({.text = decoded()});
}

void X11ClipboardReader::pieceArrived() {
  const Piece piece = takeProperty(properties_[turn_]);
  if (piece.type == XCB_NONE) return;  // Already read with an earlier notification.
  if (piece.bytes.isEmpty()) return finish({.text = decoded()});
  bytes_ += piece.bytes;
  if (bytes_.size() > options_.bytes) finish({.tooLong = bytes_.size()});
}

X11ClipboardReader::Piece X11ClipboardReader::takeProperty(xcb_atom_t property) {
  xcb_connection_t* const connection = connection_.current();
  if (!connection) return {};
  constexpr std::uint32_t kAll = 0x1fffffff;
  const auto reply = xcbOwned(xcb_get_property_reply(
      connection, xcb_get_property(connection, 1, window_, property, XCB_GET_PROPERTY_TYPE_ANY, 0, kAll), nullptr));
  if (!reply) return {};
  return {reply->type, QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                                  xcb_get_property_value_length(reply.get()))};
}

QString X11ClipboardReader::decoded() const {
  return target_ == latin1String ? QString::fromLatin1(bytes_) : QString::fromUtf8(bytes_);
}

void X11ClipboardReader::finish(const ClipboardReading& reading) {
  timeout_.stop();
  asking_ = false;
  inPieces_ = false;
  bytes_ = {};
  // A late reply to this request must not match the property of the next one.
  turn_ = (turn_ + 1) % properties_.size();
  const Done done = std::move(waiting_.front());
  waiting_.pop_front();
  if (!waiting_.empty()) QTimer::singleShot(0, &context_, [this] { next(); });
  done(reading);
}

}  // namespace vantora
