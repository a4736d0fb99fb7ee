// The connection's figures for the statistics messages.
#pragma once

#include <functional>
#include <optional>

#include "base/Json.h"
#include "base/LinkSample.h"
#include "base/Scheduler.h"

namespace vantora {

// Requests a sample once a second, and only while the figures are asked for. Thread: main. Owner: Host.
class LinkStats {
 public:
  static constexpr std::chrono::milliseconds kPeriod{1000};
  // Figures this old are no longer served, even if there are no newer ones.
  static constexpr std::chrono::milliseconds kTooOld{3000};

  // Calls back later on the main thread, or never when the connection has ended.
  using Answer = std::function<void(const LinkSample&)>;
  using Request = std::function<void(Answer)>;

  // request: called for each sample.
  LinkStats(const Scheduler& scheduler, Request request) : scheduler_(scheduler), request_(std::move(request)) {}

  // The "link" object: "estimateKbps", "encodeMs", "codec", each if known; nullopt when none is.
  [[nodiscard]] std::optional<JsonObject> get();
  // Another connection follows, or none: forgets its figures.
  void reset();

 private:
  void take(const LinkSample& sample);
  [[nodiscard]] bool isOlder(const std::optional<std::chrono::nanoseconds>& at, std::chrono::milliseconds age) const;

  const Scheduler& scheduler_;
  const Request request_;
  JsonObject figures_;
  std::optional<LinkSample> before_;
  std::optional<std::chrono::nanoseconds> takenAt_;
  std::optional<std::chrono::nanoseconds> requestedAt_;
  // Answers to requests of an earlier connection have another number.
  int connection_ = 0;
};

}  // namespace vantora
