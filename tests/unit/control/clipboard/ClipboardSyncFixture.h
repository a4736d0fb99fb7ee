// ClipboardSync with a fake clipboard, clock and channels.
#pragma once

#include <gtest/gtest.h>

#include "main/control/clipboard/ClipboardSync.h"
#include "tests/fakes/FakeClipboard.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"
#include "tests/fakes/RecordedLog.h"

namespace vantora {

using Sent = fakes::FakeControlSender::Sent;

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

inline Sent synced(const QString& text, ControlChannel channel = ControlChannel::reliable) {
  return {channel, {{u"type"_s, u"clipboard_sync"_s}, {u"text"_s, text}}};
}

class ClipboardSyncFixture : public testing::Test {
 protected:
  ClipboardSyncFixture() { bindClipboardMessages(dispatcher_, *sync_, sender_); }
  void say(const JsonObject& message, ControlChannel origin = ControlChannel::reliable) {
    dispatcher_.dataChannelDidReceiveMessage(origin, toJson(message), false);
  }
  void request(ControlChannel origin = ControlChannel::reliable) { say({{u"type"_s, u"clipboard_request"_s}}, origin); }
  void set(const QString& text) { say({{u"type"_s, u"clipboard_set"_s}, {u"text"_s, text}}); }
  // Starts the watcher, runs its first check, and clears what was sent and logged.
  void watch() {
    sync_->setClipboardSyncEnabled(true);
    scheduler_.advance(1s);
    log_.clear();
    sender_.take();
  }

  fakes::RecordedLog log_;
  fakes::FakeScheduler scheduler_;
  fakes::FakeClipboard clipboard_;
  fakes::FakeControlSender sender_;
  std::unique_ptr<ClipboardSync> sync_ = std::make_unique<ClipboardSync>(clipboard_, sender_, scheduler_);
  ControlDispatcher dispatcher_{sender_, scheduler_, [](Gate) { return false; }};
};

}  // namespace vantora
