// What the desktop gives out so that its user is not asked again.
#pragma once

#include <QString>

#include "base/Environment.h"

namespace vantora {

// Restore tokens of portal sessions, in the file "consent.json" of the user's state folder (XDG_STATE_HOME, else
// ~/.local/state) below "vantora-host", readable by the user alone. A token is a reference to a consent that the
// desktop stores itself: it is worth nothing to another user or machine. VANTORA_KEEP_CONSENT=0: nothing is read or
// written. Thread: main.
class RestoreTokens {
 public:
  enum class Kind {
    view,     // The screen alone.
    control,  // The screen and input.
  };

  explicit RestoreTokens(const Environment& environment);
  // Whether tokens are kept at all.
  bool areKept() const { return !path_.isEmpty(); }
  // Empty when there is none.
  QString read(Kind kind) const;
  // Replaces the token; an empty one removes it. A failure is ignored: the user is asked again at the next start.
  void write(Kind kind, const QString& token) const;

 private:
  QString path_;  // Empty: switched off.
};

}  // namespace vantora
