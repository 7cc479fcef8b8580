# SPDX-License-Identifier: MIT
# Where the virtual camera is not built, the daemon is linked against empty libraries with the names and the functions of
# the device's: they satisfy the linker. Whoever runs the program brings the real ones.
file(READ ${CMAKE_SOURCE_DIR}/platform/include/libkivo_util.h util_header)
file(STRINGS ${CMAKE_SOURCE_DIR}/tests/platform/exports.txt exports)

foreach(line ${exports})
  string(REGEX MATCH "^lib([a-z_]+) ([a-z_]+)$" matched "${line}")
  set(library ${CMAKE_MATCH_1})
  set(function ${CMAKE_MATCH_2})
  # The stand-in also takes some functions of libc; the device's library has none of them.
  if(library STREQUAL "kivo_util" AND NOT util_header MATCHES " ${function}\\(")
    continue()
  endif()
  list(APPEND libraries ${library})
  string(APPEND ${library}_text "void ${function}(void);\nvoid ${function}(void)\n{\n}\n")
endforeach()

list(REMOVE_DUPLICATES libraries)
foreach(library ${libraries})
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/stubs/${library}.c CONTENT "${${library}_text}" @ONLY)
  add_library(${library} SHARED ${CMAKE_BINARY_DIR}/stubs/${library}.c)
  set_target_properties(${library} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/stubs)
endforeach()
