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

# A library that goes to the customer: a folder's entry point, resource script and export list, linked with what is in
# the target `parts`.
function(shipped_library name folder entry script parts)
  add_library(${name} MODULE ${folder}/${entry} ${folder}/${script} ${folder}/${name}.def)
  set_target_properties(${name} PROPERTIES PREFIX "")
  target_link_libraries(${name} PRIVATE ${parts})
  string(REPLACE "." "," version_commas ${PROJECT_VERSION}.0)
  set_source_files_properties(${folder}/${script} PROPERTIES COMPILE_OPTIONS
                              "-DTSM_VERSION_COMMAS=${version_commas};-DTSM_VERSION_STRING=\\\"${PROJECT_VERSION}\\\"")
  target_link_options(${name} PRIVATE -Wl,--dynamicbase,--nxcompat,--high-entropy-va,--exclude-all-symbols)
  # What a debugger needs lies in a file beside the library. The time that the linker left out stays left out.
  add_custom_command(
    TARGET ${name} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} -p --only-keep-debug $<TARGET_FILE:${name}> $<TARGET_FILE:${name}>.debug
    COMMAND ${CMAKE_STRIP} -p --strip-all $<TARGET_FILE:${name}>
    COMMAND ${CMAKE_OBJCOPY} -p --add-gnu-debuglink=$<TARGET_FILE:${name}>.debug $<TARGET_FILE:${name}>)
endfunction()

function(platform_monitor_library name)
  shipped_library(${name} ${CMAKE_SOURCE_DIR}/winportmon/tsmon dllmain.cpp tsmon.rc tsmon)
endfunction()

# The port dialogs are for Windows alone.
sources_of(tsmonui_sources winportmon/tsmonui)
list(FILTER tsmonui_sources EXCLUDE REGEX "/tsmonui\\.cpp$")
add_library(tsmonui STATIC ${tsmonui_sources})
target_compile_options(tsmonui PRIVATE -fno-exceptions -fno-rtti)
target_link_libraries(tsmonui PUBLIC winapi)
shipped_library(tsprintportmonui ${CMAKE_SOURCE_DIR}/winportmon/tsmonui tsmonui.cpp tsmonui.rc tsmonui)
set_property(SOURCE ${CMAKE_SOURCE_DIR}/winportmon/tsmonui/tsmonui.rc APPEND PROPERTY OBJECT_DEPENDS
             ${CMAKE_SOURCE_DIR}/winportmon/tsmonui/tsmonui.manifest)

# Debian's packages bring GoogleTest's sources; the library is built for this target. Its code is not ours to warn about.
macro(platform_find_googletest)
  set(BUILD_GMOCK OFF)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main)
    target_compile_options(${library} PRIVATE -w)
  endforeach()
endmacro()
