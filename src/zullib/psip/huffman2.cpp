// A Huffman code of limited length, of 128 or of 255 characters, by look-up of a code's numeric value.
#include <algorithm>
#include <array>

#include "psip/multiplestring.h"

namespace {

/// One code. Index 0 of a table repeats index 1, as 0 means "no code" in the look-up.
struct huffman_table {
    std::uint32_t encoded_sequence;
    std::uint8_t character;
    std::uint8_t number_of_bits;
};

constexpr huffman_table Table128[] = {
#include "psip/table128.inc"
};
constexpr huffman_table Table255[] = {
#include "psip/table255.inc"
};
static_assert(std::size(Table128) == 129 && std::size(Table255) == 256);

/// \return index into `table` for each code's value, 0 for none
template <std::size_t Size, std::size_t Codes>
constexpr std::array<std::uint8_t, Size> MakeLookup(const huffman_table (&table)[Codes]) {
    std::array<std::uint8_t, Size> lookup{};
    for (std::size_t i = 1; i < Codes; ++i) lookup[table[i].encoded_sequence] = static_cast<std::uint8_t>(i);
    return lookup;
}

constexpr auto Huff2Lookup128 = MakeLookup<2048>(Table128);
constexpr auto Huff2Lookup256 = MakeLookup<8192>(Table255);

/// Every code is found by its own value, so that one entry is enough for all lengths.
template <typename Lookup, std::size_t Codes>
constexpr bool EveryCodeIsFound(const Lookup& lookup, const huffman_table (&table)[Codes]) {
    for (std::size_t i = 1; i < Codes; ++i) {
        if (lookup[table[i].encoded_sequence] != i) return false;
    }
    return true;
}
static_assert(EveryCodeIsFound(Huff2Lookup128, Table128) && EveryCodeIsFound(Huff2Lookup256, Table255));

/// A code and its limits.
struct Scheme {
    std::span<const huffman_table> codes;
    std::span<const std::uint8_t> lookup;
    std::size_t shortest;  ///< bits
    std::size_t longest;
};
constexpr Scheme kScheme128{Table128, Huff2Lookup128, 3, 11};
constexpr Scheme kScheme255{Table255, Huff2Lookup256, 2, 13};

constexpr std::size_t kTailBits = 3;  ///< bits at the end that are not decoded
constexpr std::size_t kBufferSize = 1024;

/// \return a bit of the text. REQUIRES: the text has that bit.
unsigned BitAt(Bytes bytes, std::size_t at) { return bytes[at / 8] >> (7 - at % 8) & 1u; }

/// \return the complete code that begins at a bit, or null
const huffman_table* FindCode(const Scheme& scheme, Bytes compressed, std::size_t at) {
    std::size_t key = 0;
    const std::size_t most = std::min(scheme.longest, compressed.size() * 8 - at);
    for (std::size_t bits = 1; bits <= most; ++bits) {
        key = key << 1 | BitAt(compressed, at + bits - 1);
        if (bits < scheme.shortest) continue;
        const std::uint8_t index = scheme.lookup[key];
        if (index != 0 && scheme.codes[index].number_of_bits == bits) return &scheme.codes[index];
    }
    return nullptr;
}

}  // namespace

char* atsc_huffman2_to_string(Bytes compressed, std::uint32_t* out_size, unsigned table) {
    static char text[kBufferSize];
    const Scheme& scheme = table == 1 ? kScheme128 : kScheme255;
    std::uint32_t characters = 0;
    std::size_t current_bit = 0;
    while (current_bit + kTailBits < compressed.size() * 8 && characters + 1 < kBufferSize) {
        const huffman_table* const code = FindCode(scheme, compressed, current_bit);
        if (code == nullptr) {
            ++current_bit;
            continue;
        }
        text[characters++] = static_cast<char>(code->character);
        current_bit += code->number_of_bits;
    }
    text[characters] = '\0';
    *out_size = characters + 1;
    return text;
}
