# 64-bit Windows, built by clang and lld with the headers and libraries of mingw-w64 and the runtime of its g++ with posix
# threads. clang does not find that one by itself.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triple x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/clang.cmake)
set(CMAKE_C_COMPILER_TARGET ${triple})
set(CMAKE_CXX_COMPILER_TARGET ${triple})
set(CMAKE_RC_COMPILER ${triple}-windres)

execute_process(COMMAND ${triple}-g++-posix -print-file-name=libstdc++.a OUTPUT_VARIABLE runtime
                COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET runtime PARENT_PATH runtime)
foreach(folder "" /${triple} /backward)
  string(APPEND CMAKE_CXX_FLAGS_INIT " -stdlib++-isystem ${runtime}/include/c++${folder}")
endforeach()
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld-${LLVM_VERSION} -L${runtime} -lpthread")
endforeach()

set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
