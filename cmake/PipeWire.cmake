# PipeWire: the program needs its headers alone and loads the library when a Wayland desktop is captured, so that it
# runs on machines without it.
find_package(PkgConfig REQUIRED)
pkg_check_modules(PIPEWIRE REQUIRED libpipewire-0.3)
add_library(vantora_pipewire_headers INTERFACE)
target_include_directories(vantora_pipewire_headers SYSTEM INTERFACE ${PIPEWIRE_INCLUDE_DIRS})
# For tests, which are PipeWire programs of their own.
add_library(vantora_libpipewire INTERFACE)
target_link_libraries(vantora_libpipewire INTERFACE vantora_pipewire_headers ${PIPEWIRE_LINK_LIBRARIES})
