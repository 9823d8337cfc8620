# Shared build helpers: warning flags for the project's own targets and the
# unit-test helper.

# Warnings for a target of ours (never for third-party code).
function(xp_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wundef)
  if(XP_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# The library's implementation rules: no exceptions, hidden internals.
function(xp_library_rules target)
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>)
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  xp_warnings(${target})
endfunction()

# xp_test(NAME source... [LIBS lib...]): a GoogleTest executable registered
# with CTest, one CTest entry per test case.
function(xp_test name)
  if(NOT XP_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(T "" "" "LIBS" ${ARGN})
  add_executable(${name} ${T_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE xp_static GTest::gtest GTest::gtest_main ${T_LIBS})
  xp_warnings(${name})
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
endfunction()

# xp_bench(NAME source...): a Google Benchmark executable (release preset).
function(xp_bench name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE xp_static benchmark::benchmark benchmark::benchmark_main)
  xp_warnings(${name})
endfunction()

# xp_fuzz(NAME source...): a libFuzzer target (fuzz preset, clang), linked
# against the library's objects so that internal helpers are reachable.
function(xp_fuzz name)
  add_executable(${name} ${ARGN})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_libraries(${name} PRIVATE xp_static)
  xp_warnings(${name})
endfunction()

# The sources follow .clang-format: a test checks every tracked C, C++ and
# Objective-C file (plain builds only; the check needs git and clang-format).
function(xp_format_check)
  find_program(XP_CLANG_FORMAT clang-format)
  find_package(Git QUIET)
  if(NOT XP_BUILD_TESTS OR XP_SANITIZE OR NOT XP_CLANG_FORMAT OR NOT GIT_FOUND
     OR NOT EXISTS ${PROJECT_SOURCE_DIR}/.git)
    return()
  endif()
  add_test(NAME source_format
    COMMAND bash -c "git ls-files -z '*.c' '*.cpp' '*.h' '*.m' '*.mm' | xargs -0 \"$0\" --dry-run -Werror"
      ${XP_CLANG_FORMAT}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endfunction()
