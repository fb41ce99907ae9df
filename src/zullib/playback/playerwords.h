/// The words of a line of the player's language, and the numbers in them.
#pragma once

#include <cstdint>

/// All words, including the option words.
struct Words {
    int count;
    char** word;

    const char* operator[](int at) const { return word[at]; }

    /// True when a word can be taken as an option's parameter: it exists and doesn't look like an option. "-5" is a
    /// number, "-stopall" is not.
    bool Usable(int at) const {
        return at < count && !(word[at][0] == '-' && !(word[at][1] >= '0' && word[at][1] <= '9'));
    }
};

/// How a number is written.
enum class Number {
    kSigned,    ///< decimal, 0x hexadecimal, leading-zero octal
    kUnsigned,  ///< the same
    kHex,       ///< hexadecimal, with or without a prefix
};

/// Value of a word; parsing stops at the first invalid character, and the value is clamped to 32 bits.
/// \return 0 for a word without digits
std::int32_t ValueOf(const char* word, Number number);
