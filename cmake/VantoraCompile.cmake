# Compiler settings shared by every target of the project.
add_compile_options(-Wall -Wextra -Wshadow -Wnon-virtual-dtor -Werror=return-type)
add_compile_definitions(QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_FOREACH)

find_program(VANTORA_LLD NAMES ld.lld)
if(VANTORA_LLD)
  add_link_options(-fuse-ld=lld)
endif()
find_program(VANTORA_CCACHE NAMES ccache)
if(VANTORA_CCACHE)
  # Objects compiled in one folder are reused for the same sources in another one (CI builds in a fresh clone): paths
  # are relative to the project's root. Without this sloppiness ccache refuses precompiled headers because of their
  # macros and times, and files because of their new times in a fresh clone.
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" "CCACHE_NOHASHDIR=true"
    "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime" "${VANTORA_CCACHE}")
  add_compile_options("-fdebug-prefix-map=${CMAKE_SOURCE_DIR}=.")
endif()

if(VANTORA_SANITIZE)
  add_compile_options(-fsanitize=${VANTORA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${VANTORA_SANITIZE})
  # vptr checks need type information that the WebRTC library was built without.
  if(VANTORA_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize=vptr)
  endif()
endif()

# Every library reports to the fuzzer which paths an input took.
if(VANTORA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Headers that most of the project includes and that take longer to parse than our own code, precompiled. Sources still
# include what they use.
function(vantora_precompiled)
  add_library(vantora_precompiled OBJECT "${CMAKE_SOURCE_DIR}/cmake/Precompiled.cpp")
  target_link_libraries(vantora_precompiled PRIVATE Qt6::Core)
  target_precompile_headers(vantora_precompiled PRIVATE
    <QByteArray> <QCoreApplication> <QDir> <QFile> <QFileInfo> <QHash> <QJsonArray> <QJsonDocument> <QJsonObject>
    <QList> <QMap> <QObject> <QProcessEnvironment> <QRectF> <QString> <QStringList> <QTimer> <QUrl>
    <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <functional> <map> <memory> <mutex> <optional>
    <stop_token> <string> <thread> <tuple> <utility> <vector>)
endfunction()

# vantora_library(NAME SOURCES... [LIBS ...] [PRECOMPILE <header>...]): one static library per folder; headers are
# included with their path from the project's root ("main/signalling/Signaler.h"). PRECOMPILE: these headers instead of
# the usual ones, where a library (WebRTC, the tool kit's windows) takes much longer to parse.
function(vantora_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;PRECOMPILE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}" "${CMAKE_BINARY_DIR}/generated")
  target_link_libraries(${name} PUBLIC ${ARG_LIBS})
  if(ARG_PRECOMPILE)
    target_precompile_headers(${name} PRIVATE ${ARG_PRECOMPILE})
  else()
    target_precompile_headers(${name} REUSE_FROM vantora_precompiled)
  endif()
endfunction()
