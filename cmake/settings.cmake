# SPDX-License-Identifier: MIT
# What every target shares: the language, the warnings, the hardening of a release, the sanitizers.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS ON)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror)
add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)

set(CMAKE_C_FLAGS_MINSIZEREL "-Os -g")
set(CMAKE_CXX_FLAGS_MINSIZEREL "-Os -g")

if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
  add_compile_options(-fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  add_link_options(-Wl,-z,relro,-z,now)
endif()

set(CAMERA_SANITIZERS "" CACHE STRING "Sanitizers, as -fsanitize= takes them")
if(CAMERA_SANITIZERS)
  add_compile_options(-fsanitize=${CAMERA_SANITIZERS} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CAMERA_SANITIZERS})
  if(NOT CAMERA_SANITIZERS MATCHES "thread")
    add_compile_options(-fno-sanitize-recover=all)
  endif()
  # This one of clang's checks asks the C++ run-time, which the daemon does not have.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options(-fno-sanitize=function)
  endif()
endif()

option(CAMERA_COVERAGE "Count the lines that run" OFF)
if(CAMERA_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
