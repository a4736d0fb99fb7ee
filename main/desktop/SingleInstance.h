// Keeps one host per room and desktop: a second launch notifies the running host.
#pragma once

#include <QByteArray>
#include <QSocketNotifier>
#include <chrono>
#include <functional>
#include <memory>

#include "base/Environment.h"

namespace vantora {

// The name that identifies the host of `room` at `signalingUrl` among the processes of this user and desktop.
QByteArray launchName(const Environment& environment, const QString& room, const QString& signalingUrl);

// Holds a launch name during its lifetime. The name is an abstract socket address, without a file: it is free again as
// soon as its process ends, however it ends. Thread: main. Owner: HostAppDelegate.
class SingleInstance {
 public:
  enum class Outcome {
    // This launch runs: it holds the name, or the name is unavailable (held by another user, or by a process that
    // neither accepts a request nor ends).
    firstLaunch,
    // Another process of the same user holds the name and has been notified, or will read the request when it
    // continues: one that is stopped, or busy for long, is still the host of the room. A queue full of such requests
    // counts as well.
    notifiedRunning,
  };

  // On a busy machine the holder may need this long to reply, or, when it is ending, to release the name.
  static constexpr std::chrono::milliseconds kTimeout{5000};

  SingleInstance() = default;
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // `launchedAgain` runs on the main thread for every later launch. Blocks for at most `timeout`, and no longer than it
  // takes the holder of the name to reply or to end; the name of one that ends is taken over.
  [[nodiscard]] Outcome acquire(const QByteArray& name, std::function<void()> launchedAgain,
                                std::chrono::milliseconds timeout = kTimeout);

 private:
  void accept();

  std::function<void()> launchedAgain_;
  int descriptor_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vantora
