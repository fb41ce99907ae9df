/// The encoder of ATSC A/65 Annex C: the inverse of decode tables C.5 and C.7.
#pragma once

#include <optional>
#include <string_view>

#include "section.h"

namespace mux {

/// compression_type of a segment (A/65, 6.10).
enum class Compression : std::uint8_t {
    kNone = 0,
    kTitle = 1,        ///< tables C.4 and C.5, programme titles
    kDescription = 2,  ///< tables C.6 and C.7, programme descriptions
};

/// Compresses a text of ASCII characters.
/// \param table  kTitle or kDescription
/// \return the code, its string terminator and fill bits to a whole byte; nothing for a text with a character that the
///         code has no place for: 0, 27 (they are its terminator and its escape) and all above 127
std::optional<Octets> HuffmanEncode(Compression table, std::string_view text);

}  // namespace mux
