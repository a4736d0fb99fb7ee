#include "platform/wayland/DataControlClipboard.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <utility>

#include "platform/wayland/DataControlProtocol.h"
#include "platform/wayland/DataControlSelection.h"
#include "platform/wayland/WaylandConnection.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

// Offers of which the compositor has not told yet what they are; it tells of each before it makes the next one.
constexpr std::size_t kMaxNewOffers = 8;

class WaylandClipboard final : public DataControlClipboard {
 public:
  WaylandClipboard(const QString& socket, std::chrono::milliseconds timeout)
      : timeout_(timeout),
        connection_(socket, {.opened = [this](wl_display* display) { opened(display); }, .lost = [this] { lost(); }}) {}
  ~WaylandClipboard() override {
    availableChanged_ = nullptr;
    clipboard_.drop();
    primary_.drop();
  }

  bool available() const override { return available_; }
  void setAvailableHandler(std::function<void()> handler) override { availableChanged_ = std::move(handler); }
  qint64 changeCount() const override { return clipboard_.changeCount(); }
  void setChangedHandler(std::function<void()> handler) override { clipboard_.setChangedHandler(std::move(handler)); }

  void setText(const QString& text, std::function<void(qint64)> done) override {
    clipboard_.setText(text, std::move(done));
  }
  void requestText(TextCallback done) override { clipboard_.requestText(std::move(done)); }
  void setInterestHandler(std::function<void(Interest)> handler) override {
    clipboard_.setInterestHandler(std::move(handler));
  }
  bool shared() const override { return available_; }
  Clipboard* primary() override { return hasPrimary_ ? &primary_ : nullptr; }

 private:
  using Offer = DataControlSelection::Offer;

  static WaylandClipboard& self(void* data) { return *static_cast<WaylandClipboard*>(data); }

  // The connection.

  void opened(wl_display* display) {
    static constexpr wl_registry_listener kListener{
        .global = [](void* data, wl_registry*, std::uint32_t name, const char* interface,
                     std::uint32_t version) { self(data).offered(name, interface, version); },
        .global_remove = [](void* data, wl_registry*, std::uint32_t name) { self(data).withdrawn(name); }};
    display_ = display;
    registry_ = wl_display_get_registry(display);
    wl_registry_add_listener(registry_, &kListener, this);
    afterReplies([this] { prepare(); });
  }

  void lost() {
    forgetDevice();
    destroyProxy(manager_, DataControlProtocol::destroyManager);
    if (seat_ != nullptr) wl_seat_destroy(seat_);
    if (callback_ != nullptr) wl_callback_destroy(callback_);
    if (registry_ != nullptr) wl_registry_destroy(registry_);
    manager_ = nullptr;
    seat_ = nullptr;
    callback_ = nullptr;
    registry_ = nullptr;
    protocol_ = nullptr;
  }

  // Calls `next` when the compositor has replied to everything so far.
  void afterReplies(std::function<void()> next) {
    static constexpr wl_callback_listener kListener{.done = [](void* data, wl_callback* callback, std::uint32_t) {
      WaylandClipboard& clipboard = self(data);
      wl_callback_destroy(callback);
      clipboard.callback_ = nullptr;
      std::exchange(clipboard.next_, nullptr)();
    }};
    if (callback_ != nullptr) wl_callback_destroy(callback_);
    next_ = std::move(next);
    callback_ = wl_display_sync(display_);
    wl_callback_add_listener(callback_, &kListener, this);
  }

  void offered(std::uint32_t name, const char* interface, std::uint32_t version) {
    const DataControlProtocol& ext = DataControlProtocol::ext();
    const DataControlProtocol& wlr = DataControlProtocol::wlr();
    if (std::strcmp(interface, wl_seat_interface.name) == 0 && seat_ == nullptr) {
      seatName_ = name;
      seat_ = static_cast<wl_seat*>(wl_registry_bind(registry_, name, &wl_seat_interface, 1));
    } else if (std::strcmp(interface, ext.manager.name) == 0 && protocol_ != &ext) {
      takeManager(name, ext, version);
    } else if (std::strcmp(interface, wlr.manager.name) == 0 && protocol_ == nullptr) {
      takeManager(name, wlr, version);
    }
    if (prepared_) prepare();
  }

  void takeManager(std::uint32_t name, const DataControlProtocol& protocol, std::uint32_t version) {
    if (device_ != nullptr) return;  // Content with the other one.
    destroyProxy(manager_, DataControlProtocol::destroyManager);
    protocol_ = &protocol;
    const std::uint32_t known = std::min(version, static_cast<std::uint32_t>(protocol.manager.version));
    manager_ = static_cast<wl_proxy*>(wl_registry_bind(registry_, name, &protocol.manager, known));
  }

