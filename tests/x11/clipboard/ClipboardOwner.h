// Another program that copies, with a separate connection.
#pragma once

#include <poll.h>
#include <xcb/xcb.h>

#include <QByteArray>
#include <QString>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace vantora::testx11 {

// Its reaction to a request for its text.
enum class Manners {
  answers,       // In one piece.
  inPieces,      // Of kPieceBytes each.
  onePieceOnly,  // Announces pieces and stops after the first.
  promises,      // Announces pieces and sends none.
  refuses,
  silent,  // Replies only when answerOldest() is called.
};

// Owns the clipboard from copy() on and replies to requests for its text on a separate thread.
class ClipboardOwner {
 public:
  static constexpr qsizetype kPieceBytes = 300;

  explicit ClipboardOwner(const QString& display, Manners manners = Manners::answers)
      : connection_(xcb_connect(display.toLocal8Bit().constData(), nullptr)), manners_(manners) {
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    window_ = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen.root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    clipboard_ = atom("CLIPBOARD");
    utf8_ = atom("UTF8_STRING");
    incremental_ = atom("INCR");
    thread_ = std::thread([this] { answer(); });
  }
  ~ClipboardOwner() {
    quit_ = true;
    thread_.join();
    xcb_disconnect(connection_);
  }
  ClipboardOwner(const ClipboardOwner&) = delete;
  ClipboardOwner& operator=(const ClipboardOwner&) = delete;

  // Returns when the server has processed it. Later requests get this text.
  void copy(const QByteArray& utf8) {
    {
      const std::lock_guard lock(mutex_);
      text_ = utf8;
    }
    xcb_set_selection_owner(connection_, window_, clipboard_, XCB_CURRENT_TIME);
    std::free(xcb_get_selection_owner_reply(connection_, xcb_get_selection_owner(connection_, clipboard_), nullptr));
  }
  // Requests received so far, answered or not.
  int requests() const { return requests_; }
  // Pieces, and texts of answerOldest(), that the reader has taken, including the empty last piece.
  int taken() const { return taken_; }
  // Replies to the oldest pending request with `text`.
  void answerOldest(const QByteArray& text) {
    const std::lock_guard lock(mutex_);
    transfer_ = held_.front();
    held_.erase(held_.begin());
    watchProperties(transfer_.requestor);
    offer(transfer_, utf8_, text);
    tell(transfer_, transfer_.property);
  }

 private:
  xcb_atom_t atom(const char* name) {
    auto* reply = xcb_intern_atom_reply(
        connection_, xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr);
    const xcb_atom_t result = reply ? reply->atom : static_cast<xcb_atom_t>(XCB_NONE);
    std::free(reply);
    return result;
  }
  void answer() {
    while (!quit_) {
      pollfd ready{xcb_get_file_descriptor(connection_), POLLIN, 0};
      ::poll(&ready, 1, 2);  // An event may also have come with a reply on the other thread.
      while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
        if ((event->response_type & 0x7f) == XCB_SELECTION_REQUEST) {
          answer(*reinterpret_cast<xcb_selection_request_event_t*>(event));
        } else if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
          const auto& notification = *reinterpret_cast<xcb_property_notify_event_t*>(event);
          if (notification.state == XCB_PROPERTY_DELETE && notification.atom == transfer_.property) continuePieces();
        }
        std::free(event);
      }
    }
  }
  void answer(const xcb_selection_request_event_t& request) {
    const std::lock_guard lock(mutex_);
    ++requests_;
    if (manners_ == Manners::silent) return held_.push_back(request);
    if (request.target != utf8_ || manners_ == Manners::refuses) return tell(request, XCB_NONE);
    if (manners_ == Manners::answers) {
      offer(request, utf8_, text_);
      return tell(request, request.property);
    }
    // The transfer continues each time the property is deleted.
    watchProperties(request.requestor);
    transfer_ = request;
    sent_ = 0;
    ended_ = false;
    promised_ = true;
    offer(request, incremental_, QByteArray(4, '\0'));
    tell(request, request.property);
  }
  void watchProperties(xcb_window_t window) {
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &events);
  }
  void continuePieces() {
    const std::lock_guard lock(mutex_);
    taken_ += manners_ == Manners::silent;
    if (manners_ == Manners::promises || !promised_) return;
    if (sent_ > 0) ++taken_;
    if (ended_ || (manners_ == Manners::onePieceOnly && sent_ > 0)) return;
    const QByteArray piece = text_.mid(sent_, kPieceBytes);
    sent_ += kPieceBytes;
    ended_ = piece.isEmpty();
    offer(transfer_, utf8_, piece);
    xcb_flush(connection_);
  }
  void offer(const xcb_selection_request_event_t& request, xcb_atom_t type, const QByteArray& bytes) {
    xcb_change_property(
        connection_, XCB_PROP_MODE_REPLACE, request.requestor, request.property, type, type == incremental_ ? 32 : 8,
        static_cast<std::uint32_t>(type == incremental_ ? bytes.size() / 4 : bytes.size()), bytes.constData());
  }
  void tell(const xcb_selection_request_event_t& request, xcb_atom_t property) {
    char memory[32] = {};  // The size of every event in the protocol.
    auto& notification = *reinterpret_cast<xcb_selection_notify_event_t*>(memory);
    notification.response_type = XCB_SELECTION_NOTIFY;
    notification.time = request.time;
    notification.requestor = request.requestor;
    notification.selection = request.selection;
    notification.target = request.target;
    notification.property = property;
    xcb_send_event(connection_, 0, request.requestor, 0, memory);
    xcb_flush(connection_);
  }

  xcb_connection_t* connection_;
  const Manners manners_;
  xcb_window_t window_ = 0;
  xcb_atom_t clipboard_ = 0;
  xcb_atom_t utf8_ = 0;
  xcb_atom_t incremental_ = 0;
  std::mutex mutex_;
  QByteArray text_;
  std::vector<xcb_selection_request_event_t> held_;
  // The text that is sent in pieces.
  xcb_selection_request_event_t transfer_{};
  qsizetype sent_ = 0;
  bool promised_ = false;
  bool ended_ = false;
  std::atomic<int> requests_ = 0;
  std::atomic<int> taken_ = 0;
  std::atomic<bool> quit_ = false;
  std::thread thread_;
};

}  // namespace vantora::testx11
