// Every message type against every combination of rights.
#include <gtest/gtest.h>

#include <QStringList>

#include "main/control/dispatch/ControlDispatcher.h"
#include "main/control/dispatch/ControlRights.h"
#include "tests/fakes/FakeControlSender.h"
#include "tests/fakes/FakeScheduler.h"
#include "tests/fakes/PrintQt.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

// The documented message types, by the right that they need.
const QStringList kAlways{
    u"codec"_s,           u"ping"_s,          u"quality"_s,           u"video_params"_s,  u"auth"_s,
    u"control"_s,         u"display_index"_s, u"clipboard_request"_s, u"clipboard_set"_s, u"clipboard_sync_enabled"_s,
    u"diagnostics_run"_s, u"test_cursor"_s,   u"cursor_query"_s};
const QStringList kInput{u"mouseMove"_s, u"mouseClick"_s, u"mouseDown"_s, u"mouseUp"_s,   u"doubleClick"_s,
                         u"wheel"_s,     u"keyDown"_s,    u"keyUp"_s,     u"key_press"_s, u"type_text"_s};
const QStringList kCommands{u"exec_command"_s, u"open_activity_monitor"_s};
const QStringList kFiles{u"file_start"_s, u"file_chunk"_s, u"file_end"_s};

struct Combination {
  ControlRights rights;
  std::string text;
};

std::vector<Combination> everyCombination() {
  std::vector<Combination> all;
  for (int bits = 0; bits < 32; ++bits) {
    const auto bit = [bits](int number) { return (bits >> number & 1) != 0; };
    all.push_back(
        {{.allowRemoteControl = bit(0),
          .allowIncomingFiles = bit(1),
          .controlAuthed = bit(2),
          .controlEnabled = bit(3),
          .demoRoom = bit(4)},
         QStringLiteral("allowRemoteControl %1 allowIncomingFiles %2 controlAuthed %3 controlEnabled %4 demo %5")
             .arg(bit(0))
             .arg(bit(1))
             .arg(bit(2))
             .arg(bit(3))
             .arg(bit(4))
             .toStdString()});
  }
  return all;
}

TEST(RightsTest, passExactlyTheTypesThatEachCombinationOpens) {
  for (const auto& [rights, text] : everyCombination()) {
    SCOPED_TRACE(text);
    fakes::FakeControlSender sender;
    const fakes::FakeScheduler scheduler;
    ControlDispatcher dispatcher(sender, scheduler, [&rights = rights](Gate gate) { return isOpen(gate, rights); });
    QStringList passed;
    QStringList refused;
    for (const ControlMessageRow& row : controlMessageTable()) {
      dispatcher.on(row.type, [&passed, type = row.type](const ControlRequest&) {
        passed.append(type);
        return Handled::yes;
      });
      dispatcher.onRefused(row.type, [&refused, type = row.type](const ControlRequest&) { refused.append(type); });
    }
    for (const ControlMessageRow& row : controlMessageTable()) {
      for (const ControlChannel channel : {ControlChannel::control, ControlChannel::reliable}) {
        dispatcher.dataChannelDidReceiveMessage(channel, toJson({{u"type"_s, QString(row.type)}}), false);
      }
    }
    int binary = 0;
    dispatcher.onBinary([&](const QByteArray&) { ++binary; });
    dispatcher.dataChannelDidReceiveMessage(ControlChannel::reliable, "piece", true);

    QStringList open = kAlways;
    if (rights.controlEnabled) open += kInput;
    if (rights.allowRemoteControl && (rights.controlAuthed || rights.demoRoom)) open += kCommands;
    if (rights.allowIncomingFiles) open += kFiles;
    const QStringList every = kAlways + kInput + kCommands + kFiles;
    ASSERT_EQ(static_cast<size_t>(every.size()), controlMessageTable().size());
    for (const QString& type : every) {
      EXPECT_EQ(passed.count(type), open.contains(type) ? 2 : 0) << type.toStdString();
      EXPECT_EQ(refused.count(type), open.contains(type) ? 0 : 2) << type.toStdString();
    }
    EXPECT_EQ(binary, 1) << "a piece of a file needs no right of its own";
  }
}

}  // namespace
}  // namespace vantora
