set(PLATFORM windows)

# Programs built here run under Wine, in a prefix of their own.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/cmake/wine.sh ${CMAKE_BINARY_DIR}/wine)

# Nothing is needed beside a program but Windows. The same sources give the same bytes, wherever they lie.
add_link_options(-static -Wl,--no-insert-timestamp)
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)

add_library(winapi INTERFACE)
target_link_libraries(winapi INTERFACE ws2_32 winspool spoolss advapi32 user32)
target_include_directories(winapi INTERFACE ${CMAKE_SOURCE_DIR})

# What the platform's part of tests/support needs.
set(test_support_libraries ntdll)

# The spooler's simulation is part of the programs that host the monitor; what they load is redirected to it.
file(GLOB simulation_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/winapi/spooler_sim/*.cpp
                                               ${CMAKE_SOURCE_DIR}/winapi/spooler_sim/windows/*.cpp)
add_library(spooler_sim STATIC ${simulation_sources})
target_link_libraries(spooler_sim PUBLIC winapi)

enable_language(RC)

# What goes to the customer, by the names of the files.
file(STRINGS ${CMAKE_SOURCE_DIR}/packaging/binaries.txt shipped_binaries)

# What is shipped can be placed anywhere in memory; what a debugger needs lies in a file beside it. The time that the
# linker left out stays left out.
function(platform_shipped target)
  if(NOT shipped_binaries MATCHES "(^|;)${target}\\.")
    message(FATAL_ERROR "${target} is not in packaging/binaries.txt")
  endif()
  string(REPLACE "." "," version_commas ${PROJECT_VERSION}.0)
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.rc$")
  set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS
                              "-DTSM_VERSION_COMMAS=${version_commas};-DTSM_VERSION_STRING=\\\"${PROJECT_VERSION}\\\"")
  target_link_options(${target} PRIVATE -Wl,--dynamicbase,--nxcompat,--high-entropy-va,--exclude-all-symbols)
  add_custom_command(
    TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} -p --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_STRIP} -p --strip-all $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} -p --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug $<TARGET_FILE:${target}>)
endfunction()

function(platform_monitor_library name)
  set(folder ${CMAKE_SOURCE_DIR}/winportmon/tsmon)
  add_library(${name} MODULE ${folder}/dllmain.cpp ${folder}/tsmon.rc ${folder}/${name}.def)
  set_target_properties(${name} PROPERTIES PREFIX "")
  target_link_libraries(${name} PRIVATE tsmon)
  platform_shipped(${name})
endfunction()

# The port dialogs are for Windows alone. All but their entry point is for tests too.
function(port_dialogs_library name)
  set(folder ${CMAKE_SOURCE_DIR}/winportmon/tsmonui)
  sources_of(sources winportmon/tsmonui)
  list(FILTER sources EXCLUDE REGEX "/tsmonui\\.cpp$")
  add_library(tsmonui STATIC ${sources})
  target_link_libraries(tsmonui PUBLIC winapi)
  add_library(${name} MODULE ${folder}/tsmonui.cpp ${folder}/tsmonui.rc ${folder}/${name}.def)
  set_target_properties(${name} PROPERTIES PREFIX "")
  set_property(SOURCE ${folder}/tsmonui.rc APPEND PROPERTY OBJECT_DEPENDS ${folder}/tsmonui.manifest)
  foreach(part tsmonui ${name})
    target_compile_options(${part} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions$<SEMICOLON>-fno-rtti>)
  endforeach()
  target_link_libraries(${name} PRIVATE tsmonui)
  platform_shipped(${name})
endfunction()
port_dialogs_library(tsprintportmonui)

# Debian's packages bring GoogleTest's sources; the library is built for this target. Its code is not ours to warn about.
macro(platform_find_googletest)
  set(BUILD_GMOCK OFF)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main)
    target_compile_options(${library} PRIVATE -w)
  endforeach()
endmacro()
