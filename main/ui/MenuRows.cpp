#include "main/ui/MenuRows.h"

#include "main/ui/DisplayText.h"

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;

MenuRow label(const QString& title) {
  MenuRow row;
  row.title = oneLine(title);
  return row;
}

MenuRow separator() {
  MenuRow row;
  row.separator = true;
  return row;
}

MenuRow command(const QString& title, MenuAction action) {
  MenuRow row;
  row.title = title;
  row.action = action;
  row.enabled = true;
  return row;
}

MenuRow toggle(const QString& title, MenuAction action, bool on) {
  MenuRow row = command(title, action);
  row.checked = on;
  return row;
}

MenuRow regenerate(bool locked) {
  MenuRow row = command(u"Regenerate PIN"_s, MenuAction::regenPIN);
  row.enabled = !locked;
  if (locked) row.toolTip = u"Locked by CONTROL_TOKEN env"_s;
  return row;
}

MenuRow quit() {
  MenuRow row = command(u"Quit Vantora"_s, MenuAction::quit);
  row.key = u'q';
  return row;
}

}  // namespace

QList<MenuRow> menuRows(const HostState& state) {
  return {label(u"Vantora Host"_s),
          label(u"Connection: "_s + iceStateLabel(state.iceState)),
          label(u"Preset: "_s + state.qualityPreset),
          label(u"Room: "_s + state.roomId),
          label(u"Control PIN: "_s + state.controlPIN),
          separator(),
          command(state.sharingEnabled ? u"Stop Sharing"_s : u"Start Sharing"_s, MenuAction::toggleSharing),
          command(u"Copy Room ID"_s, MenuAction::copyRoom),
          command(u"Copy PIN"_s, MenuAction::copyPIN),
          regenerate(state.pinLockedByEnv),
          separator(),
          toggle(u"Allow Remote Control"_s, MenuAction::toggleAllowControl, state.allowRemoteControl),
          toggle(u"Allow Incoming Files"_s, MenuAction::toggleAllowFiles, state.allowIncomingFiles),
          separator(),
          command(u"Chat…"_s, MenuAction::showChatWindow),
          separator(),
          quit()};
}

QString statusToolTip(const HostState& state) {
  return u"Vantora Host — Connection: "_s + iceStateLabel(state.iceState) + u". Preset: "_s +
         oneLine(state.qualityPreset);
}

}  // namespace vantora
