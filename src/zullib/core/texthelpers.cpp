// Numbers and fields of the command text.
#include "core/texthelpers.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned kDigits = 8;  ///< hexadecimal digits that a value holds
constexpr int kMaxField = 1024;  ///< characters of the longest field

/// \return value of a hexadecimal digit, -1 for any other character
int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

unsigned int hatoi(const char* hexstr) {
    unsigned value = 0;
    unsigned place = 0;
    for (std::size_t at = std::strlen(hexstr); at > 0 && place < kDigits; --at) {
        const int digit = HexDigit(hexstr[at - 1]);
        if (digit < 0) continue;
        value |= static_cast<unsigned>(digit) << (4 * place++);
    }
    return value;
}

char* mystrtok(char* s, const char* delim) {
    static char* position = nullptr;
    char* const field = s != nullptr ? s : position;
    position = nullptr;
    if (field == nullptr) return nullptr;
    for (int length = 0; length <= kMaxField; ++length) {
        if (field[length] == '\0') return length > 0 ? field : nullptr;
        if (field[length] != delim[0]) continue;
        field[length] = '\0';
        position = field + length + 1;
        return length > 0 ? field : nullptr;
    }
    return nullptr;
}

int Decimal(const char* text) {
    const long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}
