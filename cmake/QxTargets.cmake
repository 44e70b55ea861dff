# qx_module(NAME SOURCES files... [DEPS targets...])
# One folder's code as a position-independent archive `qx_NAME`. The shared library takes every object
# of it, a unit test only what it needs: both are made from the same objects.
function(qx_module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(qx_${name} STATIC ${ARG_SOURCES})
  target_link_libraries(qx_${name} PUBLIC qx_compiler ${ARG_DEPS})
endfunction()

# qx_program_parts(NAME SOURCES files... [DEPS targets...])
# What a program is made of but for its main, as an archive that its unit tests link too. What the tools share
# brings the headers that were compiled once for it.
function(qx_program_parts name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC qx_compiler ${ARG_DEPS})
  if(qx_tools IN_LIST ARG_DEPS)
    target_precompile_headers(${name} REUSE_FROM qx_tools)
  endif()
endfunction()

# qx_test_headers()
# tests/headers.h, compiled once for all tests: reading these takes most of the time that a test takes to
# compile. The preset that the lint reads does without it.
function(qx_test_headers)
  if(CMAKE_DISABLE_PRECOMPILE_HEADERS)
    return()
  endif()
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/headers.cpp "int main() {}\n")
  add_executable(qx_test_headers ${CMAKE_CURRENT_BINARY_DIR}/headers.cpp)
  target_link_libraries(qx_test_headers PRIVATE qx_compiler GTest::gmock GTest::gtest_main)
  target_precompile_headers(
    qx_test_headers PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:${PROJECT_SOURCE_DIR}/tests/headers.h>")
endfunction()

# Where tests that are TRACED write their lines, to be searched for PINs.
set(QX_TRACES ${PROJECT_BINARY_DIR}/traces)

# qx_test(NAME SOURCES files... [DEPS targets...] [ENVIRONMENT variable] [REPLACES_NEW] [TRACED] [LONG])
# A GoogleTest program; CTest knows each of its tests by its own name, or with QX_EACH_TEST off the program
# alone. Its sources are compiled eight at a time, so each has a namespace of its own name. One that replaces
# operator new cannot be linked with the thread sanitizer, which brings its own. One that is LONG is begun before
# the others, so that it does not run alone in the end.
function(qx_test name)
  cmake_parse_arguments(ARG "REPLACES_NEW;TRACED;LONG" "" "SOURCES;DEPS;ENVIRONMENT" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE qx_compiler ${ARG_DEPS} GTest::gmock GTest::gtest_main)
  if(TARGET qx_test_headers)
    target_precompile_headers(${name} REUSE_FROM qx_test_headers)
    set(in_c ${ARG_SOURCES})
    list(FILTER in_c INCLUDE REGEX "\\.c$")
    set_source_files_properties(${in_c} PROPERTIES SKIP_PRECOMPILE_HEADERS ON
                                                   SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
  if(ARG_REPLACES_NEW AND QX_SANITIZE MATCHES "thread")
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL TRUE)
    return()
  endif()
  set(traced "")
  if(ARG_TRACED)
    # Not in ENVIRONMENT: what the discovery hands on, a list of variables does not survive.
    set(traced FIXTURES_REQUIRED traces ENVIRONMENT_MODIFICATION
               QXPROVIDER_TRACE_FILE=set:${QX_TRACES}/${name})
  endif()
  if(QX_EACH_TEST)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ${traced} ENVIRONMENT
                                                                 "${ARG_ENVIRONMENT}")
  else()
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT 900 ${traced} ENVIRONMENT "${ARG_ENVIRONMENT}")
    if(ARG_LONG)
      set_tests_properties(${name} PROPERTIES COST 1)
    endif()
  endif()
endfunction()

# qx_full_types(TARGET PATTERN) has the sources whose names match compiled with the types in their debug
# information: what abidw tells the interface of a library from.
function(qx_full_types target pattern)
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX ${pattern})
  get_target_property(folder ${target} SOURCE_DIR)
  list(TRANSFORM sources PREPEND ${folder}/)
  set_property(
    SOURCE ${sources}
    TARGET_DIRECTORY ${target}
    PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:-g>)
endfunction()
