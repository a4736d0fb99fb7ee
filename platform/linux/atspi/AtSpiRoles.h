// Roles of AT-SPI 2, and their platform-independent names. Pure.
#pragma once

#include <cstdint>

#include "platform/Accessibility.h"

namespace vantora::atspi {

// Numbers of the protocol, only those that are used.
enum class Role : std::uint32_t {
  alert = 2,
  dialog = 16,
  fileChooser = 19,
  frame = 23,
  internalFrame = 28,
  passwordText = 40,
  pushButton = 43,
  radioButton = 44,
  splitPane = 53,
  terminal = 60,
  text = 61,
  toggleButton = 62,
  unknown = 67,
  window = 69,
  extended = 70,
  application = 75,
  autocomplete = 76,
  editBar = 77,
  entry = 79,
  link = 88,
  titleBar = 104,
  pushButtonMenu = 129,
};

// Bits of an element's state.
inline constexpr std::uint64_t kHorizontal = std::uint64_t{1} << 14;
inline constexpr std::uint64_t kVertical = std::uint64_t{1} << 29;

// Role, subrole and role description of a role; an empty element for roles that do not affect the cursor. A spin button
// is not one of the buttons: it holds a text field and two small buttons in one element, and only its own cursor
// distinguishes them.
AccessibleElement namesOf(Role role);

// Whether elements of this role are windows, whose frame is needed.
bool isWindow(Role role);

// The divider of a split pane whose children are side by side ("vertical", it moves left and right) or stacked.
AccessibleElement divider(bool sideBySide);

}  // namespace vantora::atspi
