#include "tests/wayland/clipboard/FakeCompositor.h"

#include <unistd.h>

#include <utility>

namespace vantora::testwayland {
namespace {

// Events, numbered as in the protocol.
enum DeviceEvent { dataOffer, selection, finished, primarySelection };
enum SourceEvent { send, cancelled };
enum OfferEvent { offer };

void destroy(wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }

}  // namespace

FakeCompositor& FakeCompositor::self(wl_resource* resource) {
  return *static_cast<FakeCompositor*>(wl_resource_get_user_data(resource));
}

FakeCompositor::FakeCompositor(const DataControlProtocol& protocol, std::uint32_t version)
    : protocol_(protocol), display_(wl_display_create()) {
  wl_display_add_socket(display_, socket().toUtf8().constData());
  wl_global_create(display_, &wl_seat_interface, 1, this, [](wl_client* client, void* data, std::uint32_t, auto id) {
    static_cast<FakeCompositor*>(data)->bindSeat(client, id);
  });
  const auto bind = [](wl_client* client, void* data, std::uint32_t bound, std::uint32_t id) {
    static_cast<FakeCompositor*>(data)->bindManager(client, bound, id);
  };
  wl_global_create(display_, &protocol_.manager, static_cast<int>(version), this, bind);
  wl_event_loop* const loop = wl_display_get_event_loop(display_);
  notifier_ = std::make_unique<QSocketNotifier>(wl_event_loop_get_fd(loop), QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, &context_, [this, loop] {
    wl_event_loop_dispatch(loop, 0);
    wl_display_flush_clients(display_);
  });
}

FakeCompositor::~FakeCompositor() {
  notifier_.reset();
  wl_display_destroy_clients(display_);
  wl_display_destroy(display_);
}

void FakeCompositor::bindSeat(wl_client* client, std::uint32_t id) {
  wl_resource_create(client, &wl_seat_interface, 1, id);
}

void FakeCompositor::bindManager(wl_client* client, std::uint32_t version, std::uint32_t id) {
  struct Manager {
    void (*createDataSource)(wl_client*, wl_resource*, std::uint32_t id);
    void (*getDataDevice)(wl_client*, wl_resource*, std::uint32_t id, wl_resource* seat);
    void (*destroy)(wl_client*, wl_resource*);
  };
  struct Device {
    void (*setSelection)(wl_client*, wl_resource*, wl_resource* source);
    void (*destroy)(wl_client*, wl_resource*);
    void (*setPrimarySelection)(wl_client*, wl_resource*, wl_resource* source);
  };
  struct Source {
    void (*offer)(wl_client*, wl_resource*, const char* format);
    void (*destroy)(wl_client*, wl_resource*);
  };
  static constexpr Device kDevice{
      [](wl_client*, wl_resource* device, wl_resource* source) { self(device).clientSelects(source); }, destroy,
      [](wl_client*, wl_resource* device, wl_resource* source) { self(device).clientSelectsPrimary(source); }};
  static constexpr Source kSource{
      [](wl_client*, wl_resource* source, const char* format) { self(source).sources_[source].emplace_back(format); },
      destroy};
  static constexpr Manager kManager{
      [](wl_client* owner, wl_resource* manager, std::uint32_t newId) {
        wl_resource* const source =
            wl_resource_create(owner, &self(manager).protocol_.source, wl_resource_get_version(manager), newId);
        self(manager).sources_[source] = {};
        wl_resource_set_implementation(source, &kSource, &self(manager), [](wl_resource* gone) {
          if (self(gone).selected_ == gone) self(gone).selected_ = nullptr;
          self(gone).sources_.erase(gone);
        });
      },
      [](wl_client* owner, wl_resource* manager, std::uint32_t newId, wl_resource*) {
        wl_resource* const device =
            wl_resource_create(owner, &self(manager).protocol_.device, wl_resource_get_version(manager), newId);
        self(manager).devices_.insert(device);
        wl_resource_set_implementation(device, &kDevice, &self(manager),
                                       [](wl_resource* gone) { self(gone).devices_.erase(gone); });
        wl_resource_post_event(device, selection, nullptr);
        const bool knows =
            &self(manager).protocol_ == &DataControlProtocol::ext() || wl_resource_get_version(manager) >= 2;
        if (knows && self(manager).hasPrimary) wl_resource_post_event(device, primarySelection, nullptr);
      },
      destroy};
  wl_resource_set_implementation(wl_resource_create(client, &protocol_.manager, static_cast<int>(version), id),
                                 &kManager, this, nullptr);
}

void FakeCompositor::clientSelectsPrimary(wl_resource* source) {
  if (source == nullptr) return;
  for (wl_resource* const device : devices_) {
    wl_resource_post_event(device, primarySelection, offerTo(device, source, {}, sources_[source]));
  }
}

void FakeCompositor::clientSelects(wl_resource* source) {
  wl_resource* const before = std::exchange(selected_, source);
  if (before != nullptr) wl_resource_post_event(before, cancelled);
  if (!confirms || source == nullptr) return;
  for (wl_resource* const device : devices_) {
    wl_resource_post_event(device, selection, offerTo(device, source, {}, sources_[source]));
  }
}

wl_resource* FakeCompositor::offerTo(wl_resource* device, wl_resource* source, const QByteArray& text,
                                     const std::vector<QByteArray>& formats) {
  struct Offer {
    void (*receive)(wl_client*, wl_resource*, const char* format, int descriptor);
    void (*destroy)(wl_client*, wl_resource*);
  };
  static constexpr Offer kOffer{[](wl_client*, wl_resource* resource, const char* format, int descriptor) {
                                  FakeCompositor& compositor = self(resource);
                                  const Content& content = compositor.offers_.at(resource);
                                  compositor.received.emplace_back(format);
                                  if (content.source != nullptr && compositor.sources_.contains(content.source)) {
                                    wl_resource_post_event(content.source, send, format, descriptor);
                                  } else {
                                    (void)!::write(descriptor, content.text.constData(),
                                                   static_cast<std::size_t>(content.text.size()));
                                  }
                                  ::close(descriptor);
                                },
                                destroy};
  wl_resource* const resource =
      wl_resource_create(wl_resource_get_client(device), &protocol_.offer, wl_resource_get_version(device), 0);
  offers_[resource] = {source, text};
  wl_resource_set_implementation(resource, &kOffer, this, [](wl_resource* gone) { self(gone).offers_.erase(gone); });
  wl_resource_post_event(device, dataOffer, resource);
  for (const QByteArray& format : formats) wl_resource_post_event(resource, offer, format.constData());
  return resource;
}

void FakeCompositor::copy(const QByteArray& text, const std::vector<QByteArray>& formats) {
  clientSelects(nullptr);
  for (wl_resource* const device : devices_) {
    wl_resource_post_event(device, selection, offerTo(device, nullptr, text, formats));
  }
  wl_display_flush_clients(display_);
}

void FakeCompositor::select(const QByteArray& text) {
  for (wl_resource* const device : devices_) {
    wl_resource_post_event(device, primarySelection, offerTo(device, nullptr, text, {"text/plain"}));
  }
  wl_display_flush_clients(display_);
}

void FakeCompositor::offerWithoutReason(int count) {
  for (wl_resource* const device : devices_) {
    for (int i = 0; i < count; ++i) offerTo(device, nullptr, "x", {"text/plain"});
  }
  wl_display_flush_clients(display_);
}

void FakeCompositor::finish() {
  for (wl_resource* const device : devices_) wl_resource_post_event(device, finished);
  wl_display_flush_clients(display_);
}

void FakeCompositor::accuse() {
  for (wl_resource* const device : devices_) wl_resource_post_error(device, 0, "%s", "accused");
  wl_display_flush_clients(display_);
}

}  // namespace vantora::testwayland
