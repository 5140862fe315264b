# What every target of ours is built with. Warnings become errors only in the check presets
# (CMAKE_COMPILE_WARNING_AS_ERROR), so that a newer compiler never stops a user's build.
include(CheckPIESupported)
check_pie_supported()

add_library(vy_options INTERFACE)
target_compile_features(vy_options INTERFACE cxx_std_20)
target_include_directories(vy_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_options(vy_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual)
# g++ 12 at -O3 takes "\"" + std::string(...) for an overlapping copy: false alarms in a user's build.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(vy_options INTERFACE
    $<$<CONFIG:Release>:-Wno-restrict> $<$<CONFIG:Release>:-Wno-stringop-overflow>
    $<$<CONFIG:Release>:-Wno-array-bounds>)
endif()
if(VANTRY_SANITIZE)
  target_compile_options(vy_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g1
    # g++ with sanitizers raises it falsely in its own <regex>.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(vy_options INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(vy_options INTERFACE _GLIBCXX_ASSERTIONS)
else()
  target_compile_definitions(vy_options INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(vy_options INTERFACE -fstack-protector-strong -fcf-protection
    $<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=3>)
  target_link_options(vy_options INTERFACE -Wl,-z,relro,-z,now)
endif()

if(VANTRY_FUZZ)
  # Without it the fuzzer sees nothing of what its input reaches in the libraries.
  target_compile_options(vy_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# The headers that nearly every source needs, compiled once for all libraries and once for all tests, with
# Qt's and without: one such file takes 80 to 330 MB, so none for each target.
function(vantry_shared_headers name)
  if(NOT VANTRY_PCH)
    return()
  endif()
  cmake_parse_arguments(ARG "FOR_PROGRAMS" "" "HEADERS;DEPENDS" ${ARGN})
  add_library(${name} OBJECT ${PROJECT_SOURCE_DIR}/cmake/pch.cpp)
  target_link_libraries(${name} PRIVATE vy_options ${ARG_DEPENDS})
  list(TRANSFORM ARG_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/cmake/)
  target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
  if("Qt6::Widgets" IN_LIST ARG_DEPENDS)
    target_compile_definitions(${name} PRIVATE QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)
  endif()
  if(ARG_FOR_PROGRAMS)  # compiled as the sources of a program are
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
    target_compile_options(${name} PRIVATE -fPIE)
  endif()
endfunction()
vantry_shared_headers(vantry_headers HEADERS pch.h)
vantry_shared_headers(vantry_qt_headers HEADERS pch.h pch_qt.h DEPENDS Qt6::Widgets)
if(VANTRY_TESTS)
  find_package(GTest REQUIRED)
  vantry_shared_headers(vantry_test_headers FOR_PROGRAMS HEADERS pch.h pch_test.h DEPENDS GTest::gtest)
  vantry_shared_headers(vantry_qt_test_headers FOR_PROGRAMS HEADERS pch.h pch_test.h pch_qt.h
    DEPENDS GTest::gtest Qt6::Widgets)
endif()

function(vantry_use_headers target headers)
  if(VANTRY_PCH)
    target_precompile_headers(${target} REUSE_FROM ${headers})
  endif()
endfunction()

# vantry_library(NAME SOURCES... [DEPENDS ...]): a static library of one folder.
function(vantry_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC vy_options ${ARG_DEPENDS})
  vantry_use_headers(${name} vantry_headers)
endfunction()

# vantry_qt_library(NAME SOURCES... [DEPENDS ...]): the same for windows and pages; a form.ui is made into
# ui_form.h by the build.
function(vantry_qt_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON AUTOUIC ON AUTORCC ON
    AUTOGEN_ORIGIN_DEPENDS OFF)  # no form needs another library to be compiled first
  target_link_libraries(${name} PUBLIC vy_options ${ARG_DEPENDS} Qt6::Widgets)
  target_compile_definitions(${name} PRIVATE QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)
  vantry_use_headers(${name} vantry_qt_headers)
endfunction()

# vantry_test(NAME SOURCES... [DEPENDS ...]): one test binary, its cases registered one by one. Those of VANTRY_PARSER_TESTS get
# the label "parsers": ./check runs them under the sanitizers, too.
function(vantry_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE vy_options ${ARG_DEPENDS} GTest::gtest GTest::gtest_main)
  vantry_use_headers(${name} vantry_test_headers)
  set(labels "")
  if(name IN_LIST VANTRY_PARSER_TESTS)
    set(labels parsers)
    add_dependencies(parser_tests ${name})
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 600 LABELS "${labels}")
endfunction()

# vantry_qt_test(NAME SOURCES... [DEPENDS ...]): the same with a QApplication around the cases, on a
# platform without a screen.
function(vantry_qt_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/qt_main.cpp)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE vy_options ${ARG_DEPENDS} Qt6::Widgets GTest::gtest)
  target_compile_definitions(${name} PRIVATE QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)
  vantry_use_headers(${name} vantry_qt_test_headers)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 600)
endfunction()
