#include "main/telemetry/LinkStats.h"

#include <cmath>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

double toTenths(double value) { return std::round(value * 10) / 10; }

// Milliseconds for each frame that was encoded between two samples.
std::optional<double> encodeMs(const LinkSample& before, const LinkSample& now) {
  if (!before.framesEncoded || !before.encodeSeconds || !now.framesEncoded || !now.encodeSeconds) return std::nullopt;
  if (*now.framesEncoded <= *before.framesEncoded || *now.encodeSeconds < *before.encodeSeconds) return std::nullopt;
  const auto frames = static_cast<double>(*now.framesEncoded - *before.framesEncoded);
  return (*now.encodeSeconds - *before.encodeSeconds) * 1000 / frames;
}

}  // namespace

bool LinkStats::isOlder(const std::optional<std::chrono::nanoseconds>& at, std::chrono::milliseconds age) const {
  return !at || scheduler_.monotonicNow() - *at >= age;
}

std::optional<JsonObject> LinkStats::get() {
  // A request that gets no answer is repeated.
  if (isOlder(requestedAt_, kPeriod)) {
    requestedAt_ = scheduler_.monotonicNow();
    request_([this, connection = connection_](const LinkSample& sample) {
      if (connection == connection_) take(sample);
    });
  }
  if (isOlder(takenAt_, kTooOld) || figures_.isEmpty()) return std::nullopt;
  return figures_;
}

void LinkStats::take(const LinkSample& sample) {
  JsonObject figures;
  if (sample.estimateBps)
    figures.insert(u"estimateKbps"_s, static_cast<qint64>(std::llround(*sample.estimateBps / 1000)));
  if (before_) {
    if (const auto ms = encodeMs(*before_, sample)) figures.insert(u"encodeMs"_s, toTenths(*ms));
  }
  if (!sample.codec.isEmpty()) figures.insert(u"codec"_s, sample.codec);
  figures_ = std::move(figures);
  before_ = sample;
  takenAt_ = scheduler_.monotonicNow();
}

void LinkStats::reset() {
  ++connection_;
  figures_ = {};
  before_.reset();
  takenAt_.reset();
  requestedAt_.reset();
}

}  // namespace vantora
