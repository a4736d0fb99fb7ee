#include "tests/wayland/canvas/Selection.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "tests/wayland/canvas/Report.h"

namespace vantora::canvas {
namespace {

const char* const kTextTypes[] = {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain"};

void writeAll(int descriptor, const QByteArray& text) {
  for (qsizetype at = 0; at < text.size();) {
    const ssize_t count = ::write(descriptor, text.constData() + at, static_cast<std::size_t>(text.size() - at));
    if (count <= 0) break;
    at += count;
  }
  ::close(descriptor);
}

}  // namespace

Selection::Selection(Globals& globals) : globals_(globals) {
  if (!globals.dataDevices) return;
  device_ = wl_data_device_manager_get_data_device(globals.dataDevices, globals.seat);
  static const wl_data_device_listener listener = {
      .data_offer = [](void* data, wl_data_device*,
                       wl_data_offer* offer) { static_cast<Selection*>(data)->offered(offer); },
      .enter = [](void*, wl_data_device*, std::uint32_t, wl_surface*, wl_fixed_t, wl_fixed_t, wl_data_offer*) {},
      .leave = [](void*, wl_data_device*) {},
      .motion = [](void*, wl_data_device*, std::uint32_t, wl_fixed_t, wl_fixed_t) {},
      .drop = [](void*, wl_data_device*) {},
      .selection = [](void* data, wl_data_device*,
                      wl_data_offer* offer) { static_cast<Selection*>(data)->selected(offer); },
  };
  wl_data_device_add_listener(device_, &listener, this);
}

void Selection::offered(wl_data_offer* offer) {
  announced_ = std::make_unique<Offer>(Offer{.proxy = offer, .types = {}});
  static const wl_data_offer_listener listener = {
      .offer = [](void* data, wl_data_offer*,
                  const char* type) { static_cast<Offer*>(data)->types.emplace_back(type); },
      .source_actions = [](void*, wl_data_offer*, std::uint32_t) {},
      .action = [](void*, wl_data_offer*, std::uint32_t) {},
  };
  wl_data_offer_add_listener(offer, &listener, announced_.get());
}

void Selection::selected(wl_data_offer* offer) {
  if (current_) wl_data_offer_destroy(current_->proxy);
  current_.reset();
  if (offer && announced_ && announced_->proxy == offer) current_ = std::move(announced_);
}

void Selection::copy(const QByteArray& text, std::uint32_t serial) {
  if (!device_) return reportError(QStringLiteral("copy: the compositor has no clipboard"));
  wl_data_source* source = wl_data_device_manager_create_data_source(globals_.dataDevices);
  static const wl_data_source_listener listener = {
      .target = [](void*, wl_data_source*, const char*) {},
      .send = [](void* data, wl_data_source*, const char*,
                 int descriptor) { writeAll(descriptor, static_cast<Source*>(data)->text); },
      .cancelled =
          [](void* data, wl_data_source* cancelled) {
            delete static_cast<Source*>(data);
            wl_data_source_destroy(cancelled);
          },
      .dnd_drop_performed = [](void*, wl_data_source*) {},
      .dnd_finished = [](void*, wl_data_source*) {},
      .action = [](void*, wl_data_source*, std::uint32_t) {},
  };
  wl_data_source_add_listener(source, &listener, new Source{text});
  for (const char* type : kTextTypes) wl_data_source_offer(source, type);
  wl_data_device_set_selection(device_, source, serial);
  static const wl_callback_listener done = {
      .done =
          [](void*, wl_callback* callback, std::uint32_t) {
            wl_callback_destroy(callback);
            report(QStringLiteral("copied"), true);
          },
  };
  wl_callback_add_listener(wl_display_sync(globals_.display), &done, nullptr);
}

void Selection::paste() {
  const char* type = nullptr;
  for (const char* wanted : kTextTypes) {
    if (!type && current_ && std::ranges::count(current_->types, QByteArray(wanted)) > 0) type = wanted;
  }
  int ends[2];
  if (!type || ::pipe2(ends, O_CLOEXEC) != 0) return report(QStringLiteral("clipboard"), QJsonValue::Null);
  wl_data_offer_receive(current_->proxy, type, ends[1]);
  wl_display_flush(globals_.display);
  ::close(ends[1]);
  pipes_.push_back(ends[0]);
  received_.emplace_back();
}

void Selection::read(int pipe) {
  const auto at = std::ranges::find(pipes_, pipe) - pipes_.begin();
  char part[65536];
  const ssize_t count = ::read(pipe, part, sizeof part);
  QByteArray& text = received_[static_cast<std::size_t>(at)];
  if (count > 0) {
    text.append(part, count);
    return;
  }
  report(QStringLiteral("clipboard"), QString::fromUtf8(text));
  ::close(pipe);
  pipes_.erase(pipes_.begin() + at);
  received_.erase(received_.begin() + at);
}

}  // namespace vantora::canvas
