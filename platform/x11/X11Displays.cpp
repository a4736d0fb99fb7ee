#include "platform/x11/X11Displays.h"

#include <xcb/randr.h>

#include "main/base/ThreadAffinity.h"
#include "platform/x11/RandrRotation.h"
#include "platform/x11/X11Connection.h"

namespace vantora {
namespace {

// Rotation of the controller that drives `output`; 0 for a monitor without hardware.
double rotationOf(xcb_connection_t* connection, const xcb_randr_output_t* output) {
  if (output == nullptr) return 0;
  const auto info = xcbOwned(xcb_randr_get_output_info_reply(
      connection, xcb_randr_get_output_info(connection, *output, XCB_CURRENT_TIME), nullptr));
  if (!info || info->crtc == XCB_NONE) return 0;
  const auto crtc = xcbOwned(xcb_randr_get_crtc_info_reply(
      connection, xcb_randr_get_crtc_info(connection, info->crtc, XCB_CURRENT_TIME), nullptr));
  return crtc ? clockwiseDegrees(crtc->rotation) : 0;
}

QString atomName(xcb_connection_t* connection, xcb_atom_t atom) {
  const auto reply =
      xcbOwned(xcb_get_atom_name_reply(connection, xcb_get_atom_name_unchecked(connection, atom), nullptr));
  if (!reply) return {};
  return QString::fromUtf8(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()));
}

// Keeps the list until the server reports a change, so that a look costs no round trip.
class X11Displays final : public Displays {
 public:
  explicit X11Displays(const QString& displayName) : connection_(displayName) {}

  std::vector<Display> list() override {
    affinity_.check("X11Displays::list");
    xcb_connection_t* connection = connection_.open();
    if (connection == nullptr) return {};
    if (generation_ != connection_.generation()) {
      generation_ = connection_.generation();
      valid_ = false;
      subscribe(connection);
    }
    // Every event that was asked for means a change of some monitor.
    while (const auto event = xcbOwned(xcb_poll_for_event(connection))) valid_ = valid_ && event->response_type == 0;
    if (!valid_) {
      cached_ = randr_ ? readMonitors(connection) : readRoot(connection);
      valid_ = connection_.current() != nullptr;
    }
    if (connection_.current() == nullptr) return {};
    return cached_;
  }

 private:
  void subscribe(xcb_connection_t* connection) {
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection, connection_.screen().root, XCB_CW_EVENT_MASK, &mask);
    randr_ = false;
    if (hasExtension(connection, &xcb_randr_id)) {
      const auto version = xcbOwned(
          xcb_randr_query_version_reply(connection, xcb_randr_query_version_unchecked(connection, 1, 5), nullptr));
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
    const auto reply = xcbOwned(xcb_randr_get_monitors_reply(
        connection, xcb_randr_get_monitors_unchecked(connection, connection_.screen().root, 1), nullptr));
    if (!reply) return displays;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem > 0;
         xcb_randr_monitor_info_next(&it)) {
      const xcb_randr_monitor_info_t& monitor = *it.data;
      const xcb_randr_output_t* output = monitor.nOutput > 0 ? xcb_randr_monitor_info_outputs(it.data) : nullptr;
      displays.push_back({monitor.name, atomName(connection, monitor.name),
                          QRect(monitor.x, monitor.y, monitor.width, monitor.height), rotationOf(connection, output)});
    }
    return displays;
  }

  std::vector<Display> readRoot(xcb_connection_t* connection) {
    const xcb_window_t root = connection_.screen().root;
    const auto reply =
        xcbOwned(xcb_get_geometry_reply(connection, xcb_get_geometry_unchecked(connection, root), nullptr));
    if (!reply) return {};
    return {{root, QStringLiteral("root"), QRect(0, 0, reply->width, reply->height), 0}};
  }

  ThreadAffinity affinity_;
  X11Connection connection_;
  std::uint64_t generation_ = 0;
  bool randr_ = false;
  bool valid_ = false;
  std::vector<Display> cached_;
};

}  // namespace

std::unique_ptr<Displays> makeX11Displays(const QString& displayName) {
  return std::make_unique<X11Displays>(displayName);
}

}  // namespace vantora
