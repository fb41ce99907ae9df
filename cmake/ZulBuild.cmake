# Shared by all targets: language level, warnings, sanitizers.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

find_program(ZUL_CCACHE ccache)
if(ZUL_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${ZUL_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ZUL_CCACHE})
endif()

find_package(Threads REQUIRED)

# The version is defined once, by project(). zul_version.h makes it a text and three numbers.
configure_file(${CMAKE_SOURCE_DIR}/cmake/zul_version.h.in ${CMAKE_BINARY_DIR}/generated/zul_version.h @ONLY)
add_library(zul_version INTERFACE)
target_include_directories(zul_version INTERFACE ${CMAKE_BINARY_DIR}/generated)

# 64-bit file offsets on 32-bit boards too: an upgrade image may be large.
add_library(zul_settings INTERFACE)
target_compile_definitions(zul_settings INTERFACE _FILE_OFFSET_BITS=64)
target_link_libraries(zul_settings INTERFACE Threads::Threads)
if(ZUL_SANITIZE)
  target_compile_options(zul_settings INTERFACE -fsanitize=${ZUL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zul_settings INTERFACE -fsanitize=${ZUL_SANITIZE})
endif()
if(ZUL_FUZZ)
  target_compile_options(zul_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()

add_library(zul_warnings INTERFACE)
target_compile_options(zul_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(ZUL_WERROR)
  target_compile_options(zul_warnings INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 sees an overlap inside its own std::string when a literal precedes a sum in optimised builds.
    target_compile_options(zul_warnings INTERFACE -Wno-restrict)
  endif()
  if(ZUL_SANITIZE)
    # A sanitizer's checks hide from GCC what its own std::function sets.
    target_compile_options(zul_warnings INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(zul_warnings INTERFACE -Wthread-safety)
endif()

# zul_build_quickly(TARGET): for programs whose speed doesn't matter. Command lines and test cases are most of a build's
# time, and take half of it when nothing is optimised, as in the builds that only test.
function(zul_build_quickly target)
  if(ZUL_SANITIZE OR CMAKE_CROSSCOMPILING)
    target_compile_options(${target} PRIVATE -O0)
  else()
    # Here GCC 12 takes empty std::optionals for uninitialised.
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1> $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  endif()
endfunction()
