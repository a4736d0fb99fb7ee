// The documented gate and acknowledgement of every message type, independent of the program's table.
#pragma once

#include <array>

#include "main/control/dispatch/ControlMessageTable.h"

namespace vantora {

inline constexpr std::array kExpectedTypes = [] {
  using enum Acknowledgement;
  using Name = QLatin1StringView;
  return std::array{
      ControlMessageRow{Name("codec"), Gate::none, withRequest},
      ControlMessageRow{Name("ping"), Gate::none, never},
      ControlMessageRow{Name("quality"), Gate::none, never},
      ControlMessageRow{Name("video_params"), Gate::none, never},
      ControlMessageRow{Name("auth"), Gate::none, withRequest},
      ControlMessageRow{Name("control"), Gate::none, withRequest},
      ControlMessageRow{Name("display_index"), Gate::none, withRequest},
      ControlMessageRow{Name("mouseMove"), Gate::input, never},
      ControlMessageRow{Name("mouseClick"), Gate::input, never},
      ControlMessageRow{Name("mouseDown"), Gate::input, never},
      ControlMessageRow{Name("mouseUp"), Gate::input, never},
      ControlMessageRow{Name("doubleClick"), Gate::input, never},
      ControlMessageRow{Name("wheel"), Gate::input, never},
      ControlMessageRow{Name("keyDown"), Gate::input, never},
      ControlMessageRow{Name("keyUp"), Gate::input, never},
      ControlMessageRow{Name("key_press"), Gate::input, never},
      ControlMessageRow{Name("type_text"), Gate::input, never},
      ControlMessageRow{Name("clipboard_request"), Gate::none, never},
      ControlMessageRow{Name("clipboard_set"), Gate::none, withRequest},
      ControlMessageRow{Name("clipboard_sync_enabled"), Gate::none, withRequest},
      ControlMessageRow{Name("exec_command"), Gate::command, never},
      ControlMessageRow{Name("diagnostics_run"), Gate::none, never},
      ControlMessageRow{Name("open_activity_monitor"), Gate::command, never},
      ControlMessageRow{Name("test_cursor"), Gate::none, withRequest},
      ControlMessageRow{Name("cursor_query"), Gate::none, withoutRequest},
      ControlMessageRow{Name("file_start"), Gate::file, never},
      ControlMessageRow{Name("file_chunk"), Gate::file, never},
      ControlMessageRow{Name("file_end"), Gate::file, never},
  };
}();

}  // namespace vantora
