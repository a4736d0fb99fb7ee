# Compiler settings shared by every target of the project.
add_compile_options(-Wall -Wextra -Wshadow -Wnon-virtual-dtor -Werror=return-type)
add_compile_definitions(QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_FOREACH)

find_program(VANTORA_LLD NAMES ld.lld)
if(VANTORA_LLD)
  add_link_options(-fuse-ld=lld)
endif()
find_program(VANTORA_CCACHE NAMES ccache)
if(VANTORA_CCACHE)
  # Precompiled headers carry macros and times that ccache would otherwise not answer for.
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env "CCACHE_SLOPPINESS=pch_defines,time_macros" "${VANTORA_CCACHE}")
endif()

if(VANTORA_SANITIZE)
  add_compile_options(-fsanitize=${VANTORA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${VANTORA_SANITIZE})
  # vptr checks need type information that the WebRTC library was built without.
  if(VANTORA_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize=vptr)
  endif()
endif()

# Every library tells the fuzzer which paths an input took.
if(VANTORA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# vantora_library(NAME SOURCES... [LIBS ...]): one static library per folder; headers are
# included with their path from the project's root ("main/signalling/Signaler.h").
function(vantora_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}" "${CMAKE_BINARY_DIR}/generated")
  target_link_libraries(${name} PUBLIC ${ARG_LIBS})
endfunction()
