// Input over a connection to the compositor, which the test plays.
#include <libeis.h>
#include <linux/input-event-codes.h>

#include <QSocketNotifier>
#include <memory>

#include "platform/portal/eis/EisInput.h"
#include "tests/wayland/portal/PortalFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// A compositor with one seat, and on it a keyboard and a pointer for each screen.
class FakeCompositor {
 public:
  FakeCompositor() : context_(eis_new(nullptr)) {
    EXPECT_EQ(eis_setup_backend_fd(context_), 0);
    notifier_ = std::make_unique<QSocketNotifier>(eis_get_fd(context_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { dispatch(); });
  }
  ~FakeCompositor() {
    notifier_.reset();
    if (device_ != nullptr) eis_device_unref(device_);
    eis_unref(context_);
  }

  FileDescriptor connect() { return FileDescriptor(eis_backend_fd_add_client(context_)); }
  void removeDevice() { eis_device_remove(device_); }
  void addDevice() {
    eis_seat* const seat = eis_device_get_seat(device_);
    eis_device* const old = device_;
    addDevice(seat);
    eis_device_unref(old);
  }
  void hangUp() { eis_client_disconnect(client_); }

  struct Region {
    QRect area;
    const char* name = nullptr;
  };
  std::vector<Region> regions = {{QRect(0, 0, 1000, 600)}};
  bool silent = false;  // Accepts connections and says nothing.
  QStringList events;

 private:
  void dispatch() {
    eis_dispatch(context_);
    while (eis_event* const event = eis_get_event(context_)) {
      handle(event);
      eis_event_unref(event);
    }
  }

  void handle(eis_event* event) {
    switch (eis_event_get_type(event)) {
      case EIS_EVENT_CLIENT_CONNECT: {
        if (silent) return;
        client_ = eis_event_get_client(event);
        eis_client_connect(client_);
        eis_seat* const seat = eis_client_new_seat(client_, "seat");
        for (const auto capability : {EIS_DEVICE_CAP_POINTER, EIS_DEVICE_CAP_POINTER_ABSOLUTE, EIS_DEVICE_CAP_KEYBOARD,
                                      EIS_DEVICE_CAP_BUTTON, EIS_DEVICE_CAP_SCROLL}) {
          eis_seat_configure_capability(seat, capability);
        }
        eis_seat_add(seat);
        eis_seat_unref(seat);
        break;
      }
      case EIS_EVENT_SEAT_BIND:
        if (device_ == nullptr && eis_event_seat_has_capability(event, EIS_DEVICE_CAP_KEYBOARD))
          addDevice(eis_event_get_seat(event));
        break;
      case EIS_EVENT_POINTER_MOTION_ABSOLUTE:
        events.append(
            u"at %1 %2"_s.arg(eis_event_pointer_get_absolute_x(event)).arg(eis_event_pointer_get_absolute_y(event)));
        break;
      case EIS_EVENT_POINTER_MOTION:
        events.append(u"by %1 %2"_s.arg(eis_event_pointer_get_dx(event)).arg(eis_event_pointer_get_dy(event)));
        break;
      case EIS_EVENT_BUTTON_BUTTON:
        events.append(
            u"button %1 %2"_s.arg(eis_event_button_get_button(event)).arg(eis_event_button_get_is_press(event)));
        break;
      case EIS_EVENT_KEYBOARD_KEY:
        events.append(
            u"key %1 %2"_s.arg(eis_event_keyboard_get_key(event)).arg(eis_event_keyboard_get_key_is_press(event)));
        break;
      case EIS_EVENT_SCROLL_DISCRETE:
        events.append(u"notches %1 %2"_s.arg(eis_event_scroll_get_discrete_dx(event))
                          .arg(eis_event_scroll_get_discrete_dy(event)));
        break;
      case EIS_EVENT_SCROLL_DELTA:
        events.append(u"scroll %1 %2"_s.arg(eis_event_scroll_get_dx(event)).arg(eis_event_scroll_get_dy(event)));
        break;
      default:
        break;
    }
  }

  void addDevice(eis_seat* seat) {
    device_ = eis_seat_new_device(seat);
    eis_device_configure_name(device_, "virtual");
    for (const auto capability : {EIS_DEVICE_CAP_POINTER, EIS_DEVICE_CAP_POINTER_ABSOLUTE, EIS_DEVICE_CAP_KEYBOARD,
                                  EIS_DEVICE_CAP_BUTTON, EIS_DEVICE_CAP_SCROLL}) {
      eis_device_configure_capability(device_, capability);
    }
    for (const Region& wanted : regions) {
      eis_region* const region = eis_device_new_region(device_);
      eis_region_set_offset(region, static_cast<std::uint32_t>(wanted.area.x()),
                            static_cast<std::uint32_t>(wanted.area.y()));
      eis_region_set_size(region, static_cast<std::uint32_t>(wanted.area.width()),
                          static_cast<std::uint32_t>(wanted.area.height()));
      if (wanted.name != nullptr) eis_region_set_mapping_id(region, wanted.name);
      eis_region_add(region);
      eis_region_unref(region);
    }
    eis_device_add(device_);
    eis_device_resume(device_);
  }

  eis* context_;
  eis_client* client_ = nullptr;
  eis_device* device_ = nullptr;
  std::unique_ptr<QSocketNotifier> notifier_;
};

class EisInputTest : public PortalFixture {
 protected:
  EisInputTest() {
    portal_->remoteDesktop = 2;
    portal_->connectToEis = [this] { return compositor_.connect(); };
  }
  void takeControl() {
    shareAndGrant();
    askForControl();
    ASSERT_TRUE(testloop::waitFor([this] { return permission_.has_value(); }));
    ASSERT_TRUE(permission_->granted) << permission_->reason.toStdString();
    ASSERT_TRUE(arrive({u"key 240 1"_s, u"key 240 0"_s})) << "the announcement of the keyboard";
  }
  [[nodiscard]] bool arrive(const QStringList& expected) {
    const bool arrived = testloop::waitFor([&] { return compositor_.events.size() >= expected.size(); });
    EXPECT_EQ(compositor_.events, expected);
    compositor_.events.clear();
    return arrived;
  }
  DesktopInput& input() { return desktop_->input(); }

