// One host for one room on one desktop: a second launch is told to the first.
#pragma once

#include <QByteArray>
#include <QSocketNotifier>
#include <chrono>
#include <functional>
#include <memory>

#include "base/Environment.h"

namespace vantora {

// The name under which the host of `room` at `signalingUrl` is known among the processes of this user and desktop.
QByteArray launchName(const Environment& environment, const QString& room, const QString& signalingUrl);

// Holds a launch name as long as it lives. The name is a socket's without a file: it is free again the moment its
// process ends, however it ends. Thread: main. Owner: HostAppDelegate.
class SecondLaunch {
 public:
  enum class Outcome {
    // The name is ours, or cannot be had (another user took it, or somebody who neither takes a word nor goes): this
    // launch runs.
    first,
    // Another process of the same user holds the name and has been told, or will read it when it wakes: one that is
    // stopped, or busy for long, is still the one host of the room. A queue that is full of such words counts as well.
    toldOther,
  };

  // A busy machine may keep the holder from answering for that long, and a holder that is ending from letting go.
  static constexpr std::chrono::milliseconds kTimeout{5000};

  SecondLaunch() = default;
  ~SecondLaunch();
  SecondLaunch(const SecondLaunch&) = delete;
  SecondLaunch& operator=(const SecondLaunch&) = delete;

  // `launchedAgain` runs on the main thread for every later launch. Blocks for at most `timeout`, and no longer than
  // it takes the holder of the name to answer or to end; the name of one that ends is ours.
  [[nodiscard]] Outcome claim(const QByteArray& name, std::function<void()> launchedAgain,
                              std::chrono::milliseconds timeout = kTimeout);

 private:
  void accept();

  std::function<void()> launchedAgain_;
  int descriptor_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vantora
