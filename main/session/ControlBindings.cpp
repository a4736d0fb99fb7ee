// Binds each control message to the area that handles it. Messages that concern several areas are handled here.
#include <algorithm>
#include <limits>

#include "main/control/cursor/CursorMessages.h"
#include "main/control/dispatch/Ping.h"
#include "main/control/input/InputMessages.h"
#include "main/session/Host.h"

namespace vantora {

using namespace Qt::Literals::StringLiterals;

void Host::bindControlMessages() {
  ControlDispatcher& dispatcher = *dispatcher_;
  bindPing(dispatcher, sender_, platform_.scheduler);
  bindAuthorisationMessages(dispatcher, *authorisation_);
  bindQualityMessages(dispatcher, *quality_);
  bindDiagnosticsMessages(dispatcher, diagnostics_);
  bindCursorMessages(dispatcher, *cursor_);
  bindInputMessages(dispatcher, injector_, sender_, platform_.scheduler);
  bindClipboardMessages(dispatcher, clipboard_, sender_);
  bindFileMessages(dispatcher, files_);
  bindCommandMessages(dispatcher, commands_);

  // Belongs to no area: the sharing takes the display, the statistics report it.
  dispatcher.on("display_index"_L1, [this](const ControlRequest& request) { return selectDisplay(request); });
}

Handled Host::selectDisplay(const ControlRequest& request) {
  const qint64 wanted = integerField(request.body, "index"_L1).value_or(0);
  const int index = static_cast<int>(std::clamp<qint64>(wanted, 0, std::numeric_limits<int>::max()));
  if (!sharing_.selectDisplay(index)) stats_.sendDisplayInfo(ControlChannel::control);
  return Handled::yes;
}

}  // namespace vantora