  FakeCompositor compositor_;
};

TEST_F(EisInputTest, carriesEveryKindOfEvent) {
  takeControl();
  EXPECT_TRUE(input().moveTo(1, 0.5, 1));
  input().button(PointerButton::left, true);
  input().button(PointerButton::left, false);
  input().wheel({.vertical = 120});
  input().wheel({.vertical = -53});
  EXPECT_TRUE(input().key(KEY_A, true, {.shift = true}));
  EXPECT_TRUE(input().key(KEY_A, false, {}));
  EXPECT_TRUE(arrive({u"at 500 599"_s, u"button 272 1"_s, u"button 272 0"_s, u"notches 0 -120"_s, u"scroll 0 10"_s,
                      u"key 42 1"_s, u"key 30 1"_s, u"key 42 0"_s, u"key 30 0"_s}));
  access_->nudge(42);
  EXPECT_TRUE(arrive({u"by 1 0"_s, u"by -1 0"_s}));
  EXPECT_TRUE(portal_->notified.isEmpty()) << "the portal refuses its own calls beside the connection";
}

TEST_F(EisInputTest, findsTheRegionOfAScreenByItsNameOrItsPlace) {
  portal_->streams = {{.node = 7, .position = QPoint(0, 0), .size = QSize(800, 600), .mapping = u"b"_s},
                      {.node = 8, .position = QPoint(800, 0), .size = QSize(800, 600)}};
  compositor_.regions = {{QRect(800, 0, 800, 600), "a"}, {QRect(0, 100, 800, 600), "b"}};
  takeControl();
  EXPECT_TRUE(input().moveTo(1, 0.5, 0.5));
  EXPECT_TRUE(input().moveTo(2, 0.5, 0.5));
  EXPECT_TRUE(arrive({u"at 400 400"_s, u"at 1200 300"_s}));
}

// As a compositor does it when its monitors change.
TEST_F(EisInputTest, dropsEventsUntilADeviceIsReplaced) {
  takeControl();
  compositor_.removeDevice();
  ASSERT_TRUE(testloop::waitFor([this] { return !input().moveTo(1, 0.5, 0.5); }));
  compositor_.events.clear();
  compositor_.addDevice();
  ASSERT_TRUE(testloop::waitFor([this] { return input().moveTo(1, 0.25, 0.5); }));
  EXPECT_TRUE(arrive({u"at 250 300"_s}));
}

// There is no other way for input within the session.
TEST_F(EisInputTest, endsTheSessionWhenTheCompositorHangsUp) {
  takeControl();
  compositor_.hangUp();
  ASSERT_TRUE(testloop::waitFor([this] {
    (void)input().moveTo(1, 0.5, 0.5);
    return desktop_->status().state == DesktopState::closed;
  }));
  EXPECT_EQ(desktop_->status().reason, u"the desktop has ended the connection for input"_s);
}

TEST_F(EisInputTest, usesThePortalsCallsWhereThereIsNoConnection) {
  portal_->connectToEis = nullptr;
  shareAndGrant();
  askForControl();
  ASSERT_TRUE(testloop::waitFor([this] { return permission_.has_value(); }));
  EXPECT_TRUE(permission_->granted);
  EXPECT_TRUE(input().moveTo(1, 0.5, 0.5));
  EXPECT_TRUE(testloop::waitFor([this] { return !portal_->notified.isEmpty(); }));
}

TEST_F(EisInputTest, doesNotWaitForASilentCompositorForEver) {
  compositor_.silent = true;
  shareAndGrant();
  askForControl();
  testloop::drain();
  EXPECT_FALSE(permission_);
  ASSERT_TRUE(testloop::waitFor([this] { return permission_.has_value(); }));
  EXPECT_FALSE(permission_->granted);
}

}  // namespace
}  // namespace vantora
