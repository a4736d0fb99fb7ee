#include "platform/x11/X11WindowFinder.h"

#include <poll.h>
#include <xcb/res.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <array>
#include <vector>

#include "platform/x11/X11Connection.h"

namespace vantora {
namespace {

constexpr std::size_t kMaxChildren = 64;
// Window managers wrap an application's window in one or two windows of their own.
constexpr int kMaxLevels = 2;

int millisecondsUntil(WindowFinder::Deadline deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, 60'000));
}

class X11WindowFinder final : public WindowFinder {
 public:
  explicit X11WindowFinder(const QString& displayName) : connection_(displayName) {}

  std::optional<PointedWindow> pointedWindow(Deadline deadline) override {
    deadline_ = deadline;
    if (!ready()) return std::nullopt;
    const auto pointer = reply<xcb_query_pointer_reply_t>(xcb_query_pointer(x_, connection_.screen().root).sequence);
    if (!pointer || pointer->child == XCB_NONE) return std::nullopt;
    const xcb_window_t client = clientOf(pointer->child);
    const auto clientPlace = placeOf(client);
    const auto framePlace = client == pointer->child ? clientPlace : placeOf(pointer->child);
    if (!clientPlace || !framePlace) return std::nullopt;
    return PointedWindow{.pointer = QPointF(pointer->root_x, pointer->root_y),
                         .process = processOf(client),
                         .client = *clientPlace,
                         .frame = withoutShadow(*framePlace, client),
                         .resizable = isResizable(pointer->child, client)};
  }

