/// Text of ATSC A/65: the multiple string structure (6.10) and the Huffman codes of its Annex C.
#pragma once

#include <cstdint>

#include "bytes.h"

constexpr int kMaxText = 1023;  ///< bytes of a decoded text, without its terminator

/// Joins all strings and segments of a multiple string structure, whatever their language. The terminator of each
/// compressed segment counts and stays in the text. A text that reaches kMaxText bytes ends there, with a panic line.
///     byte  0     number_strings, and for each string:
///       bytes 0-2   ISO_639_language_code
///       byte  3     number_segments, and for each segment:
///         byte  0     compression_type: 0 none, 1 and 2 Huffman for titles and descriptions; others are skipped
///         byte  1     mode
///         byte  2     number_bytes
///         bytes 3-    the segment
/// \param len           gets the text's length
/// \param unicode_mode  gets the mode of the last segment; unchanged without one
/// \return the text, terminated, in one static buffer
char* MultipleStringStructure(Bytes mustr, int* len, std::uint8_t* unicode_mode);

/// Decodes a segment by the order-1 code of A/65, Annex C.
/// \param retval       room for `room` characters and a terminator
/// \param out_size     gets the characters written and the terminator
/// \param table_index  1 for C.5 (titles), 2 for C.7 (descriptions); another value decodes nothing
/// \return retval
char* atsc_huffman1_to_string(Bytes compressed, char* retval, std::uint32_t room, std::uint32_t* out_size,
                              unsigned table_index);

/// Decodes text of a code of limited length.
/// \param table     1 for the code of 128 characters, any other for that of 255
/// \param out_size  gets the characters written and the terminator
/// \return the text, terminated, in one static buffer of 1024 bytes
char* atsc_huffman2_to_string(Bytes compressed, std::uint32_t* out_size, unsigned table);
