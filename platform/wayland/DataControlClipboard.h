// The clipboard of Wayland compositors that let programs without a window manage it.
#pragma once

#include <QString>
#include <chrono>
#include <functional>
#include <memory>

#include "platform/Clipboard.h"

namespace vantora {

// Works while the compositor offers ext_data_control_manager_v1 or zwlr_data_control_manager_v1. A clipboard that
// becomes empty (its owner has ended) is no change. A text that was set is lost with its compositor. Thread: main; it
// waits for no program: its socket and pipes are watched by the event loop. The process must ignore SIGPIPE.
class DataControlClipboard : public Clipboard {
 public:
  // Whether the compositor runs and offers one of the two. False before its reply. Otherwise nothing is read or set.
  virtual bool available() const = 0;
  // Called after every change of available(); an empty handler unsubscribes.
  virtual void setAvailableHandler(std::function<void()> handler) = 0;
};

// `socket`: absolute path of the compositor's socket. `timeout`: of a reading or setting.
std::unique_ptr<DataControlClipboard> makeDataControlClipboard(
    const QString& socket, std::chrono::milliseconds timeout = std::chrono::seconds(4));

}  // namespace vantora
