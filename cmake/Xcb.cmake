# X11 through xcb: its errors are values, so a lost display cannot end the process.
find_package(PkgConfig REQUIRED)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-xtest xcb-randr xcb-xkb xcb-xfixes xcb-xinput xcb-res)
# The meaning of keysyms. It talks to no server.
pkg_check_modules(XKBCOMMON REQUIRED IMPORTED_TARGET xkbcommon)
add_library(vantora_xcb INTERFACE)
target_link_libraries(vantora_xcb INTERFACE PkgConfig::XCB PkgConfig::XKBCOMMON)
