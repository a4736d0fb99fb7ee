#include "main/video/sources/FramePacer.h"

#include <algorithm>

namespace vantora {
namespace {

constexpr FramePacer::Time kLongAgo = FramePacer::Time::min();

}  // namespace

FramePacer::FramePacer(int fps) : interval_(std::chrono::nanoseconds(std::chrono::seconds(1)) / fps) {}

void FramePacer::restart() {
  changePending_ = true;
  refreshPending_ = havePicture_;
  encoderPending_ = false;
  burstLeft_ = 0;
  slot_.reset();
  lastSent_.reset();
  lastLook_.reset();
  lastEncoderAnswer_.reset();
}

FramePacer::Step FramePacer::next(Time now) const {
  const Time slot = slot_.value_or(kLongAgo);
  if (changePending_) {
    // Looks that bring nothing (damage on another display) are held to the rate as well.
    const Time due = std::max(slot, lastLook_ ? *lastLook_ + interval_ : kLongAgo);
    if (now >= due) return {Action::look};
    return {Action::wait, due, false};
  }
  if (!havePicture_) return {Action::wait, kForever, true};
  const Time due = std::max(slot, repeatDue());
  if (now >= due) return {Action::repeat};
  return {Action::wait, due, true};
}

FramePacer::Time FramePacer::repeatDue() const {
  if (refreshPending_ || !lastSent_) return kLongAgo;
  Time due = *lastSent_ + (burstLeft_ > 0 ? kBurstStep : kStillStep);
  if (encoderPending_) due = std::min(due, lastEncoderAnswer_ ? *lastEncoderAnswer_ + kEncoderStep : kLongAgo);
  return due;
}

void FramePacer::takeSlot(Time now) {
  // A thread wakes a little late every time. Counting from the time the frame was due keeps the
  // rate; counting from now after a pause, or after a longer delay, keeps frames apart.
  const bool onTime = slot_ && now - *slot_ < interval_ / 4;
  slot_ = (onTime ? *slot_ : now) + interval_;
  lastSent_ = now;
  if (encoderPending_) lastEncoderAnswer_ = now;
  encoderPending_ = false;
}

void FramePacer::sentChange(Time now) {
  takeSlot(now);
  lastLook_.reset();
  changePending_ = false;
  refreshPending_ = false;
  havePicture_ = true;
  burstLeft_ = kBurstLength;
}

void FramePacer::sawNothing(Time now) {
  lastLook_ = now;
  changePending_ = false;
}

void FramePacer::sentRepeat(Time now) {
  takeSlot(now);
  // A viewer that has just come gets a rough first picture and then the same sharpening.
  if (refreshPending_) {
    burstLeft_ = kBurstLength;
  } else if (burstLeft_ > 0) {
    --burstLeft_;
  }
  refreshPending_ = false;
}

}  // namespace vantora
