set(PLATFORM linux)

# Windows' functions come from the layer, a shared library of its own, so that a host and the monitor it loads see the
# same spooler, registry, clock and last error.
file(GLOB layer_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/winapi/linux/*.cpp
                                          ${CMAKE_SOURCE_DIR}/winapi/spooler_sim/*.cpp)
list(FILTER layer_sources EXCLUDE REGEX "/dll_entry\\.cpp$")
add_library(winapi SHARED ${layer_sources})
# Loaded with the program, never later: its variables of a thread are found without a call.
target_compile_options(winapi PRIVATE -ftls-model=initial-exec)
target_link_libraries(winapi PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
target_include_directories(winapi PUBLIC ${CMAKE_SOURCE_DIR})
# The spooler's simulation is part of the layer.
add_library(spooler_sim INTERFACE)
target_link_libraries(spooler_sim INTERFACE winapi)

macro(platform_find_googletest)
  find_package(GTest REQUIRED)
endmacro()

# Nothing is special about std::async, programs have no properties, and g++ gains nothing from precompiled headers.
function(runs_tasks)
endfunction()
function(platform_binary target description)
endfunction()
function(precompile_headers)
endfunction()

# Allocations of what links with these options go through the layer's fault point.
set(wrap_allocations -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc)

# Further sources may follow the name.
function(platform_monitor_library name)
  set(strings ${CMAKE_BINARY_DIR}/generated/${name}_strings.cpp)
  add_custom_command(
    OUTPUT ${strings}
    COMMAND ${CMAKE_COMMAND} -DSCRIPT=${CMAKE_SOURCE_DIR}/winportmon/tsmon/tsmon.rc -DOUTPUT=${strings}
            -P ${CMAKE_SOURCE_DIR}/cmake/StringTable.cmake
    DEPENDS ${CMAKE_SOURCE_DIR}/winportmon/tsmon/tsmon.rc ${CMAKE_SOURCE_DIR}/cmake/StringTable.cmake)
  add_library(${name} MODULE ${CMAKE_SOURCE_DIR}/winportmon/tsmon/dllmain.cpp
                             ${CMAKE_SOURCE_DIR}/winapi/linux/dll_entry.cpp ${strings} ${ARGN})
  set_target_properties(${name} PROPERTIES PREFIX "" CXX_VISIBILITY_PRESET hidden)
  target_link_libraries(${name} PRIVATE tsmon)
  target_link_options(${name} PRIVATE ${wrap_allocations} -Wl,--no-undefined
                      -Wl,--version-script=${CMAKE_SOURCE_DIR}/winportmon/tsmon/tsprintportmon.map)
  set_target_properties(${name} PROPERTIES LINK_DEPENDS
                        ${CMAKE_SOURCE_DIR}/winportmon/tsmon/tsprintportmon.map)
endfunction()
