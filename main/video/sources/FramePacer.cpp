#include "main/video/sources/FramePacer.h"

#include <algorithm>

namespace vantora {
namespace {

constexpr FramePacer::Time kLongAgo = FramePacer::Time::min();

}  // namespace

FramePacer::FramePacer(int fps) : interval_(std::chrono::nanoseconds(std::chrono::seconds(1)) / fps) {}

void FramePacer::restart() {
  changePending_ = true;
  refreshPending_ = haveFrame_;
  encoderPending_ = false;
  repeatsLeft_ = 0;
  slot_.reset();
  lastSent_.reset();
  lastPoll_.reset();
  lastEncoderAnswer_.reset();
}

FramePacer::Step FramePacer::next(Time now) const {
  const Time slot = slot_.value_or(kLongAgo);
  if (changePending_) {
    // Polls without a change (damage on another display) are limited to the rate as well.
    const Time due = std::max(slot, lastPoll_ ? *lastPoll_ + interval_ : kLongAgo);
    if (now >= due) return {Action::poll};
    return {Action::wait, due, false};
  }
  if (!haveFrame_) return {Action::wait, kForever, true};
  const Time due = std::max(slot, repeatDue());
  if (now >= due) return {Action::repeat};
  return {Action::wait, due, true};
}

FramePacer::Time FramePacer::repeatStep() const {
  if (repeatsLeft_ > kStillRepeats) return kBurstStep;
  return repeatsLeft_ > 0 ? kStillStep : kRestStep;
}

FramePacer::Time FramePacer::repeatDue() const {
  if (refreshPending_ || !lastSent_) return kLongAgo;
  Time due = *lastSent_ + repeatStep();
  if (encoderPending_) due = std::min(due, lastEncoderAnswer_ ? *lastEncoderAnswer_ + kEncoderStep : kLongAgo);
  return due;
}

void FramePacer::takeSlot(Time now) {
  // A thread always wakes a little late. Counting from the time the frame was due keeps the rate; counting from now
  // after a pause or a longer delay keeps the distance between frames.
  const bool onTime = slot_ && now - *slot_ < interval_ / 4;
  slot_ = (onTime ? *slot_ : now) + interval_;
  lastSent_ = now;
  if (encoderPending_) lastEncoderAnswer_ = now;
  encoderPending_ = false;
}

void FramePacer::sentChange(Time now) {
  takeSlot(now);
  lastPoll_.reset();
  changePending_ = false;
  refreshPending_ = false;
  haveFrame_ = true;
  repeatsLeft_ = kBurstLength + kStillRepeats;
}

void FramePacer::pollUnchanged(Time now) {
  lastPoll_ = now;
  changePending_ = false;
}

void FramePacer::sentRepeat(Time now) {
  takeSlot(now);
  // A viewer that has just connected gets a coarse first frame and then the same sharpening.
  if (refreshPending_) {
    repeatsLeft_ = kBurstLength + kStillRepeats;
  } else if (repeatsLeft_ > 0) {
    --repeatsLeft_;
  }
  refreshPending_ = false;
}

}  // namespace vantora
