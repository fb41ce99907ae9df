/// The words of a line of the player's language, and the numbers in them.
#pragma once

#include <cstdint>
#include <span>

/// The words, the option words among them.
struct Words {
    int count;
    char** word;

    const char* operator[](int at) const { return word[at]; }

    /// True when a word can be taken as an option's parameter: it exists and doesn't look like an option. "-5" is a
    /// number, "-stopall" is not.
    bool Usable(int at) const {
        return at < count && !(word[at][0] == '-' && !(word[at][1] >= '0' && word[at][1] <= '9'));
    }
    bool Usable(int first, int number) const {
        for (int at = first; at < first + number; ++at) {
            if (!Usable(at)) return false;
        }
        return true;
    }
};

/// How a number is written.
enum class Number {
    kSigned,    ///< decimal, 0x hexadecimal, leading-zero octal
    kUnsigned,  ///< the same
    kHex,       ///< hexadecimal, with or without a prefix
};

/// Value of a word; it stops at the first bad character, and is held within 32 bits.
std::int32_t ValueOf(const char* word, Number number);

/// A field of a record, and how its word is written.
struct Field {
    std::int32_t* to;
    Number number;
};

/// Fills fields from the words of an optional tail.
/// \param at      first word of the tail
/// \param filled  gets the number of fields that had a word; may be null
/// \return where the scan goes on: behind the last word when all had one, else behind the word that ended the tail
int TakeTail(const Words& words, int at, std::span<const Field> fields, int* filled = nullptr);
