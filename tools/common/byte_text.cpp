// Hexadecimal digits and escape sequences.
#include "common/byte_text.h"

#include <charconv>
#include <cstdint>

namespace common {

std::string HexText(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::string Unescaped(std::string_view text) {
    std::string bytes;
    for (std::size_t n = 0; n < text.size(); ++n) {
        if (text[n] != '\\' || n + 1 == text.size()) {
            bytes += text[n];
            continue;
        }
        const char kind = text[++n];
        const char* const digits = text.data() + n + 1;
        std::uint8_t byte = 0;
        if (kind == 'x' && n + 2 < text.size() && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            bytes += static_cast<char>(byte);
            n += 2;
        } else {
            bytes += kind == 'r' ? '\r' : kind == 'n' ? '\n' : kind == 't' ? '\t' : kind;
        }
    }
    return bytes;
}

}  // namespace common
