// What switches of the desktop's look have replaced, so that the next one can lead back to it.
#pragma once

#include <QMap>
#include <QString>

namespace vantora {

struct ReplacedSetting {
  QString left;   // What there was.
  QString taken;  // What came in its place.
  bool operator==(const ReplacedSetting&) const = default;
};

// By the name that a script gave to the setting.
using ReplacedSettings = QMap<QString, ReplacedSetting>;

// Two functions for a script. "before NAME VALUE" sets `next` to what NAME was before it became VALUE, and fails when
// that is not known; "note NAME LEFT TAKEN" tells in the script's output what was replaced. Pure.
QString settingFunctions(const ReplacedSettings& looks);

// Takes what "note" has told out of a script's output. Pure.
ReplacedSettings takeReplacedSettings(QString& output);

}  // namespace vantora
