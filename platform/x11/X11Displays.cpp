#include "platform/x11/X11Displays.h"

#include <xcb/randr.h>

#include <QSocketNotifier>
#include <tuple>
#include <utility>

#include "base/Lifetime.h"
#include "base/ThreadAffinity.h"
#include "platform/KnownDisplays.h"
#include "platform/x11/X11Connection.h"

namespace vantora {
namespace {

QString atomName(X11Connection& server, xcb_atom_t atom) {
  xcb_connection_t* const connection = server.current();
  if (connection == nullptr) return {};
  const auto reply = server.reply<xcb_get_atom_name_reply_t>(xcb_get_atom_name_unchecked(connection, atom));
  if (!reply) return {};
  return QString::fromUtf8(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()));
}

// Caches the list until the server reports a change, so that list() needs no round trip.
class X11Displays final : public Displays {
 public:
  explicit X11Displays(const QString& displayName) : connection_(displayName) {}

  std::vector<Display> list() override {
    affinity_.check("X11Displays::list");
    if (connection_.current() == nullptr && !connection_.silent()) {
      notifier_.reset();  // Before its socket is closed and the descriptor number is reused.
      remember({});
    }
    xcb_connection_t* connection = connection_.open();
    if (connection == nullptr) return lastKnown();
    if (generation_ != connection_.generation()) {
      generation_ = connection_.generation();
      valid_ = false;
      notifier_.reset();
      subscribe(connection);
      listen();
    }
    // Every selected event means a change of some monitor; one may have arrived with a reply.
    while (!takeEvents(connection)) {
      auto fresh = randr_ ? readMonitors(connection) : readRoot(connection);
      if (connection_.current() == nullptr) return lastKnown();
      remember(std::move(fresh));
      valid_ = true;
    }
    return connection_.current() != nullptr ? cached_ : lastKnown();
  }

  std::optional<Display> find(std::uint32_t id) override {
    std::ignore = list();
    return known_.find(id);
  }

  void setChangedHandler(std::function<void()> handler) override {
    affinity_.check("X11Displays::setChangedHandler");
    changed_ = nullptr;
    notifier_.reset();
    std::ignore = list();
    changed_ = std::move(handler);
    listen();
  }

 private:
  // Whether the list is still valid.
  bool takeEvents(xcb_connection_t* connection) {
    while (const auto event = xcbOwned(xcb_poll_for_event(connection))) valid_ = valid_ && event->response_type == 0;
    return valid_;
  }

  // Reads events while a handler is set.
  void listen() {
    xcb_connection_t* const connection = connection_.current();
    if (!changed_ || notifier_ || connection == nullptr) return;
    notifier_.reset(new QSocketNotifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read));
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, &context_, [this] { std::ignore = list(); });
  }

  void remember(std::vector<Display> displays) {
    known_.add(displays);
    if (std::exchange(cached_, std::move(displays)) == cached_ || !changed_) return;
    // Not within list(), whose caller does not expect the handler.
    life_.onMain([this] {
      if (const auto handler = changed_) handler();
    })();
  }

  // A silent server still has its monitors.
  std::vector<Display> lastKnown() const { return connection_.silent() ? cached_ : std::vector<Display>(); }

  void subscribe(xcb_connection_t* connection) {
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, connection_.screen().root, XCB_CW_EVENT_MASK, &mask);
    // Programs that change the monitors often grab the server meanwhile, and pointer events need the new list at once.
    std::ignore = connection_.ignoreServerGrabs();
    randr_ = false;
    if (connection_.offers(&xcb_randr_id)) {
      const auto version =
          connection_.reply<xcb_randr_query_version_reply_t>(xcb_randr_query_version_unchecked(connection, 1, 5));
      randr_ = version && (version->major_version > 1 || version->minor_version >= 5);
    }
    if (randr_) {
      xcb_randr_select_input(connection, connection_.screen().root,
                             XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                 XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE);
    }
    xcb_flush(connection);
  }

  std::vector<Display> readMonitors(xcb_connection_t* connection) {
    std::vector<Display> displays;
    const auto reply = connection_.reply<xcb_randr_get_monitors_reply_t>(
        xcb_randr_get_monitors_unchecked(connection, connection_.screen().root, 1));
    if (!reply) return displays;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
         xcb_randr_monitor_info_next(&it)) {
      const xcb_randr_monitor_info_t& monitor = *it.data;
      // Bounds, frames and pointer positions are all in coordinates of the root window, which include the rotation of
      // the screen.
      displays.push_back({monitor.name, atomName(connection_, monitor.name),
                          QRect(monitor.x, monitor.y, monitor.width, monitor.height), 0});
    }
    return displays;
  }

  std::vector<Display> readRoot(xcb_connection_t* connection) {
    const xcb_window_t root = connection_.screen().root;
    const auto reply = connection_.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_unchecked(connection, root));
    if (!reply) return {};
    return {{root, QStringLiteral("root"), QRect(0, 0, reply->width, reply->height), 0}};
  }

  ThreadAffinity affinity_;
  X11Connection connection_;
  std::uint64_t generation_ = 0;
  bool randr_ = false;
  bool valid_ = false;
  std::vector<Display> cached_;
  KnownDisplays known_;
  std::function<void()> changed_;
  struct DeleteLater {
    // This may be called from its own signal.
    void operator()(QSocketNotifier* notifier) const {
      notifier->setEnabled(false);
      notifier->deleteLater();
    }
  };
  std::unique_ptr<QSocketNotifier, DeleteLater> notifier_;
  QObject context_;
  Lifetime life_;
};

}  // namespace

std::unique_ptr<Displays> makeX11Displays(const QString& displayName) {
  return std::make_unique<X11Displays>(displayName);
}

}  // namespace vantora
