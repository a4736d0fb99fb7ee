#include "platform/portal/eis/EisInput.h"

#include <libei.h>

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <list>
#include <optional>
#include <utility>

namespace vantora {
namespace {

// The library counts 120 for a notch.
constexpr int kPerNotch = 120;

struct DropContext {
  void operator()(ei* context) const { ei_unref(context); }
};
struct DropEvent {
  void operator()(ei_event* event) const { ei_event_unref(event); }
};
struct DropDevice {
  void operator()(ei_device* device) const { ei_device_unref(device); }
};

class EisInput final : public InputEvents {
 public:
  EisInput(ei* context, std::vector<PortalStream> streams, EisCallbacks callbacks)
      : context_(context), streams_(std::move(streams)), callbacks_(std::move(callbacks)) {
    notifier_ = std::make_unique<QSocketNotifier>(ei_get_fd(context_.get()), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { dispatch(); });
  }

  // Nothing waits: events leave at once.
  void dropWaiting() override {}
  bool moveTo(std::uint32_t node, QPointF position, QPointF rest) override {
    const auto stream = std::ranges::find(streams_, node, &PortalStream::node);
    if (stream == streams_.end()) return false;
    for (Device& device : devices_) {
      if (!device.emulating) continue;
      const auto origin = originOf(device, *stream);
      if (!origin) continue;
      const QPointF place = *origin + position + rest;
      ei_device_pointer_motion_absolute(device.handle.get(), place.x(), place.y());
      return sent(device);
    }
    return false;
  }
  bool moveBy(QPointF distance) override {
    Device* const device = with(EI_DEVICE_CAP_POINTER);
    if (device == nullptr) return false;
    ei_device_pointer_motion(device->handle.get(), distance.x(), distance.y());
    return sent(*device);
  }
  bool pressButton(int button) override { return pushButton(button, true); }
  void releaseButton(int button) override { (void)pushButton(button, false); }
  bool pressKey(int key) override { return pushKey(key, true); }
  void releaseKey(int key) override { (void)pushKey(key, false); }
  // Such a connection knows none.
  bool takesSymbols() const override { return false; }
  bool tapSymbol(std::uint32_t) override { return false; }
  bool busy() const override { return false; }
  bool delivered() const override { return true; }
  bool scrollNotches(ScrollAxis axis, int notches) override {
    Device* const device = with(EI_DEVICE_CAP_SCROLL);
    if (device == nullptr) return false;
    const int distance = notches * kPerNotch;
    const bool vertical = axis == ScrollAxis::vertical;
    ei_device_scroll_discrete(device->handle.get(), vertical ? 0 : distance, vertical ? distance : 0);
    return sent(*device);
  }
  bool scrollSmoothly(ScrollAxis axis, double units) override {
    Device* const device = with(EI_DEVICE_CAP_SCROLL);
    if (device == nullptr) return false;
    const bool vertical = axis == ScrollAxis::vertical;
    ei_device_scroll_delta(device->handle.get(), vertical ? 0 : units, vertical ? units : 0);
    return sent(*device);
  }

 private:
  struct Device {
    std::unique_ptr<ei_device, DropDevice> handle;
    bool emulating = false;
  };

  void dispatch() {
    ei_dispatch(context_.get());
    while (const std::unique_ptr<ei_event, DropEvent> event{ei_get_event(context_.get())}) handle(event.get());
    if (!ended_ && !reportedReady_ && with(EI_DEVICE_CAP_KEYBOARD) != nullptr &&
        with(EI_DEVICE_CAP_POINTER_ABSOLUTE) != nullptr) {
      reportedReady_ = true;
      later(callbacks_.ready);
    }
  }

  // The callbacks may destroy this object.
  void later(const std::function<void()>& callback) { QTimer::singleShot(0, notifier_.get(), callback); }

