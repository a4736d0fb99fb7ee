// A program that copies and then serves its text badly.
#pragma once

#include <poll.h>
#include <wayland-client.h>

#include <QString>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "base/process/FileDescriptor.h"
#include "platform/wayland/DataControlProtocol.h"

namespace vantora::testwayland {

enum class Manners {
  silent,   // Keeps the pipe open and writes nothing.
  partial,  // Writes a part of its text and keeps the pipe open.
  endless,  // Writes for as long as somebody reads.
};

// Owns the clipboard from the constructor to the destructor, on a thread of its own.
class WaylandOwner {
 public:
  WaylandOwner(const QString& socket, Manners manners, std::vector<std::string> formats = {"text/plain"})
      : manners_(manners), formats_(std::move(formats)), display_(wl_display_connect(socket.toUtf8().constData())) {
    if (display_ != nullptr) thread_ = std::thread([this] { serve(); });
  }
  ~WaylandOwner() {
    quit_ = true;
    if (thread_.joinable()) thread_.join();
    if (display_ != nullptr) wl_display_disconnect(display_);
  }
  WaylandOwner(const WaylandOwner&) = delete;
  WaylandOwner& operator=(const WaylandOwner&) = delete;

  // Programs that wanted the text.
  int requests() const { return requests_; }

 private:
  static WaylandOwner& self(void* data) { return *static_cast<WaylandOwner*>(data); }

  void serve() {
    static constexpr wl_registry_listener kListener{
        .global = [](void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                     std::uint32_t) { self(data).bind(registry, name, interface); },
        .global_remove = [](void*, wl_registry*, std::uint32_t) {}};
    wl_registry* const registry = wl_display_get_registry(display_);
    wl_registry_add_listener(registry, &kListener, this);
    wl_display_roundtrip(display_);
    copy();
    while (!quit_ && wl_display_get_error(display_) == 0) {
      pollfd ready{wl_display_get_fd(display_), POLLIN, 0};
      wl_display_flush(display_);
      if (::poll(&ready, 1, 5) > 0) wl_display_dispatch(display_);
    }
    for (wl_proxy* proxy :
         {source_, device_, manager_, reinterpret_cast<wl_proxy*>(seat_), reinterpret_cast<wl_proxy*>(registry)}) {
      if (proxy != nullptr) wl_proxy_destroy(proxy);
    }
  }

  void bind(wl_registry* registry, std::uint32_t name, const char* interface) {
    if (std::strcmp(interface, wl_seat_interface.name) == 0) {
      seat_ = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
    } else if (std::strcmp(interface, protocol_.manager.name) == 0) {
      manager_ = static_cast<wl_proxy*>(wl_registry_bind(registry, name, &protocol_.manager, 1));
    }
  }

  void copy() {
    static constexpr DataControlProtocol::DeviceEvents kDevice{
        .dataOffer = [](void*, wl_proxy*, wl_proxy*) {},
        .selection = [](void*, wl_proxy*, wl_proxy* offer) { destroyProxy(offer, DataControlProtocol::destroyOffer); },
        .finished = [](void*, wl_proxy*) {},
        .primarySelection = [](void*, wl_proxy*, wl_proxy*) {}};
    static constexpr DataControlProtocol::SourceEvents kSource{
        .send = [](void* data, wl_proxy*, const char*, int descriptor) { self(data).send(FileDescriptor(descriptor)); },
        .cancelled = [](void*, wl_proxy*) {}};
    device_ =
        wl_proxy_marshal_flags(manager_, DataControlProtocol::getDataDevice, &protocol_.device, 1, 0, nullptr, seat_);
    listen(device_, kDevice, this);
    source_ = wl_proxy_marshal_flags(manager_, DataControlProtocol::createDataSource, &protocol_.source, 1, 0, nullptr);
    listen(source_, kSource, this);
    for (const std::string& format : formats_) {
      wl_proxy_marshal_flags(source_, DataControlProtocol::offerFormat, nullptr, 1, 0, format.c_str());
    }
    wl_proxy_marshal_flags(device_, DataControlProtocol::setSelection, nullptr, 1, 0, source_);
  }

  void send(FileDescriptor pipe) {
    ++requests_;
    const std::vector<char> text(65536, 'x');
    ssize_t written = 0;
    do {
      if (manners_ != Manners::silent) written = ::write(pipe.get(), text.data(), text.size());
    } while (manners_ == Manners::endless && written > 0 && !quit_);
    kept_.push_back(std::move(pipe));
  }

  const Manners manners_;
  const std::vector<std::string> formats_;
  const DataControlProtocol& protocol_ = DataControlProtocol::wlr();
  wl_display* display_;
  wl_seat* seat_ = nullptr;
  wl_proxy* manager_ = nullptr;
  wl_proxy* device_ = nullptr;
  wl_proxy* source_ = nullptr;
  std::vector<FileDescriptor> kept_;
  std::atomic<int> requests_ = 0;
  std::atomic<bool> quit_ = false;
  std::thread thread_;
};

}  // namespace vantora::testwayland
