# The newest clang that this machine has lld and llvm of, too.
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/llvm_version.sh installed OUTPUT_VARIABLE LLVM_VERSION
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_C_COMPILER clang-${LLVM_VERSION})
set(CMAKE_CXX_COMPILER clang++-${LLVM_VERSION})
