# sifterra_fuzz(NAME SOURCES a.cpp ... LINK target ...)
#
# One fuzz target, with its seeds in fuzz/seeds/NAME/. The preset `fuzz` links it with libFuzzer; every other
# preset links it with a plain main that replays the seeds, and registers that as a test (label fuzz-seeds).
set(SIFTERRA_FUZZ_DIRECTORY ${PROJECT_BINARY_DIR}/fuzz-targets)

if(NOT SIFTERRA_FUZZ)
  add_library(sifterra_replay_main OBJECT EXCLUDE_FROM_ALL ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp)
  target_link_libraries(sifterra_replay_main PRIVATE sifterra_options)
endif()

function(sifterra_fuzz name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE sifterra_options ${arg_LINK})
  target_compile_definitions(${name} PRIVATE SIFTERRA_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${SIFTERRA_FUZZ_DIRECTORY})
  set_property(GLOBAL APPEND PROPERTY SIFTERRA_FUZZ_TARGETS ${name})
  if(SIFTERRA_FUZZ)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:sifterra_replay_main>)
    if(BUILD_TESTING)
      add_test(NAME ${name}.Seeds COMMAND ${name} ${PROJECT_SOURCE_DIR}/fuzz/seeds/${name})
      set_tests_properties(${name}.Seeds PROPERTIES LABELS "fuzz-seeds;${arg_LABELS}" TIMEOUT 600)
    endif()
  endif()
endfunction()
