#include "platform/linux/atspi/AtSpiRoles.h"

namespace vantora::atspi {

using namespace Qt::Literals::StringLiterals;

AccessibleElement namesOf(Role role) {
  switch (role) {
    case Role::text:
    case Role::terminal:
      return {.role = u"AXTextArea"_s, .roleDescription = u"text entry area"_s};
    case Role::entry:
    case Role::autocomplete:
    case Role::editBar:
      return {.role = u"AXTextField"_s, .roleDescription = u"text field"_s};
    case Role::passwordText:
      return {.role = u"AXTextField"_s, .subrole = u"AXSecureTextField"_s, .roleDescription = u"secure text field"_s};
    case Role::link:
      return {.role = u"AXLink"_s, .roleDescription = u"link"_s};
    case Role::pushButton:
      return {.role = u"AXButton"_s, .roleDescription = u"button"_s};
    case Role::toggleButton:
      return {.role = u"AXButton"_s, .subrole = u"AXToggle"_s, .roleDescription = u"toggle button"_s};
    case Role::radioButton:
      return {.role = u"AXRadioButton"_s, .roleDescription = u"radio button"_s};
    case Role::pushButtonMenu:
      return {.role = u"AXMenuButton"_s, .roleDescription = u"menu button"_s};
    case Role::titleBar:
      return {.role = u"AXTitleBar"_s, .roleDescription = u"title bar"_s};
    case Role::splitPane:
      return {.role = u"AXSplitGroup"_s, .roleDescription = u"split group"_s};
    case Role::frame:
    case Role::window:
    case Role::internalFrame:
      return {.role = u"AXWindow"_s, .subrole = u"AXStandardWindow"_s, .roleDescription = u"standard window"_s};
    case Role::dialog:
    case Role::alert:
    case Role::fileChooser:
      return {.role = u"AXWindow"_s, .subrole = u"AXDialog"_s, .roleDescription = u"dialog"_s};
    case Role::application:
      return {.role = u"AXApplication"_s, .roleDescription = u"application"_s};
    case Role::unknown:
    case Role::extended:
      break;
  }
  return {};
}

bool isWindow(Role role) {
  switch (role) {
    case Role::frame:
    case Role::window:
    case Role::internalFrame:
    case Role::dialog:
    case Role::alert:
    case Role::fileChooser:
      return true;
    default:
      return false;
  }
}

AccessibleElement divider(bool sideBySide) {
  return {.role = u"AXSplitter"_s,
          .roleDescription = u"splitter"_s,
          .orientation = sideBySide ? u"AXVerticalOrientation"_s : u"AXHorizontalOrientation"_s};
}

}  // namespace vantora::atspi
