# Helpers shared by every folder's CMakeLists.txt.

# The ThreadSanitizer settings of every test: a race fails the test (exit
# code 66 at the end), with the few third-party reports of tests/tsan.supp
# left out.
set(SP_TSAN_ENV "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/tsan.supp:second_deadlock_stack=1:history_size=4")

# sp_add_test(NAME <name> SOURCES <files...> LIBS <libs...>
#             [UMOCKDEV] [TIMEOUT <seconds>] [ENV <VAR=value...>])
# One GoogleTest binary registered as one ctest test. UMOCKDEV runs it under
# umockdev-wrapper so that the emulated USB devices of the test are visible.
function(sp_add_test)
  cmake_parse_arguments(T "UMOCKDEV" "NAME;TIMEOUT" "SOURCES;LIBS;ENV" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main)
  if(T_UMOCKDEV)
    add_test(NAME ${T_NAME} COMMAND umockdev-wrapper $<TARGET_FILE:${T_NAME}>)
  else()
    add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  endif()
  set(env ${T_ENV} "QTEST_FUNCTION_TIMEOUT=60000")
  if(SP_SANITIZE STREQUAL "thread")
    list(APPEND env ${SP_TSAN_ENV})
  elseif(SP_SANITIZE)
    # The umockdev preload library comes before the ASan runtime in the
    # library list; that order is harmless here.
    list(APPEND env "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1"
                    "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
  endif()
  set_tests_properties(${T_NAME} PROPERTIES TIMEOUT ${T_TIMEOUT} ENVIRONMENT "${env}")
endfunction()

# sp_add_bench(NAME <name> SOURCES <files...> LIBS <libs...>)
# A Google Benchmark binary; built, never run by ctest.
function(sp_add_bench)
  cmake_parse_arguments(B "" "NAME" "SOURCES;LIBS" ${ARGN})
  add_executable(${B_NAME} ${B_SOURCES})
  target_link_libraries(${B_NAME} PRIVATE ${B_LIBS} benchmark::benchmark)
endfunction()

# sp_add_fuzzer(NAME <name> SOURCES <files...> LIBS <libs...> [CORPUS <dir>])
# A libFuzzer target (LLVMFuzzerTestOneInput). With SP_FUZZ (clang) it links
# -fsanitize=fuzzer; otherwise it links a small driver that replays the files
# named on its command line, and ctest replays the seed corpus. Either way the
# trace lines go nowhere (fuzz/trace_sink.cpp), not to the trace file.
function(sp_add_fuzzer)
  cmake_parse_arguments(F "" "NAME;CORPUS" "SOURCES;LIBS" ${ARGN})
  add_executable(${F_NAME} ${F_SOURCES} ${PROJECT_SOURCE_DIR}/fuzz/trace_sink.cpp)
  target_link_libraries(${F_NAME} PRIVATE ${F_LIBS} splog)
  if(SP_FUZZ)
    target_compile_options(${F_NAME} PRIVATE -fsanitize=fuzzer)
    target_link_options(${F_NAME} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${F_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp)
    if(SP_TESTS AND F_CORPUS)
      add_test(NAME ${F_NAME}_replay COMMAND ${F_NAME} ${F_CORPUS})
      set_tests_properties(${F_NAME}_replay PROPERTIES TIMEOUT 120
        ENVIRONMENT "ASAN_OPTIONS=verify_asan_link_order=0")
    endif()
  endif()
endfunction()

# The program's version, from project(... VERSION): one generated header,
# "slateprobe/version.h", for every target that links sp_version.
configure_file(${CMAKE_CURRENT_LIST_DIR}/version.h.in ${PROJECT_BINARY_DIR}/generated/slateprobe/version.h @ONLY)
add_library(sp_version INTERFACE)
target_include_directories(sp_version INTERFACE ${PROJECT_BINARY_DIR}/generated)
