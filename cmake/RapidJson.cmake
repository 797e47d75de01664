# RapidJSON: headers of this machine that any build can use. Its folder is linked into the build, so that a build for
# Windows sees no other header beside it.
find_path(RAPIDJSON_FOLDER rapidjson/writer.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
if(NOT RAPIDJSON_FOLDER)
  message(FATAL_ERROR "rapidjson/writer.h is missing: install Debian's package rapidjson-dev")
endif()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/rapidjson)
file(CREATE_LINK ${RAPIDJSON_FOLDER}/rapidjson ${CMAKE_BINARY_DIR}/rapidjson/rapidjson SYMBOLIC)
add_library(rapidjson INTERFACE)
target_include_directories(rapidjson SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/rapidjson)
# Before its first allocation its stack adds to a null pointer, which clang's sanitizer reports. Nothing is read there.
target_compile_options(rapidjson INTERFACE $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=pointer-overflow>)
