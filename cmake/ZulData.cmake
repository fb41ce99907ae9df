# Turns the files of data/ into C++ while CMake configures, so that a build needs only CMake and a compiler.
# A header is written again only when its content changes, and editing a data file runs CMake again.

# zul_hex_array(OUTPUT header NAME symbol INPUT file): a header with `inline constexpr std::array<std::uint8_t, N> symbol`,
# from a text file of hexadecimal bytes, two digits each, with white space between them.
function(zul_hex_array)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "OUTPUT;NAME;INPUT" "")
  _zul_data_input(${arg_INPUT} text)
  if(NOT text MATCHES "^[ \t\r\n]*([0-9A-Fa-f][0-9A-Fa-f][ \t\r\n]+)+$")
    message(FATAL_ERROR "${arg_INPUT}: bytes of two hexadecimal digits were expected")
  endif()
  string(REGEX MATCHALL "[0-9A-Fa-f]+" bytes "${text}")
  list(LENGTH bytes count)
  string(REGEX REPLACE "[ \t]*([0-9A-Fa-f]+)[ \t]*" "0x\\1," body "${text}")
  get_filename_component(source ${arg_INPUT} NAME)
  file(CONFIGURE OUTPUT ${arg_OUTPUT} @ONLY CONTENT [[// Made from @source@ when CMake ran.
#pragma once

#include <array>
#include <cstdint>

// clang-format off
inline constexpr std::array<std::uint8_t, @count@> @arg_NAME@ = {
@body@};
// clang-format on
]])
endfunction()

# zul_huffman_records(OUTPUT file INPUT file): rows `{code, character, bits},` to include between the braces of an array
# of such records, from lines of three numbers under a heading. The first record is repeated, at index 0 and 1: a
# look-up table into the records has 0 for "no code".
function(zul_huffman_records)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "OUTPUT;INPUT" "")
  _zul_data_input(${arg_INPUT} text)
  string(REGEX MATCHALL "0x[0-9a-f]+\t0x[0-9a-f]+\t[0-9]+" rows "${text}")
  string(REGEX MATCHALL "[^\r\n]+" lines "${text}")
  list(LENGTH rows count)
  list(LENGTH lines count_and_heading)
  math(EXPR count_and_heading "${count_and_heading} - 1")
  if(count EQUAL 0 OR NOT count EQUAL count_and_heading)
    message(FATAL_ERROR "${arg_INPUT}: a heading and lines of code, character and bits were expected")
  endif()
  list(GET rows 0 first)
  list(INSERT rows 0 ${first})
  list(TRANSFORM rows REPLACE "(.+)\t(.+)\t(.+)" "{\\1, \\2, \\3},")
  list(JOIN rows "\n" body)
  get_filename_component(source ${arg_INPUT} NAME)
  file(CONFIGURE OUTPUT ${arg_OUTPUT} @ONLY CONTENT "// Made from @source@ when CMake ran.\n@body@\n")
endfunction()

# Reads a data file into `out` and makes CMake run again when it changes.
function(_zul_data_input file out)
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(READ ${file} text)
  set(${out} "${text}" PARENT_SCOPE)
endfunction()
