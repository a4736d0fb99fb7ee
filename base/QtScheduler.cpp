#include "base/QtScheduler.h"

#include <QObject>
#include <QTimer>

namespace vantora {
namespace {

class QtTimer final : public Timer {
 public:
  QtTimer(std::chrono::milliseconds first, std::optional<std::chrono::milliseconds> period,
          Scheduler::Callback callback)
      : timer_(new QTimer) {
    timer_->setTimerType(Qt::PreciseTimer);
    timer_->setSingleShot(!period);
    QTimer* timer = timer_;
    QObject::connect(timer, &QTimer::timeout, timer, [timer, period, callback = std::move(callback)] {
      if (period && timer->interval() != period->count()) timer->setInterval(*period);
      const Scheduler::Callback keepAlive = callback;  // The callback may destroy this timer.
      keepAlive();
    });
    timer_->start(first);
  }
  ~QtTimer() override {
    timer_->stop();
    timer_->disconnect();
    timer_->deleteLater();
  }

 private:
  QTimer* timer_;
};

}  // namespace

std::chrono::nanoseconds QtScheduler::monotonicNow() const {
  return std::chrono::steady_clock::now().time_since_epoch();
}

std::chrono::nanoseconds QtScheduler::unixNow() const { return std::chrono::system_clock::now().time_since_epoch(); }

std::unique_ptr<Timer> QtScheduler::after(std::chrono::milliseconds delay, Callback callback) {
  return std::make_unique<QtTimer>(delay, std::nullopt, std::move(callback));
}

std::unique_ptr<Timer> QtScheduler::every(std::chrono::milliseconds first, std::chrono::milliseconds period,
                                          Callback callback) {
  return std::make_unique<QtTimer>(first, period, std::move(callback));
}

}  // namespace vantora
