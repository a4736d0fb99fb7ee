// State of the connection to the viewer.
#pragma once

#include <QString>

namespace vantora {

// ICE connection states, with the numbers that the log line shows. `count`: the end of the library's list, which it
// declares as a state.
enum class IceState { initial = 0, checking, connected, completed, failed, disconnected, closed, count };
// "new", "checking", ... as the log and the menu show it; "unknown" for a value outside the list.
QString iceStateLabel(IceState state);

}  // namespace vantora
