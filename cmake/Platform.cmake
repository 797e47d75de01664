# What differs between the builds: where Windows' functions come from, how the monitor becomes a library, and how tests
# find GoogleTest and run.
if(CMAKE_SYSTEM_NAME STREQUAL "Windows")
  include(${CMAKE_CURRENT_LIST_DIR}/Windows.cmake)
else()
  include(${CMAKE_CURRENT_LIST_DIR}/Linux.cmake)
endif()
