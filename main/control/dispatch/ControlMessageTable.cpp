#include "main/control/dispatch/ControlMessageTable.h"

#include <algorithm>
#include <array>

namespace vantora {
namespace {

using namespace Qt::Literals::StringLiterals;
using enum Acknowledgement;

constexpr std::array kRows{
    ControlMessageRow{"codec"_L1, Gate::none, withRequest},
    ControlMessageRow{"ping"_L1, Gate::none, never},
    ControlMessageRow{"quality"_L1, Gate::none, never},
    ControlMessageRow{"video_params"_L1, Gate::none, never},
    ControlMessageRow{"auth"_L1, Gate::none, withRequest},
    ControlMessageRow{"control"_L1, Gate::none, withRequest},
    ControlMessageRow{"display_index"_L1, Gate::none, withRequest},
    ControlMessageRow{"mouseMove"_L1, Gate::input, never},
    ControlMessageRow{"mouseClick"_L1, Gate::input, never},
    ControlMessageRow{"mouseDown"_L1, Gate::input, never},
    ControlMessageRow{"mouseUp"_L1, Gate::input, never},
    ControlMessageRow{"doubleClick"_L1, Gate::input, never},
    ControlMessageRow{"wheel"_L1, Gate::input, never},
    ControlMessageRow{"keyDown"_L1, Gate::input, never},
    ControlMessageRow{"keyUp"_L1, Gate::input, never},
    ControlMessageRow{"key_press"_L1, Gate::input, never},
    ControlMessageRow{"type_text"_L1, Gate::input, never},
    ControlMessageRow{"clipboard_request"_L1, Gate::none, never},
    ControlMessageRow{"clipboard_set"_L1, Gate::none, withRequest},
    ControlMessageRow{"clipboard_sync_enabled"_L1, Gate::none, withRequest},
    ControlMessageRow{"exec_command"_L1, Gate::command, never},
    ControlMessageRow{"diagnostics_run"_L1, Gate::none, never},
    ControlMessageRow{"open_activity_monitor"_L1, Gate::command, never},
    ControlMessageRow{"test_cursor"_L1, Gate::none, withRequest},
    ControlMessageRow{"cursor_query"_L1, Gate::none, withoutRequest},
    ControlMessageRow{"file_start"_L1, Gate::file, never},
    ControlMessageRow{"file_chunk"_L1, Gate::file, never},
    ControlMessageRow{"file_end"_L1, Gate::file, never},
};

}  // namespace

std::span<const ControlMessageRow> controlMessageTable() { return kRows; }

const ControlMessageRow* findControlMessage(QStringView type) {
  const auto found = std::ranges::find_if(kRows, [type](const ControlMessageRow& row) { return row.type == type; });
  return found == kRows.end() ? nullptr : &*found;
}

}  // namespace vantora
