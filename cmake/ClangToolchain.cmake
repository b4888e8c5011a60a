# Builds with the newest Clang of this machine.
include(${CMAKE_CURRENT_LIST_DIR}/Clang.cmake)
set(CMAKE_C_COMPILER ${ORVO_CLANG})
set(CMAKE_CXX_COMPILER ${ORVO_CLANGXX})
