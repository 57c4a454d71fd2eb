# sifterra_bench(NAME SOURCES a.cpp ... LINK target ...)
#
# One Google Benchmark program in build/<preset>/benchmarks/; `./dev bench` runs them all and keeps their JSON.
# A source that brings its own main says so with OWN_MAIN.
function(sifterra_bench name)
  cmake_parse_arguments(arg "OWN_MAIN" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/bench)
  target_link_libraries(${name} PRIVATE sifterra_options ${arg_LINK} benchmark::benchmark
    $<$<NOT:$<BOOL:${arg_OWN_MAIN}>>:benchmark::benchmark_main>)
  target_compile_definitions(${name} PRIVATE SIFTERRA_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/benchmarks)
  set_property(GLOBAL APPEND PROPERTY SIFTERRA_BENCHMARKS ${name})
endfunction()
