#include "main/TerminationSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace vantora {

TerminationSignals::TerminationSignals(std::function<void()> requested) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  // Closing the terminal ends the program like any other request: keys that the viewer holds must be released.
  struct sigaction hangUp {};
  if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) sigaddset(&signals, SIGHUP);
  // Threads started later inherit the mask, so that the signals can only arrive here.
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  notifier_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                   [this, requested = std::move(requested)] {
                     signalfd_siginfo info;
                     while (::read(descriptor_, &info, sizeof info) == sizeof info) {
                     }
                     requested();
                   });
}

TerminationSignals::~TerminationSignals() {
  notifier_.reset();
  ::close(descriptor_);
}

}  // namespace vantora
