# sifterra_module(NAME SOURCES a.cpp ... [DEPENDS other ...] [LIBRARIES target ...] [TOOLS_ONLY])
#
# One folder of src/: an object library sifterra_NAME_objects, which the shared library is made of, and an archive
# sifterra_NAME of it, which the command and the tests of private parts link. DEPENDS names the modules whose
# headers it may include; the layering test reads the same list. A module that is TOOLS_ONLY stays out of the
# shared library.
function(sifterra_module name)
  cmake_parse_arguments(arg "TOOLS_ONLY" "" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
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
  if(NOT arg_TOOLS_ONLY)
    set_property(GLOBAL APPEND PROPERTY SIFTERRA_LIBRARY_MODULES ${name})
  endif()
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR}/src OUTPUT_VARIABLE folder)
  set_property(GLOBAL PROPERTY SIFTERRA_MODULE_${name}_FOLDER "${folder}")
  set_property(GLOBAL PROPERTY SIFTERRA_MODULE_${name}_DEPENDS "${arg_DEPENDS}")
  set_property(GLOBAL PROPERTY SIFTERRA_MODULE_${name}_LIBRARIES "${arg_LIBRARIES}")
endfunction()

# Writes every module as one line "name folder: dependency ..." for the layering test and the module graph.
function(sifterra_write_modules file)
  get_property(modules GLOBAL PROPERTY SIFTERRA_MODULES)
  set(text "")
  foreach(module IN LISTS modules)
    get_property(folder GLOBAL PROPERTY SIFTERRA_MODULE_${module}_FOLDER)
    get_property(depends GLOBAL PROPERTY SIFTERRA_MODULE_${module}_DEPENDS)
    list(JOIN depends " " depends)
    string(APPEND text "${module} ${folder}: ${depends}\n")
  endforeach()
  file(CONFIGURE OUTPUT ${file} CONTENT "${text}" @ONLY)
endfunction()
