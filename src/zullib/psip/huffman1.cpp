// The order-1 Huffman code of ATSC A/65, Annex C: each character selects the tree for the next.
#include <array>

#include "psip/atsc_c5.h"
#include "psip/atsc_c7.h"
#include "psip/multiplestring.h"

namespace {

constexpr std::uint8_t kLeaf = 0x80;  ///< top bit of a tree's byte: a character, else the number of the next pair
constexpr std::uint8_t kCharacter = 0x7F;
constexpr std::uint8_t kEndOfString = 0;
constexpr std::uint8_t kEscape = 27;  ///< followed by an uncoded character of 8 bits
constexpr unsigned kCharacters = 128;

/// \return the byte for `bit` in pair `node` of the tree that follows character `before`
constexpr std::uint8_t Follow(Bytes table, unsigned before, unsigned node, unsigned bit) {
    return table[Be16(table, 2u * before) + 2u * node + bit];
}

/// Walks every pair of every tree; not a constant expression when one points outside the table.
constexpr bool EveryPathStaysInside(Bytes table) {
    for (unsigned before = 0; before < kCharacters; ++before) {
        std::array<bool, kCharacters> seen{};
        std::array<std::uint8_t, kCharacters> waiting{};
        for (std::size_t count = 1; count > 0;) {
            const unsigned node = waiting[--count];
            for (const unsigned bit : {0u, 1u}) {
                const std::uint8_t value = Follow(table, before, node, bit);
                if ((value & kLeaf) != 0 || seen[value]) continue;
                seen[value] = true;
                waiting[count++] = value;
            }
        }
    }
    return true;
}
static_assert(ATSC_C5.size() == 1940 && EveryPathStaysInside(ATSC_C5));
static_assert(ATSC_C7.size() == 1782 && EveryPathStaysInside(ATSC_C7));

/// Result of a tree's first bits, which decode most characters in one step: a code has 3.5 bits on average.
constexpr unsigned kJumpBits = 5;
struct Jump {
    std::uint8_t value;  ///< as in a tree: a leaf, or the pair to continue from
    std::uint8_t bits;   ///< consumed
};
using Jumps = std::array<std::array<Jump, 1u << kJumpBits>, kCharacters>;

constexpr Jumps MakeJumps(Bytes table) {
    Jumps jumps{};
    for (unsigned before = 0; before < kCharacters; ++before) {
        for (unsigned ahead = 0; ahead < 1u << kJumpBits; ++ahead) {
            Jump& jump = jumps[before][ahead];
            while ((jump.value & kLeaf) == 0 && jump.bits < kJumpBits) {
                jump.value = Follow(table, before, jump.value, ahead >> (kJumpBits - 1 - jump.bits) & 1u);
                ++jump.bits;
            }
        }
    }
    return jumps;
}
constexpr Jumps kJumps5 = MakeJumps(ATSC_C5);
constexpr Jumps kJumps7 = MakeJumps(ATSC_C7);

struct Code {
    Bytes table;
    const Jumps* jumps;
};
constexpr Code atsc_tables[] = {{{}, nullptr}, {ATSC_C5, &kJumps5}, {ATSC_C7, &kJumps7}};  ///< by compression_type

/// Bits from the front of a text, most significant first.
class BitReader {
 public:
    explicit BitReader(Bytes bytes) : mRest(bytes) {}
    /// Fetches at least 8 bits, if that many are left. \return true when `count` bits, 1 to 8, are available
    bool Has(unsigned count) {
        if (mCount < 8) Refill();
        return mCount >= count;
    }
    /// \return the next 1 to 8 bits without consuming them; zeros after the end
    unsigned Peek(unsigned count) const { return mWindow >> (32 - count); }
    /// REQUIRES: `count` bits are available.
    void Skip(unsigned count) {
        mWindow <<= count;
        mCount -= count;
    }

 private:
    void Refill() {
        for (; mCount <= 24 && !mRest.empty(); mRest = mRest.subspan(1), mCount += 8) {
            mWindow |= static_cast<std::uint32_t>(mRest.front()) << (24 - mCount);
        }
    }

    Bytes mRest;
    std::uint32_t mWindow = 0;  ///< the next bits, from the top
    unsigned mCount = 0;        ///< of these bits
};

/// Takes the code of one character.
/// \return the character, or the end of the string when the bits run out or there is no table
std::uint8_t TakeCode(const Code& code, unsigned before, BitReader& bits) {
    if (code.jumps == nullptr || !bits.Has(1)) return kEndOfString;
    const Jump jump = (*code.jumps)[before][bits.Peek(kJumpBits)];
    if (!bits.Has(jump.bits)) return kEndOfString;
    bits.Skip(jump.bits);
    std::uint8_t value = jump.value;
    for (; (value & kLeaf) == 0; bits.Skip(1)) {
        if (!bits.Has(1)) return kEndOfString;
        value = Follow(code.table, before, value, bits.Peek(1));
    }
    return value & kCharacter;
}

}  // namespace

char* atsc_huffman1_to_string(Bytes compressed, char* retval, std::uint32_t room, std::uint32_t* out_size,
                              unsigned table_index) {
    const Code code = table_index < std::size(atsc_tables) ? atsc_tables[table_index] : Code{};
    BitReader bits(compressed);
    std::uint32_t strpos = 0;
    std::uint8_t character = 0;
    while (strpos < room) {
        character = TakeCode(code, character, bits);
        if (character == kEndOfString) break;
        if (character == kEscape) {
            if (!bits.Has(8)) break;
            character = static_cast<std::uint8_t>(bits.Peek(8) & kCharacter);
            bits.Skip(8);
        }
        retval[strpos++] = static_cast<char>(character);
    }
    retval[strpos] = '\0';
    *out_size = strpos + 1;
    return retval;
}
