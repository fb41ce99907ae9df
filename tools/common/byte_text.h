/// Bytes written as text: hexadecimal digits and escape sequences.
#pragma once

#include <string>
#include <string_view>

namespace common {

/// \return two lower-case digits for each byte
std::string HexText(std::string_view bytes);

/// \return the bytes of pairs of hexadecimal digits; other characters are skipped
std::string FromHex(std::string_view digits);

/// Replaces \r, \n, \t, \\ and \xNN by the bytes they denote. Any other escaped character denotes itself.
std::string Unescaped(std::string_view text);

}  // namespace common