  void handle(ei_event* event) {
    switch (ei_event_get_type(event)) {
      case EI_EVENT_SEAT_ADDED:
        ei_seat_bind_capabilities(ei_event_get_seat(event), EI_DEVICE_CAP_POINTER, EI_DEVICE_CAP_POINTER_ABSOLUTE,
                                  EI_DEVICE_CAP_KEYBOARD, EI_DEVICE_CAP_BUTTON, EI_DEVICE_CAP_SCROLL, nullptr);
        break;
      case EI_EVENT_DEVICE_ADDED:
        devices_.push_back(
            {.handle = std::unique_ptr<ei_device, DropDevice>(ei_device_ref(ei_event_get_device(event)))});
        break;
      case EI_EVENT_DEVICE_RESUMED:
        if (Device* const device = known(ei_event_get_device(event))) {
          ei_device_start_emulating(device->handle.get(), ++sequence_);
          device->emulating = true;
        }
        break;
      case EI_EVENT_DEVICE_PAUSED:
        if (Device* const device = known(ei_event_get_device(event))) device->emulating = false;
        break;
      case EI_EVENT_DEVICE_REMOVED:
        devices_.remove_if(
            [gone = ei_event_get_device(event)](const Device& device) { return device.handle.get() == gone; });
        break;
      case EI_EVENT_DISCONNECT:
        ended_ = true;
        devices_.clear();
        notifier_->setEnabled(false);
        later(callbacks_.ended);
        break;
      default:
        break;
    }
  }

  Device* known(ei_device* handle) {
    const auto found =
        std::ranges::find_if(devices_, [handle](const Device& device) { return device.handle.get() == handle; });
    return found == devices_.end() ? nullptr : &*found;
  }

  Device* with(ei_device_capability capability) {
    const auto found = std::ranges::find_if(devices_, [capability](const Device& device) {
      return device.emulating && ei_device_has_capability(device.handle.get(), capability);
    });
    return found == devices_.end() ? nullptr : &*found;
  }

  // Where the stream's screen lies among the regions of the device: the one with the stream's name, or the one in its
  // place.
  static std::optional<QPointF> originOf(const Device& device, const PortalStream& stream) {
    for (std::size_t index = 0;; ++index) {
      ei_region* const region = ei_device_get_region(device.handle.get(), index);
      if (region == nullptr) return std::nullopt;
      const QPoint origin(static_cast<int>(ei_region_get_x(region)), static_cast<int>(ei_region_get_y(region)));
      const char* const name = ei_region_get_mapping_id(region);
      const bool named = name != nullptr && !stream.mapping.isEmpty();
      if (named ? stream.mapping == QString::fromUtf8(name) : stream.position.value_or(QPoint()) == origin)
        return QPointF(origin);
    }
  }

  bool pushButton(int button, bool down) {
    Device* const device = with(EI_DEVICE_CAP_BUTTON);
    if (device == nullptr) return false;
    ei_device_button_button(device->handle.get(), static_cast<std::uint32_t>(button), down);
    return sent(*device);
  }

  bool pushKey(int key, bool down) {
    Device* const device = with(EI_DEVICE_CAP_KEYBOARD);
    if (device == nullptr) return false;
    ei_device_keyboard_key(device->handle.get(), static_cast<std::uint32_t>(key), down);
    return sent(*device);
  }

  bool sent(const Device& device) {
    ei_device_frame(device.handle.get(), ei_now(context_.get()));
    // A connection that turns out to be dead closes its socket, which then reports nothing.
    if (ei_event* const event = ei_peek_event(context_.get())) {
      ei_event_unref(event);
      later([this] { dispatch(); });
    }
    return true;
  }

  const std::unique_ptr<ei, DropContext> context_;
  const std::vector<PortalStream> streams_;
  const EisCallbacks callbacks_;
  std::list<Device> devices_;
  std::uint32_t sequence_ = 0;
  bool reportedReady_ = false;
  bool ended_ = false;
  std::unique_ptr<QSocketNotifier> notifier_;
};

void ignoreLog(ei*, ei_log_priority, const char*, ei_log_context*) {}

}  // namespace

bool eisAvailable() { return true; }

std::unique_ptr<InputEvents> makeEisInput(FileDescriptor socket, std::vector<PortalStream> streams,
                                          EisCallbacks callbacks) {
  ei* const context = ei_new_sender(nullptr);
  if (context == nullptr) return nullptr;
  // Standard error is for the program's own log.
  ei_log_set_handler(context, ignoreLog);
  ei_configure_name(context, "vantora-host");
  // The library owns the descriptor, also when this fails.
  if (ei_setup_backend_fd(context, socket.release()) != 0) {
    ei_unref(context);
    return nullptr;
  }
  return std::make_unique<EisInput>(context, std::move(streams), std::move(callbacks));
}

}  // namespace vantora
