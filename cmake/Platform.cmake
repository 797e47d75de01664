# What differs between the builds: the layer, and how the monitor becomes a library.
include(${CMAKE_CURRENT_LIST_DIR}/Linux.cmake)
