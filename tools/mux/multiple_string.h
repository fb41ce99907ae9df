/// Texts of ATSC A/65, 6.10: the multiple string structure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "section.h"

namespace mux {

/// compression_type of a segment.
enum class Compression : std::uint8_t {
    kNone = 0,
    kTitle = 1,        ///< tables C.4 and C.5, programme titles
    kDescription = 2,  ///< tables C.6 and C.7, programme descriptions
};

/// Mode bytes of a segment. 0x00 to 0x33 name the high byte of all its characters; 0 is ISO Latin-1.
inline constexpr std::uint8_t kModeLatin1 = 0x00;
inline constexpr std::uint8_t kModeLastPage = 0x33;
inline constexpr std::uint8_t kModeUtf16 = 0x3F;

/// One language's text.
struct TextString {
    std::string text{};                        ///< UTF-8
    std::string language = "eng";              ///< ISO 639-2, three letters
    std::optional<Compression> compression{};  ///< nothing: the smallest
    std::optional<std::uint8_t> mode{};        ///< nothing: Latin-1 where it has all characters, else UTF-16
};

/// A text in one or more languages.
using Text = std::vector<TextString>;

/// Codes a text as a multiple_string_structure. A string of more than 255 coded bytes becomes several segments.
/// An empty Text is the structure of no strings, one byte of 0.
/// Throws std::runtime_error for text that isn't UTF-8, a compression that the characters can't have, a mode whose page
/// lacks one of them, and more than 255 strings or segments.
Octets MultipleString(const Text& text);

/// The UTF-16 code units of a UTF-8 text. Throws std::runtime_error where it isn't UTF-8.
std::u16string Utf16(std::string_view utf8);

}  // namespace mux
