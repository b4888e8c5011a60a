# Finds the newest Clang of this machine: ORVO_CLANG, ORVO_CLANGXX. Below 16 it does not take all of this C++.
foreach(version RANGE 40 16 -1)
  list(APPEND clang_names clang-${version})
  list(APPEND clangxx_names clang++-${version})
endforeach()
find_program(ORVO_CLANG NAMES ${clang_names} clang)
find_program(ORVO_CLANGXX NAMES ${clangxx_names} clang++)
