// The clipboard of Wayland compositors that let programs without a window manage it.
#pragma once

#include <QString>
#include <functional>
#include <memory>

#include "platform/Clipboard.h"

namespace vantora {

// Works while the compositor offers ext_data_control_manager_v1 or zwlr_data_control_manager_v1. Thread: main; it waits
// for no program: its socket and pipes are watched by the event loop.
class DataControlClipboard : public Clipboard {
 public:
  // Whether the compositor runs and offers one of the two. False before its reply.
  virtual bool available() const = 0;
  // Called after every change of available(); an empty handler unsubscribes.
  virtual void setAvailableHandler(std::function<void()> handler) = 0;
};

// `socket`: absolute path of the compositor's socket.
std::unique_ptr<DataControlClipboard> makeDataControlClipboard(const QString& socket);

}  // namespace vantora
