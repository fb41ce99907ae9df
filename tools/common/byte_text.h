/// Bytes written as text: hexadecimal digits and escape sequences.
#pragma once

#include <string>
#include <string_view>

namespace common {

/// \return two lower-case digits for each byte
std::string HexText(std::string_view bytes);

/// Replaces \r, \n, \t, \\ and \xNN by the bytes they denote. Any other escaped character denotes itself.
std::string Unescaped(std::string_view text);

}  // namespace common
