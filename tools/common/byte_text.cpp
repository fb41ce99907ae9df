// Hexadecimal digits and escape sequences.
#include "common/byte_text.h"

#include <cctype>

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

std::string FromHex(std::string_view digits) {
    std::string bytes;
    int high = -1;
    for (const char c : digits) {
        if (!std::isxdigit(static_cast<unsigned char>(c))) continue;
        const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        if (high >= 0) bytes += static_cast<char>(high << 4 | digit);
        high = high >= 0 ? -1 : digit;
    }
    return bytes;
}

std::string Unescaped(std::string_view text) {
    std::string bytes;
    for (std::size_t n = 0; n < text.size(); ++n) {
        if (text[n] != '\\' || n + 1 == text.size()) {
            bytes += text[n];
            continue;
        }
        const char kind = text[++n];
        if (kind == 'x' && n + 2 < text.size()) {
            bytes += FromHex(text.substr(n + 1, 2));
            n += 2;
        } else {
            bytes += kind == 'r' ? '\r' : kind == 'n' ? '\n' : kind == 't' ? '\t' : kind;
        }
    }
    return bytes;
}

}  // namespace common
