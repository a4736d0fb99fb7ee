// The messages of a compositor's data control, in the form that libwayland reads.
#pragma once

#include <wayland-client.h>

#include <cstdint>

namespace vantora {

// Two protocols with different names have the same messages: ext_data_control and zwlr_data_control. Their primary
// selection (the text that is merely selected) is a later addition to the second one.
struct DataControlProtocol {
  // Requests, numbered as in the protocol.
  enum ManagerRequest { createDataSource, getDataDevice, destroyManager };
  enum DeviceRequest { setSelection, destroyDevice, setPrimarySelection };
  enum SourceRequest { offerFormat, destroySource };
  enum OfferRequest { receive, destroyOffer };

  // Events, in the order that libwayland expects.
  struct DeviceEvents {
    // A new offer, which one of the next two events will refer to.
    void (*dataOffer)(void* data, wl_proxy* device, wl_proxy* offer);
    void (*selection)(void* data, wl_proxy* device, wl_proxy* offer);  // Null: there is none.
    void (*finished)(void* data, wl_proxy* device);                    // The seat is gone.
    void (*primarySelection)(void* data, wl_proxy* device, wl_proxy* offer);
  };
  struct SourceEvents {
    void (*send)(void* data, wl_proxy* source, const char* format, int descriptor);
    void (*cancelled)(void* data, wl_proxy* source);  // Another one has replaced it.
  };
  struct OfferEvents {
    void (*offer)(void* data, wl_proxy* offer, const char* format);
  };

  wl_interface manager;
  wl_interface device;
  wl_interface source;
  wl_interface offer;

  // ext_data_control_manager_v1.
  static const DataControlProtocol& ext();
  // zwlr_data_control_manager_v1.
  static const DataControlProtocol& wlr();
};

// Sends a request without arguments that ends `proxy` on both sides; null is ignored.
void destroyProxy(wl_proxy* proxy, std::uint32_t request);

template <typename Events>
void listen(wl_proxy* proxy, const Events& events, void* data) {
  // The library keeps a table of functions of any type.
  using Function = void (*)();
  wl_proxy_add_listener(proxy, reinterpret_cast<Function*>(const_cast<Events*>(&events)), data);
}

}  // namespace vantora
