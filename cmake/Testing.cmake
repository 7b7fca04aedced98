# Helpers shared by the test, fuzz and benchmark folders.
find_package(GTest QUIET)

# mqqoe_add_gtest(<name> SOURCES ... [LIBS ...] [EMULATOR] [LABELS ...])
# Builds one gtest executable and registers it with CTest as gtest.<name>.
# EMULATOR links the kernel emulator, which takes the kernel's side of the
# netlink sockets the code under test opens.
function(mqqoe_add_gtest name)
  cmake_parse_arguments(T "EMULATOR" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} test_support GTest::gtest GTest::gtest_main mqqoe_warnings)
  if(T_EMULATOR)
    target_link_libraries(${name} PRIVATE kernel_emu)
  endif()
  add_test(NAME gtest.${name} COMMAND ${name})
  # The folder names the area, so presets can pick areas by label.
  get_filename_component(area ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set_tests_properties(gtest.${name} PROPERTIES LABELS "gtest;${area};${T_LABELS}"
    ENVIRONMENT "MQQOE_SHARED_DIR=${MQQOE_SHARED_DIR}")
endfunction()

# mqqoe_add_fuzzer(<name> SOURCES ... [LIBS ...] [SECONDS n])
# A libFuzzer target, run for a bounded time as CTest test fuzz.<name>.
function(mqqoe_add_fuzzer name)
  cmake_parse_arguments(F "" "SECONDS" "SOURCES;LIBS" ${ARGN})
  if(NOT F_SECONDS)
    set(F_SECONDS 30)
  endif()
  add_executable(${name} ${F_SOURCES})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  target_link_libraries(${name} PRIVATE ${F_LIBS} mqqoe_warnings)
  add_test(NAME fuzz.${name}
    COMMAND ${name} -max_total_time=${F_SECONDS} -rss_limit_mb=2048 -print_final_stats=1)
  set_tests_properties(fuzz.${name} PROPERTIES LABELS "fuzz" TIMEOUT 600)
endfunction()
