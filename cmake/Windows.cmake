set(PLATFORM windows)

# Programs built here run under Wine, in a prefix of their own.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/cmake/wine.sh ${CMAKE_BINARY_DIR}/wine)

# Nothing is needed beside a program but Windows. The same sources give the same bytes, wherever they lie: no time is
# stored, no path of this machine, and no command line, which depends on how the compiler is called.
foreach(option -gcodeview -gno-codeview-command-line -ffile-compilation-dir=.)
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:${option}>)
endforeach()
add_link_options(-static -Wl,--no-insert-timestamp)
set(relative_paths ${CMAKE_SOURCE_DIR}/cmake/relative_paths.sh ${CMAKE_SOURCE_DIR})
set(CMAKE_CXX_COMPILER_LAUNCHER ${relative_paths} ${CMAKE_CXX_COMPILER_LAUNCHER})
set(CMAKE_CXX_LINKER_LAUNCHER ${relative_paths})

# Sources that use std::async or std::call_once: of those the runtime has variables of a thread, which it keeps as g++
# does.
function(runs_tasks)
  set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -femulated-tls)
endfunction()

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

# Compiling for Windows is mostly reading headers. Those that nearly all sources of these targets include, and more that
# are named, are read once: precompile_headers(TARGETS... [HEADERS MORE...]). The targets have the same options.
add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
function(precompile_headers owner)
  cmake_parse_arguments(PARSE_ARGV 1 argument "" "" HEADERS)
  target_precompile_headers(${owner} PRIVATE ${CMAKE_SOURCE_DIR}/winapi/winapi.h <algorithm> <atomic> <chrono> <cstdio>
                            <cstring> <filesystem> <fstream> <functional> <map> <memory> <mutex> <string> <thread>
                            <vector> ${argument_HEADERS})
  foreach(target ${argument_UNPARSED_ARGUMENTS})
    target_precompile_headers(${target} REUSE_FROM ${owner})
  endforeach()
endfunction()

# What goes to the customer, by the names of the files.
file(STRINGS ${CMAKE_SOURCE_DIR}/packaging/binaries.txt shipped_binaries)

# Gives a program or library the version that Windows shows in its properties, together with the resources of a script
# if one is named. What is shipped can be placed anywhere in memory. Its symbols lie in a .pdb beside it, which calls the
# sources' folder C:\tsprintportmon.
function(platform_binary target description)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(file_type VFT_APP)
    set(file_name ${target}.exe)
  else()
    set(file_type VFT_DLL)
    set(file_name ${target}.dll)
  endif()
  string(REPLACE "." "," version_commas ${PROJECT_VERSION}.0)
  set(resources ${CMAKE_BINARY_DIR}/generated/${target}.rc)
  if(ARGN)
    set(include_script "#include \"${ARGN}\"\n")
    cmake_path(GET ARGN PARENT_PATH folder)
    file(GLOB inputs CONFIGURE_DEPENDS ${folder}/*.rc ${folder}/*.manifest ${folder}/resource.h)
    set_source_files_properties(${resources} PROPERTIES OBJECT_DEPENDS "${inputs}" INCLUDE_DIRECTORIES ${folder})
  endif()
  configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${resources} @ONLY)
  target_sources(${target} PRIVATE ${resources})
  if(file_name IN_LIST shipped_binaries)
    target_link_options(${target} PRIVATE -Wl,--dynamicbase,--nxcompat,--high-entropy-va,--exclude-all-symbols,--pdb=
                        -Wl,-Xlink=-pdbaltpath:%_PDB% -Wl,-Xlink=-pdbsourcepath:C:\\tsprintportmon\\build\\windows)
    # What the toolchain's own libraries bring for other debuggers.
    add_custom_command(TARGET ${target} POST_BUILD COMMAND ${CMAKE_STRIP} --strip-debug $<TARGET_FILE:${target}>)
  endif()
endfunction()

function(platform_monitor_library name)
  set(folder ${CMAKE_SOURCE_DIR}/winportmon/tsmon)
  add_library(${name} MODULE ${folder}/dllmain.cpp ${folder}/${name}.def)
  set_target_properties(${name} PROPERTIES PREFIX "")
  target_link_libraries(${name} PRIVATE tsmon)
  platform_binary(${name} "Tessaron TCP/IP Port monitor for the print spooler" ${folder}/tsmon.rc)
endfunction()

# The port dialogs are for Windows alone. All but their entry point is for tests too.
function(port_dialogs_library name)
  set(folder ${CMAKE_SOURCE_DIR}/winportmon/tsmonui)
  sources_of(sources winportmon/tsmonui)
  list(FILTER sources EXCLUDE REGEX "/tsmonui\\.cpp$")
  add_library(tsmonui STATIC ${sources})
  target_link_libraries(tsmonui PUBLIC contract)
  add_library(${name} MODULE ${folder}/tsmonui.cpp ${folder}/${name}.def)
  set_target_properties(${name} PROPERTIES PREFIX "")
  foreach(part tsmonui ${name})
    target_compile_options(${part} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions$<SEMICOLON>-fno-rtti>)
  endforeach()
  target_link_libraries(${name} PRIVATE tsmonui)
  platform_binary(${name} "Port dialogs of the Tessaron TCP/IP Port monitor" ${folder}/tsmonui.rc)
endfunction()
port_dialogs_library(tsprintportmonui)

# Debian's packages bring GoogleTest's sources; the library is built for this target. Its code is not ours to warn about.
macro(platform_find_googletest)
  set(BUILD_GMOCK OFF)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main)
    target_compile_options(${library} PRIVATE -w -O0 -g0)
  endforeach()
endmacro()
