// The rows of the menu, from top to bottom, for a state of the session.
#pragma once

#include <QList>
#include <QString>
#include <optional>

#include "main/ui/SessionControl.h"

namespace vantora {

enum class MenuAction {
  none,
  toggleSharing,
  copyRoom,
  copyPIN,
  regenPIN,
  toggleAllowControl,
  toggleAllowFiles,
  showChatWindow,
  quit,
};

struct MenuRow {
  QString title;
  MenuAction action = MenuAction::none;
  bool separator = false;
  bool enabled = false;
  // Empty for a row without a check mark.
  std::optional<bool> checked;
  QString toolTip;
  // A letter pressed together with Control; null for none.
  QChar key;

  bool operator==(const MenuRow&) const = default;
};

// Always the same seventeen rows in the same order; only their texts, marks and rights change. Pure.
QList<MenuRow> menuRows(const HostState& state);

// "Vantora Host — Connection: connected. Preset: auto". Pure.
QString statusToolTip(const HostState& state);

}  // namespace vantora
