# Libraries of headers: those of this machine, which any build can use. Their folders are linked into the build, so that a
# build for Windows sees no other header beside them.
function(header_library name header package)
  find_path(${name}_FOLDER ${header} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
  if(NOT ${name}_FOLDER)
    message(FATAL_ERROR "${header} is missing: install Debian's package ${package}")
  endif()
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers/${name})
  if(NOT EXISTS ${CMAKE_BINARY_DIR}/headers/${name}/${name})
    file(CREATE_LINK ${${name}_FOLDER}/${name} ${CMAKE_BINARY_DIR}/headers/${name}/${name} SYMBOLIC)
  endif()
  add_library(${name} INTERFACE)
  target_include_directories(${name} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers/${name})
endfunction()

header_library(rapidjson rapidjson/writer.h rapidjson-dev)
# Debian 12's has an assignment to constants, which nobody calls and clang from 19 on refuses all the same: the build has a
# copy without it.
set(rapidjson_copy ${CMAKE_BINARY_DIR}/headers/rapidjson/rapidjson)
file(REMOVE ${rapidjson_copy})  # the link; a folder stays
file(COPY ${rapidjson_FOLDER}/rapidjson DESTINATION ${CMAKE_BINARY_DIR}/headers/rapidjson PATTERN document.h EXCLUDE)
file(READ ${rapidjson_FOLDER}/rapidjson/document.h rapidjson_document)
string(REPLACE "{ s = rhs.s; length = rhs.length; }" "= delete;" rapidjson_document "${rapidjson_document}")
file(CONFIGURE OUTPUT ${rapidjson_copy}/document.h CONTENT "${rapidjson_document}" @ONLY)
header_library(rapidxml rapidxml/rapidxml.hpp librapidxml-dev)
# Before its first allocation its stack adds to a null pointer, which clang's sanitizer reports. Nothing is read there.
target_compile_options(rapidjson INTERFACE $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=pointer-overflow>)