  std::string busAddress(Deadline deadline) override {
    deadline_ = deadline;
    if (!ready()) return {};
    const auto property = propertyOf(connection_.screen().root, atoms_[busAtom], XCB_ATOM_STRING, 1024);
    if (!property) return {};
    return {static_cast<const char*>(xcb_get_property_value(property.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(property.get()))};
  }

 private:
  enum Atom { stateAtom, processAtom, shadowAtom, busAtom, typeAtom, normalAtom, dialogAtom, utilityAtom, atomCount };

  bool ready() {
    x_ = connection_.open();
    if (x_ == nullptr) return false;
    while (xcbOwned(xcb_poll_for_event(x_))) continue;
    if (generation_ == connection_.generation()) return true;
    constexpr std::array<std::string_view, atomCount> kNames{"WM_STATE",
                                                             "_NET_WM_PID",
                                                             "_GTK_FRAME_EXTENTS",
                                                             "AT_SPI_BUS",
                                                             "_NET_WM_WINDOW_TYPE",
                                                             "_NET_WM_WINDOW_TYPE_NORMAL",
                                                             "_NET_WM_WINDOW_TYPE_DIALOG",
                                                             "_NET_WM_WINDOW_TYPE_UTILITY"};
    for (std::size_t index = 0; index < kNames.size(); ++index) {
      const auto atom = reply<xcb_intern_atom_reply_t>(
          xcb_intern_atom(x_, 0, static_cast<std::uint16_t>(kNames[index].size()), kNames[index].data()).sequence);
      if (!atom) return false;
      atoms_[index] = atom->atom;
    }
    resources_ = connection_.offers(&xcb_res_id);
    generation_ = connection_.generation();
    return true;
  }

  // The reply to a request; null when it failed or did not arrive in time: another program may have grabbed the server.
  template <typename Reply>
  XcbPtr<Reply> reply(unsigned int sequence) {
    xcb_flush(x_);
    for (;;) {
      void* answer = nullptr;
      xcb_generic_error_t* error = nullptr;
      if (xcb_poll_for_reply(x_, sequence, &answer, &error) != 0) {
        std::free(error);
        return xcbOwned(static_cast<Reply*>(answer));
      }
      const int left = millisecondsUntil(deadline_);
      if (left == 0) break;
      pollfd ready{xcb_get_file_descriptor(x_), POLLIN, 0};
      ::poll(&ready, 1, left);
    }
    xcb_discard_reply(x_, sequence);
    return nullptr;
  }

  XcbPtr<xcb_get_property_reply_t> propertyOf(xcb_window_t window, xcb_atom_t atom, xcb_atom_t type,
                                              std::uint32_t words) {
    return reply<xcb_get_property_reply_t>(xcb_get_property(x_, 0, window, atom, type, 0, words).sequence);
  }

  bool isClient(xcb_window_t window) {
    const auto property = propertyOf(window, atoms_[stateAtom], XCB_GET_PROPERTY_TYPE_ANY, 0);
    return property && property->type != XCB_NONE;
  }

  // Whether a window manager lets the user drag the window's edges: not for override-redirect windows (menus,
  // tooltips), nor for panels and the desktop background.
  bool isResizable(xcb_window_t outer, xcb_window_t client) {
    if (outer == client) {
      const auto attributes = reply<xcb_get_window_attributes_reply_t>(xcb_get_window_attributes(x_, client).sequence);
      if (attributes && attributes->override_redirect != 0) return false;
    }
    const auto types = propertyOf(client, atoms_[typeAtom], XCB_ATOM_ATOM, 8);
    if (!types || types->format != 32) return true;
    const auto* names = static_cast<const xcb_atom_t*>(xcb_get_property_value(types.get()));
    const int count = xcb_get_property_value_length(types.get()) / 4;
    if (count == 0) return true;
    return std::any_of(names, names + count, [this](xcb_atom_t name) {
      return name == atoms_[normalAtom] || name == atoms_[dialogAtom] || name == atoms_[utilityAtom];
    });
  }

  // The application's window at or inside `outer`; `outer` itself when no window manager has marked any.
  xcb_window_t clientOf(xcb_window_t outer) {
    std::vector<xcb_window_t> level{outer};
    for (int depth = 0; depth <= kMaxLevels && !level.empty(); ++depth) {
      std::vector<xcb_window_t> below;
      for (const xcb_window_t window : level) {
        if (isClient(window)) return window;
        const auto tree = reply<xcb_query_tree_reply_t>(xcb_query_tree(x_, window).sequence);
        if (!tree) continue;
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        below.insert(below.end(), children, children + xcb_query_tree_children_length(tree.get()));
      }
      below.resize(std::min(below.size(), kMaxChildren));
      level = std::move(below);
    }
    return outer;
  }

  std::optional<QRectF> placeOf(xcb_window_t window) {
    const auto size = xcb_get_geometry(x_, window);
    const auto origin = xcb_translate_coordinates(x_, window, connection_.screen().root, 0, 0);
    const auto geometry = reply<xcb_get_geometry_reply_t>(size.sequence);
    const auto corner = reply<xcb_translate_coordinates_reply_t>(origin.sequence);
    if (!geometry || !corner) return std::nullopt;
    return QRectF(corner->dst_x, corner->dst_y, geometry->width, geometry->height);
  }

  // The server knows the process of a connection; the window's own property is wrong in a container.
  pid_t processOf(xcb_window_t window) {
    if (resources_) {
      const xcb_res_client_id_spec_t wanted{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
      const auto ids = reply<xcb_res_query_client_ids_reply_t>(xcb_res_query_client_ids(x_, 1, &wanted).sequence);
      if (ids) {
        for (auto it = xcb_res_query_client_ids_ids_iterator(ids.get()); it.rem > 0;
             xcb_res_client_id_value_next(&it)) {
          if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) == 0) continue;
          if (xcb_res_client_id_value_value_length(it.data) < 1) continue;
          return static_cast<pid_t>(xcb_res_client_id_value_value(it.data)[0]);
        }
      }
    }
    const auto property = propertyOf(window, atoms_[processAtom], XCB_ATOM_CARDINAL, 1);
    if (!property || property->format != 32 || xcb_get_property_value_length(property.get()) < 4) return 0;
    return static_cast<pid_t>(*static_cast<const std::uint32_t*>(xcb_get_property_value(property.get())));
  }

  QRectF withoutShadow(const QRectF& frame, xcb_window_t client) {
    const auto property = propertyOf(client, atoms_[shadowAtom], XCB_ATOM_CARDINAL, 4);
    if (!property || property->format != 32 || xcb_get_property_value_length(property.get()) < 16) return frame;
    const auto* widths = static_cast<const std::uint32_t*>(xcb_get_property_value(property.get()));  // Left first.
    const auto width = [&](int side) { return static_cast<double>(std::min<std::uint32_t>(widths[side], 1000)); };
    const QRectF inner = frame.adjusted(width(0), width(2), -width(1), -width(3));
    return inner.isValid() ? inner : frame;
  }

  X11Connection connection_;
  xcb_connection_t* x_ = nullptr;
  std::uint64_t generation_ = 0;
  Deadline deadline_;
  std::array<xcb_atom_t, atomCount> atoms_{};
  bool resources_ = false;
};

}  // namespace

std::unique_ptr<WindowFinder> makeX11WindowFinder(const QString& displayName) {
  return std::make_unique<X11WindowFinder>(displayName);
}

}  // namespace vantora
