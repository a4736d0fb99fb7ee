#include "Diagnostics/Pieces.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "base/process/AbandonableThread.h"

namespace vantora::Diagnostics {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMaxWorkers = 8;
constexpr int kWorkerNiceness = 10;

std::atomic<int> threadsAtWork = 0;

// State shared by the threads of one report; the last owner frees it.
struct Collection {
  Collection(const Options& options, const std::vector<Collector>& wanted)
      : probe(options), pieces(wanted), results(wanted.size()) {}

  // Runs one piece after another until there are no more.
  void work(const std::vector<size_t>& order, std::atomic<size_t>& next) {
    for (size_t i = next++; i < order.size(); i = next++) {
      if (probe.options().stop.stop_requested()) return;
      QJsonObject result = pieces[order[i]].collect(probe);
      const std::lock_guard lock(mutex);
      results[order[i]] = std::move(result);
    }
  }

  const Probe probe;
  const std::vector<Collector> pieces;
  std::mutex mutex;
  std::condition_variable_any ended;
  std::vector<QJsonObject> results;  // Under the mutex.
};

// One round of pieces.
struct Round {
  explicit Round(std::vector<size_t> indices, int threads) : order(std::move(indices)), running(threads) {}
  const std::vector<size_t> order;
  std::atomic<size_t> next = 0;
  int running;  // Under the mutex of the collection.
};

void runThread(Collection& collection, Round& round) {
#ifdef Q_OS_LINUX
  // On Linux this affects the calling thread only.
  (void)setpriority(PRIO_PROCESS, 0, kWorkerNiceness);
#endif
  collection.work(round.order, round.next);
  --threadsAtWork;
  const std::lock_guard lock(collection.mutex);
  --round.running;
  collection.ended.notify_all();
}

// Runs some of the pieces and waits for them until `end`, but at most kEndGrace after a stop request.
void runRound(const std::shared_ptr<Collection>& collection, std::vector<size_t> order, int count,
              Clock::time_point end) {
  if (order.empty()) return;
  if (threadsAtWork.fetch_add(count) + count > kMaxThreads) {
    threadsAtWork -= count;
    return;
  }
  const auto round = std::make_shared<Round>(std::move(order), count);
  std::vector<AbandonableThread> threads;
  threads.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) threads.emplace_back([collection, round] { runThread(*collection, *round); });

  const auto allEnded = [&] { return round->running == 0; };
  bool complete = false;
  {
    std::unique_lock lock(collection->mutex);
    const std::stop_token& stop = collection->probe.options().stop;
    complete = collection->ended.wait_until(lock, stop, end, allEnded);
    if (!complete && stop.stop_requested()) {
      complete = collection->ended.wait_until(lock, std::min(end, Clock::now() + kEndGrace), allEnded);
    }
  }
  // Threads that are done need only a moment to end.
  const auto lastSteps = Clock::now() + (complete ? std::chrono::seconds(10) : std::chrono::milliseconds(50));
  for (AbandonableThread& thread : threads) (void)thread.join(lastSteps);
}

}  // namespace

std::vector<QJsonObject> collectPieces(const Options& options, const std::vector<Collector>& pieces) {
  const auto collection = std::make_shared<Collection>(options, pieces);
  std::vector<size_t> first;
  std::vector<size_t> others;
  for (size_t i = 0; i < pieces.size(); ++i) {
    (pieces[i].turn == Collector::Turn::first ? first : others).push_back(i);
  }
  std::stable_partition(others.begin(), others.end(),
                        [&](size_t index) { return pieces[index].turn == Collector::Turn::early; });

  const Clock::time_point end = collection->probe.deadline() + kEndGrace;
  runRound(collection, std::move(first), 1, std::min(end, Clock::now() + kFirstTimeout));
  runRound(collection, std::move(others), std::clamp(options.workers, 1, kMaxWorkers), end);
  const std::lock_guard lock(collection->mutex);
  return collection->results;
}

}  // namespace vantora::Diagnostics