  void withdrawn(std::uint32_t name) {
    if (seat_ != nullptr && name == seatName_) connection_.reopen();
  }

  // Once the compositor has named everything it offers.
  void prepare() {
    prepared_ = true;
    if (manager_ == nullptr || seat_ == nullptr || device_ != nullptr) return;
    static constexpr DataControlProtocol::DeviceEvents kEvents{
        .dataOffer = [](void* data, wl_proxy*, wl_proxy* offer) { self(data).introduced(offer); },
        .selection = [](void* data, wl_proxy*,
                        wl_proxy* offer) { self(data).clipboard_.selected(self(data).taken(offer)); },
        .finished = [](void* data, wl_proxy*) { self(data).connection_.reopen(); },
        .primarySelection = [](void* data, wl_proxy*, wl_proxy* offer) { self(data).primarySelected(offer); }};
    device_ = wl_proxy_marshal_flags(manager_, DataControlProtocol::getDataDevice, &protocol_->device,
                                     wl_proxy_get_version(manager_), 0, nullptr, seat_);
    listen(device_, kEvents, this);
    clipboard_.open(*protocol_, manager_, device_);
    primary_.open(*protocol_, manager_, device_);
    // The present selections come with the device, that of a compositor without a primary one excepted.
    afterReplies([this] {
      connection_.confirm();
      clipboard_.setKnown();
      hasPrimary_ = primaryTold_;
      if (hasPrimary_) primary_.setKnown();
      setAvailable(true);
    });
  }

  void primarySelected(wl_proxy* offer) {
    primaryTold_ = true;
    primary_.selected(taken(offer));
  }

  void forgetDevice() {
    forgetNewOffers();
    destroyProxy(std::exchange(device_, nullptr), DataControlProtocol::destroyDevice);
    prepared_ = false;
    primaryTold_ = false;
    clipboard_.close();
    primary_.close();
    setAvailable(false);
  }

  void setAvailable(bool available) {
    if (std::exchange(available_, available) == available) return;
    if (const auto handler = availableChanged_) handler();
  }

  // Offers of other programs, and those of this one.

  void introduced(wl_proxy* offer) {
    static constexpr DataControlProtocol::OfferEvents kEvents{
        .offer = [](void* data, wl_proxy* each, const char* format) { self(data).hasFormat(each, format); }};
    if (newOffers_.size() >= kMaxNewOffers) forgetNewOffers();
    listen(offer, kEvents, this);
    newOffers_.push_back({.proxy = offer});
  }

  auto placeOf(wl_proxy* proxy) {
    return std::find_if(newOffers_.begin(), newOffers_.end(),
                        [proxy](const Offer& each) { return each.proxy == proxy; });
  }

  void hasFormat(wl_proxy* proxy, const char* name) {
    if (const auto offer = placeOf(proxy); offer != newOffers_.end()) offer->add(name);
  }

  // Of the new offers, the others are for nothing.
  Offer taken(wl_proxy* proxy) {
    Offer result;
    if (const auto offer = placeOf(proxy); offer != newOffers_.end()) result = std::exchange(*offer, {});
    forgetNewOffers();
    return result;
  }

  void forgetNewOffers() {
    for (const Offer& offer : std::exchange(newOffers_, {})) {
      destroyProxy(offer.proxy, DataControlProtocol::destroyOffer);
    }
  }

  const std::chrono::milliseconds timeout_;
  std::function<void()> availableChanged_;
  bool available_ = false;

  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_callback* callback_ = nullptr;
  std::function<void()> next_;  // At the callback.
  bool prepared_ = false;       // The compositor has named what it offers.
  const DataControlProtocol* protocol_ = nullptr;
  wl_proxy* manager_ = nullptr;
  wl_seat* seat_ = nullptr;
  std::uint32_t seatName_ = 0;
  wl_proxy* device_ = nullptr;

  std::list<Offer> newOffers_;
  bool primaryTold_ = false;
  bool hasPrimary_ = false;
  DataControlSelection clipboard_{DataControlProtocol::setSelection, timeout_, [this] { connection_.flush(); }};
  DataControlSelection primary_{DataControlProtocol::setPrimarySelection, timeout_, [this] { connection_.flush(); }};
  WaylandConnection connection_;  // Last: it ends first.
};

}  // namespace

std::unique_ptr<DataControlClipboard> makeDataControlClipboard(const QString& socket,
                                                               std::chrono::milliseconds timeout) {
  return std::make_unique<WaylandClipboard>(socket, timeout);
}

}  // namespace vantora
