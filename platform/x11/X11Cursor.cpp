#include "platform/x11/X11Cursor.h"

#include <xcb/xcbext.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <QSocketNotifier>
#include <algorithm>
#include <span>
#include <unordered_map>
#include <utility>

#include "base/ThreadAffinity.h"
#include "platform/x11/FontCursors.h"
#include "platform/x11/X11Connection.h"

namespace vantora {
namespace {

// Themes have about a hundred names. A program that invents more must not exhaust our memory.
constexpr std::size_t kMaxNames = 512;
constexpr int kMaxBitmapPixels = 256 * 256;

struct DeleteLater {
  void operator()(QSocketNotifier* notifier) const {
    notifier->setEnabled(false);
    notifier->deleteLater();  // This may be called from its own signal.
  }
};

class X11Cursor final : public SystemCursor {
 public:
  explicit X11Cursor(const QString& displayName) : connection_(displayName) {}

  void watch(Handlers handlers) override {
    affinity_.check("X11Cursor::watch");
    handlers_ = std::move(handlers);
    watching_ = true;
    if (ready() != nullptr) read();
  }

  void unwatch() override {
    affinity_.check("X11Cursor::unwatch");
    if (!std::exchange(watching_, false)) return;
    handlers_ = {};
    wanted_ = false;
    if (notifier_) notifier_->setEnabled(false);
    if (xcb_connection_t* connection = connection_.current(); connection != nullptr && subscribed_) {
      selectPointer(connection, false);
      if (fixes_) xcb_xfixes_select_cursor_input(connection, connection_.screen().root, 0);
      xcb_flush(connection);
      if (nameRequest_) xcb_discard_reply(connection, *nameRequest_);
      if (imageRequest_) xcb_discard_reply(connection, *imageRequest_);
    }
    subscribed_ = false;
    forget();
  }

  void armPointerEvent() override {
    affinity_.check("X11Cursor::armPointerEvent");
    if (!watching_) return;
    wanted_ = true;
    if (xcb_connection_t* connection = ready()) {
      selectPointer(connection, true);
      read();
    }
  }

  std::optional<ShownCursor> currentCursor() override {
    affinity_.check("X11Cursor::currentCursor");
    if (!watching_ || ready() == nullptr) return std::nullopt;
    read();
    return connection_.current() != nullptr ? shown_ : std::nullopt;
  }

 private:
  // The live connection, opened and subscribed when needed; null when there is no server.
  xcb_connection_t* ready() {
    xcb_connection_t* connection = connection_.current();
    if (connection == nullptr) {
      notifier_.reset();  // Before its socket is closed.
      connection = connection_.open();
      if (connection == nullptr) return nullptr;
    }
    if (generation_ != connection_.generation()) {
      generation_ = connection_.generation();
      names_.clear();
      forget();
      subscribed_ = false;
      pointerSelected_ = false;
      prepare(connection);
      if (connection_.current() == nullptr) return nullptr;
      notifier_.reset(new QSocketNotifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read));
      QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { read(); });
    }
    if (!std::exchange(subscribed_, true)) subscribe(connection);
    return connection;
  }

  void prepare(xcb_connection_t* connection) {
    fixes_ = false;
    input_ = false;
    if (connection_.offers(&xcb_xfixes_id)) {
      const auto version =
          connection_.reply<xcb_xfixes_query_version_reply_t>(xcb_xfixes_query_version_unchecked(connection, 4, 0));
      fixes_ = version && version->major_version >= 2;
      firstFixesEvent_ = xcb_get_extension_data(connection, &xcb_xfixes_id)->first_event;
    }
    if (connection_.offers(&xcb_input_id)) {
      const auto version =
          connection_.reply<xcb_input_xi_query_version_reply_t>(xcb_input_xi_query_version_unchecked(connection, 2, 2));
      input_ = version && version->major_version >= 2;
      inputOpcode_ = xcb_get_extension_data(connection, &xcb_input_id)->major_opcode;
    }
  }

