# sifterra_module(NAME SOURCES a.cpp ... [DEPENDS other ...] [LIBRARIES target ...])
#
# One folder of src/: an object library sifterra_NAME_objects, which the shared library is made of, and an archive
# sifterra_NAME of it, which tests of private parts link. DEPENDS names the
# modules whose headers it may include; the layering test reads the same list.
function(sifterra_module name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  add_library(sifterra_${name}_objects OBJECT ${arg_SOURCES})
  target_include_directories(sifterra_${name}_objects
    PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(sifterra_${name}_objects PUBLIC sifterra_options ${arg_LIBRARIES})
  add_library(sifterra_${name} STATIC $<TARGET_OBJECTS:sifterra_${name}_objects>)
  target_include_directories(sifterra_${name}
    PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/generated)
  target_link_libraries(sifterra_${name} PUBLIC sifterra_options ${arg_LIBRARIES})
  foreach(dependency IN LISTS arg_DEPENDS)
    target_link_libraries(sifterra_${name} PUBLIC sifterra_${dependency})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY SIFTERRA_MODULES ${name})
  set_property(GLOBAL PROPERTY SIFTERRA_MODULE_${name}_DEPENDS "${arg_DEPENDS}")
  set_property(GLOBAL PROPERTY SIFTERRA_MODULE_${name}_LIBRARIES "${arg_LIBRARIES}")
endfunction()

# sifterra_test(NAME SOURCES a.cpp ... LINK target ...): a GoogleTest program, each of its tests a ctest.
function(sifterra_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK;LABELS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${arg_LINK} GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
    SIFTERRA_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data"
    SIFTERRA_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 600 LABELS "${arg_LABELS}")
endfunction()
