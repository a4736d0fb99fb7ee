# The WebRTC library. Only targets that link vantora_webrtc may include its headers.
find_package(tg_owt REQUIRED)
# libvpx and libaom as archives, like the WebRTC library itself: some of their functions are replaced
# (main/video/encoders).
get_target_property(libraries tg_owt::tg_owt INTERFACE_LINK_LIBRARIES)
list(TRANSFORM libraries REPLACE "/lib(vpx|aom)\\.so$" "/lib\\1.a")
set_target_properties(tg_owt::tg_owt PROPERTIES INTERFACE_LINK_LIBRARIES "${libraries}")
add_library(vantora_webrtc INTERFACE)
target_link_libraries(vantora_webrtc INTERFACE tg_owt::tg_owt)
# The packaged library was compiled with its debug checks on, which changes class sizes: every translation unit that
# sees its headers must agree (tests/unit/rtc/WebRtcAbiTest.cpp checks this).
target_compile_definitions(vantora_webrtc INTERFACE DCHECK_ALWAYS_ON)
target_compile_options(vantora_webrtc INTERFACE -Wno-shadow -Wno-unused-parameter -Wno-deprecated-declarations)
