// Settings that a switch of the desktop's dark mode has replaced, so that the next switch can restore them.
#pragma once

#include <QMap>
#include <QString>

namespace vantora {

struct ReplacedSetting {
  QString previous;     // The value before the switch.
  QString replacement;  // The value after the switch.
  bool operator==(const ReplacedSetting&) const = default;
};

// By the name that the script uses for the setting.
using ReplacedSettings = QMap<QString, ReplacedSetting>;

// Two functions for a script. "before NAME VALUE" sets `next` to the value that NAME had before it became VALUE, and
// fails when that is not known; "note NAME PREVIOUS REPLACEMENT" reports a replaced setting in the script's output.
// Pure.
QString settingFunctions(const ReplacedSettings& settings);

// Extracts the reports of "note" from a script's output and removes them there. Pure.
ReplacedSettings takeReplacedSettings(QString& output);

}  // namespace vantora
