# quillet_test(NAME SOURCES... LIBS ... [PREFIX ...] [LABEL ...] [RUN_SERIAL]): a GoogleTest program whose every case is a
# test of its own.

find_package(GTest REQUIRED)
include(GoogleTest)

function(quillet_test name)
  cmake_parse_arguments(ARG "RUN_SERIAL" "PREFIX;LABEL" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE quillet_flags ${ARG_LIBS} GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE QUILLET_SAMPLES="${PROJECT_SOURCE_DIR}/samples")
  # Most of their time goes into what each file includes anew.
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON)
  # What is tested is optimised; the cases themselves take longer to be optimised than to run.
  target_compile_options(${name} PRIVATE -O0 -g1)
  gtest_discover_tests(${name} TEST_PREFIX "${QUILLET_TEST_PREFIX}${ARG_PREFIX}" DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 120 RUN_SERIAL ${ARG_RUN_SERIAL} LABELS "${ARG_LABEL}")
endfunction()
