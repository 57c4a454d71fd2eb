# Tests carry the name of their folder below tests/ as a label, and any LABELS of their own. Two sets are built
# and run once more under sanitizers by `./dev test`:
#   parsers      what eats untrusted bytes, and the C interface: AddressSanitizer, undefined-behaviour checks
#   concurrency  what several threads share: ThreadSanitizer
# Their programs hang off the targets parsers_tests and concurrency_tests.
set(SIFTERRA_PARSER_FOLDERS platform util lsm page capi)
set(SIFTERRA_TEST_DIRECTORY ${PROJECT_BINARY_DIR}/test-programs)
add_custom_target(parsers_tests)
add_custom_target(concurrency_tests)

# The labels of a test program in this folder, with the given ones; also puts the program into its sets.
function(sifterra_test_labels out target)
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
  string(REGEX REPLACE "^(tests|fuzz)/([^/]+).*" "\\2" folder "${folder}")
  set(labels ${folder} ${ARGN})
  if(folder IN_LIST SIFTERRA_PARSER_FOLDERS AND NOT "slow" IN_LIST labels)
    list(APPEND labels parsers)
  endif()
  list(REMOVE_DUPLICATES labels)
  foreach(set IN ITEMS parsers concurrency)
    if(set IN_LIST labels)
      add_dependencies(${set}_tests ${target})
    endif()
  endforeach()
  set(${out} "${labels}" PARENT_SCOPE)
endfunction()

# sifterra_test(NAME SOURCES a.cpp ... LINK target ... [LABELS label ...]): a GoogleTest program, each of its
# tests a ctest.
function(sifterra_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE sifterra_options ${arg_LINK} GTest::gmock GTest::gtest_main)
  # Of a test's time nearly all goes into compiling it (under the sanitizers' checks two to three times as long with
  # any optimisation); what it tests is optimised all the same.
  target_compile_options(${name} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O0>)
  target_compile_definitions(${name} PRIVATE
    SIFTERRA_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data"
    SIFTERRA_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    SIFTERRA_BUILD_RESOURCES="${SIFTERRA_BUILD_RESOURCES}")
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${SIFTERRA_TEST_DIRECTORY})
  sifterra_test_labels(labels ${name} ${arg_LABELS})
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 600)
  # gtest_discover_tests takes one label only; this file is read after its own and knows the tests it found.
  set(include_file ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
  file(WRITE ${include_file}
    "if(${name}_TESTS)\n  set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"${labels}\")\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include_file})
endfunction()

# sifterra_program_test(NAME SOURCES a.c ... LINK target ... [ARGUMENTS ...] [LABELS label ...]): a program with
# a main of its own that exits with 0, as one ctest.
function(sifterra_program_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK;ARGUMENTS;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE sifterra_options ${arg_LINK})
  target_compile_definitions(${name} PRIVATE
    SIFTERRA_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data"
    SIFTERRA_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${SIFTERRA_TEST_DIRECTORY})
  sifterra_test_labels(labels ${name} ${arg_LABELS})
  add_test(NAME ${name} COMMAND ${name} ${arg_ARGUMENTS})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600 LABELS "${labels}")
endfunction()
