#include "platform/wayland/DataControlProtocol.h"

#include <array>
#include <span>

namespace vantora {
namespace {

// A family of interfaces that refer to one another. Signatures: n new object, o object, ? may be null, s text,
// h descriptor.
struct Family {
  struct Names {
    const char* manager;
    const char* device;
    const char* source;
    const char* offer;
  };

  static wl_interface interfaceOf(const char* name, int version, std::span<const wl_message> requests,
                                  std::span<const wl_message> events) {
    return {name,         version, static_cast<int>(requests.size()), requests.data(), static_cast<int>(events.size()),
            events.data()};
  }

  Family(const Names& names, int version)
      : deviceOfSeat{&protocol.device, &wl_seat_interface},
        aSource{&protocol.source},
        anOffer{&protocol.offer},
        managerRequests{{{"create_data_source", "n", aSource.data()},
                         {"get_data_device", "no", deviceOfSeat.data()},
                         {"destroy", "", nullptr}}},
        deviceRequests{{{"set_selection", "?o", aSource.data()},
                        {"destroy", "", nullptr},
                        {"set_primary_selection", "?o", aSource.data()}}},
        deviceEvents{{{"data_offer", "n", anOffer.data()},
                      {"selection", "?o", anOffer.data()},
                      {"finished", "", nullptr},
                      {"primary_selection", "?o", anOffer.data()}}},
        sourceRequests{{{"offer", "s", values.data()}, {"destroy", "", nullptr}}},
        sourceEvents{{{"send", "sh", values.data()}, {"cancelled", "", nullptr}}},
        offerRequests{{{"receive", "sh", values.data()}, {"destroy", "", nullptr}}},
        offerEvents{{{"offer", "s", values.data()}}},
        protocol{interfaceOf(names.manager, version, managerRequests, noEvents),
                 interfaceOf(names.device, version, deviceRequests, deviceEvents),
                 interfaceOf(names.source, version, sourceRequests, sourceEvents),
                 interfaceOf(names.offer, version, offerRequests, offerEvents)} {}
  Family(const Family&) = delete;
  Family& operator=(const Family&) = delete;

  // The interfaces of objects among the arguments.
  std::array<const wl_interface*, 2> deviceOfSeat;
  std::array<const wl_interface*, 1> aSource;
  std::array<const wl_interface*, 1> anOffer;
  std::array<const wl_interface*, 2> values{};
  std::span<const wl_message> noEvents;
  std::array<wl_message, 3> managerRequests;
  std::array<wl_message, 3> deviceRequests;
  std::array<wl_message, 4> deviceEvents;
  std::array<wl_message, 2> sourceRequests;
  std::array<wl_message, 2> sourceEvents;
  std::array<wl_message, 2> offerRequests;
  std::array<wl_message, 1> offerEvents;
  DataControlProtocol protocol;
};

}  // namespace

const DataControlProtocol& DataControlProtocol::ext() {
  static const Family family({"ext_data_control_manager_v1", "ext_data_control_device_v1", "ext_data_control_source_v1",
                              "ext_data_control_offer_v1"},
                             1);
  return family.protocol;
}

const DataControlProtocol& DataControlProtocol::wlr() {
  static const Family family({"zwlr_data_control_manager_v1", "zwlr_data_control_device_v1",
                              "zwlr_data_control_source_v1", "zwlr_data_control_offer_v1"},
                             2);
  return family.protocol;
}

void destroyProxy(wl_proxy* proxy, std::uint32_t request) {
  if (proxy == nullptr) return;
  wl_proxy_marshal_flags(proxy, request, nullptr, wl_proxy_get_version(proxy), WL_MARSHAL_FLAG_DESTROY);
}

}  // namespace vantora
