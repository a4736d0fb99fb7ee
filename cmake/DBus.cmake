# libdbus directly, for calls with timeouts on a separate thread.
find_package(PkgConfig REQUIRED)
pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
add_library(vantora_libdbus INTERFACE)
target_link_libraries(vantora_libdbus INTERFACE PkgConfig::DBUS)
