# What every target of this project has in common, in one place.

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

add_library(quibel_options INTERFACE)
target_compile_features(quibel_options INTERFACE cxx_std_20)
target_include_directories(quibel_options INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_options(quibel_options INTERFACE
  -pthread -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wundef)
target_compile_definitions(quibel_options INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_DISABLE_DEPRECATED_BEFORE=0x060400)

# quibel_precompile()
# What nearly every source includes is parsed once, not by each of them. A source includes what it
# needs all the same.
function(quibel_precompile)
  set(source "${CMAKE_BINARY_DIR}/precompiled.cpp")
  file(CONFIGURE OUTPUT "${source}" CONTENT "")
  add_library(quibel_precompiled OBJECT "${source}")
  set_target_properties(quibel_precompiled PROPERTIES CXX_EXTENSIONS OFF)
  target_link_libraries(quibel_precompiled PRIVATE quibel_options Qt6::Core)
  target_precompile_headers(quibel_precompiled PRIVATE
    <algorithm> <chrono> <functional> <memory> <optional> <utility> <variant> <vector>
    <QByteArray> <QDateTime> <QFile> <QHash> <QJsonArray> <QJsonDocument> <QJsonObject> <QList>
    <QObject> <QRegularExpression> <QString> <QStringList> <QTimer> <QUrl>)
endfunction()

# quibel_library(<folder> SOURCES <files> [PUBLIC <libraries>] [PRIVATE <libraries>])
# One folder is one static library, quibel::<folder>.
function(quibel_library name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;PUBLIC;PRIVATE")
  add_library(quibel_${name} STATIC ${ARG_SOURCES})
  add_library(quibel::${name} ALIAS quibel_${name})
  set_target_properties(quibel_${name} PROPERTIES AUTOMOC ON AUTORCC ON CXX_EXTENSIONS OFF)
  target_link_libraries(quibel_${name} PUBLIC quibel_options ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
  target_precompile_headers(quibel_${name} REUSE_FROM quibel_precompiled)
endfunction()

# quibel_program(<binary name> SOURCES <files> LIBRARIES <libraries>)
function(quibel_program name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON CXX_EXTENSIONS OFF)
  target_link_libraries(${name} PRIVATE quibel_options ${ARG_LIBRARIES})
endfunction()

# quibel_test(<class> [SOURCES <more files>] LIBRARIES <libraries> [LABELS <labels>] [TIMEOUT <seconds>] [MAY_MOUNT])
# One Qt Test class a file; <class>.cpp lies beside the CMakeLists.txt that calls this. Its waiting has
# deadlines of its own; the timeout ends only what hangs, on a busy machine too. Those labelled threads
# run under the thread sanitizer as well: the target of that name builds them. MAY_MOUNT: it
# runs in a mount namespace of its own, with the right to mount there, if the system grants that.
function(quibel_test name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "MAY_MOUNT" "TIMEOUT" "SOURCES;LIBRARIES;LABELS")
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  add_executable(${name} ${name}.cpp ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON CXX_EXTENSIONS OFF
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests/bin")
  target_link_libraries(${name} PRIVATE quibel_options Qt6::Test ${ARG_LIBRARIES})
  target_precompile_headers(${name} REUSE_FROM quibel_precompiled)
  if(ARG_MAY_MOUNT)
    set(launcher "${CMAKE_SOURCE_DIR}/tests/may_mount")
  endif()
  add_test(NAME ${name} COMMAND ${launcher} "$<TARGET_FILE:${name}>")
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}" ENVIRONMENT "${QUIBEL_TEST_ENVIRONMENT}")
  if("threads" IN_LIST ARG_LABELS)
    add_dependencies(threads ${name})
  endif()
endfunction()