  void subscribe(xcb_connection_t* connection) {
    if (fixes_) {
      xcb_xfixes_select_cursor_input(connection, connection_.screen().root,
                                     XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
      requestImage(connection);
    }
    selectPointer(connection, wanted_);
    xcb_flush(connection);
    notifier_->setEnabled(true);
  }

  // Raw events are sent for any window below the pointer and despite grabs. Only the next event is needed, so the
  // selection ends after it.
  void selectPointer(xcb_connection_t* connection, bool on) {
    if (!input_ || pointerSelected_ == on) return;
    pointerSelected_ = on;
    const struct {
      xcb_input_event_mask_t head;
      std::uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                on ? std::uint32_t{XCB_INPUT_XI_EVENT_MASK_RAW_MOTION | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS} : 0};
    xcb_input_xi_select_events(connection, connection_.screen().root, 1, &selection.head);
    xcb_flush(connection);
  }

  void forget() {
    nameRequest_.reset();
    imageRequest_.reset();
    atom_.reset();
    shown_.reset();
  }

  // Processes what the server has sent, without waiting, and calls the handlers.
  void read() {
    xcb_connection_t* connection = connection_.current();
    if (connection == nullptr) {
      if (notifier_) notifier_->setEnabled(false);
      return;
    }
    const auto before = shown_;
    bool used = false;
    while (const auto event = xcbOwned(xcb_poll_for_event(connection))) used = note(connection, *event) || used;
    takeImage(connection);
    takeName(connection);
    xcb_flush(connection);
    if (connection_.current() == nullptr && notifier_) notifier_->setEnabled(false);
    if (!watching_) return;
    // Copies: a handler may call unwatch().
    if (used) {
      wanted_ = false;
      selectPointer(connection, false);
      if (const auto handler = handlers_.pointerUsed) handler();
    }
    if (shown_ != before) {
      if (const auto handler = handlers_.cursorChanged) handler();
    }
  }

  // Whether the event is a use of the pointer.
  bool note(xcb_connection_t* connection, const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_GE_GENERIC) {
      return wanted_ && reinterpret_cast<const xcb_ge_generic_event_t&>(event).extension == inputOpcode_;
    }
    if (!fixes_ || type != firstFixesEvent_ + XCB_XFIXES_CURSOR_NOTIFY) return false;
    if (imageRequest_) xcb_discard_reply(connection, *imageRequest_);  // Older than this event.
    imageRequest_.reset();
    atom_ = reinterpret_cast<const xcb_xfixes_cursor_notify_event_t&>(event).name;
    return false;
  }

  void requestImage(xcb_connection_t* connection) {
    imageRequest_ = xcb_xfixes_get_cursor_image_and_name_unchecked(connection).sequence;
  }

  void takeImage(xcb_connection_t* connection) {
    void* answer = nullptr;
    if (!imageRequest_ || xcb_poll_for_reply(connection, *imageRequest_, &answer, nullptr) == 0) return;
    imageRequest_.reset();
    const auto reply = xcbOwned(static_cast<xcb_xfixes_get_cursor_image_and_name_reply_t*>(answer));
    shown_.emplace();
    if (!reply) return;  // The cursor of a program that has ended cannot be read.
    shown_->name = QString::fromUtf8(xcb_xfixes_get_cursor_image_and_name_name(reply.get()),
                                     xcb_xfixes_get_cursor_image_and_name_name_length(reply.get()));
    if (!shown_->name.isEmpty()) return;
    const auto length = std::max(xcb_xfixes_get_cursor_image_and_name_cursor_image_length(reply.get()), 0);
    const std::span pixels(xcb_xfixes_get_cursor_image_and_name_cursor_image(reply.get()),
                           static_cast<std::size_t>(length));
    shown_->name = fontCursorName(reply->width, reply->height, pixels);
    const int count = reply->width * reply->height;
    if (!shown_->name.isEmpty() || count > kMaxBitmapPixels || count != length) return;
    shown_->bitmap =
        CursorBitmap{{reply->width, reply->height}, {reply->xhot, reply->yhot}, {pixels.begin(), pixels.end()}};
  }

  // Updates shown_ to the atom of the newest event and requests unknown names from the server, one at a time.
  void takeName(xcb_connection_t* connection) {
    void* answer = nullptr;
    if (nameRequest_ && xcb_poll_for_reply(connection, *nameRequest_, &answer, nullptr) != 0) {
      nameRequest_.reset();
      const auto reply = xcbOwned(static_cast<xcb_get_atom_name_reply_t*>(answer));
      if (names_.size() >= kMaxNames) names_.clear();
      names_[requestedAtom_] =
          reply ? QString::fromUtf8(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()))
                : QString();
    }
    if (!atom_) return;
    if (*atom_ == XCB_NONE) {
      atom_.reset();
      requestImage(connection);  // Its image may identify it.
    } else if (const auto known = names_.find(*atom_); known != names_.end()) {
      shown_ = ShownCursor{known->second};
      atom_.reset();
    } else if (!nameRequest_) {
      requestedAtom_ = *atom_;
      nameRequest_ = xcb_get_atom_name_unchecked(connection, *atom_).sequence;
    }
  }

  ThreadAffinity affinity_;
  X11Connection connection_;
  std::unique_ptr<QSocketNotifier, DeleteLater> notifier_;
  Handlers handlers_;
  std::uint64_t generation_ = 0;
  bool watching_ = false;
  bool subscribed_ = false;  // On this connection.
  bool fixes_ = false;
  int firstFixesEvent_ = 0;
  bool input_ = false;
  int inputOpcode_ = 0;
  bool wanted_ = false;           // A pointer event was requested.
  bool pointerSelected_ = false;  // The server was asked for pointer events.

  std::optional<ShownCursor> shown_;               // If known.
  std::optional<xcb_atom_t> atom_;                 // Name of the current cursor, not yet in shown_.
  std::unordered_map<xcb_atom_t, QString> names_;  // Of atoms that the server has resolved.
  std::optional<unsigned int> nameRequest_;        // For the name of requestedAtom_.
  xcb_atom_t requestedAtom_ = XCB_NONE;
  std::optional<unsigned int> imageRequest_;  // For a cursor whose name no event contained.
};

}  // namespace

std::unique_ptr<SystemCursor> makeX11Cursor(const QString& displayName) {
  return std::make_unique<X11Cursor>(displayName);
}

}  // namespace vantora
