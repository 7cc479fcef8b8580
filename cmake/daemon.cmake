# SPDX-License-Identifier: MIT
# The daemon: a static library, so that tests link what ships, and a main.
set(rooms core handlers spec sound store motor modules util)
foreach(room ${rooms})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${room}/*.cpp)
  list(APPEND camwarden_sources ${sources})
endforeach()
list(REMOVE_ITEM camwarden_sources ${CMAKE_SOURCE_DIR}/core/main.cpp)

# Log texts name the file they come from: the same text wherever the tree was built. It ends in a program and not in a
# library, which makes it smaller.
set(daemon_options -fno-exceptions -fno-rtti -fPIE -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)

add_library(camwarden STATIC ${camwarden_sources})
target_include_directories(camwarden PUBLIC ${CMAKE_SOURCE_DIR})
target_compile_options(camwarden PRIVATE ${daemon_options} -ffunction-sections -fdata-sections)
find_package(Threads REQUIRED)
target_link_libraries(camwarden PUBLIC platform PkgConfig::jsonc Threads::Threads)

add_executable(kivo_camwarden core/main.cpp)
target_compile_options(kivo_camwarden PRIVATE ${daemon_options})
target_link_options(kivo_camwarden PRIVATE -pie -Wl,--gc-sections)
# All seven platform libraries are named in the program, also one that nothing calls yet; libstdc++, which CMake adds behind
# them, is not, since the C driver links and nothing of it is used.
target_link_libraries(kivo_camwarden PRIVATE camwarden -Wl,--no-as-needed selvar selvar_share wrax wraxev cam_warden
                                             kivo_util kivo_statistics -Wl,--as-needed)
set_target_properties(kivo_camwarden PROPERTIES LINKER_LANGUAGE C RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
  set(daemon $<TARGET_FILE:kivo_camwarden>)
  add_custom_command(
    TARGET kivo_camwarden POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${daemon} ${daemon}.debug
    COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${daemon}.debug ${daemon}
    VERBATIM)
endif()
