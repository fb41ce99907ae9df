// The order-1 Huffman code of ATSC A/65, Annex C: each character chooses the tree for the next.
#include "psip/atsc_c5.h"
#include "psip/atsc_c7.h"
#include "psip/multiplestring.h"

namespace {

constexpr std::uint8_t kLeaf = 0x80;  ///< top bit of a tree's byte: a character, else the number of the next pair
constexpr std::uint8_t kCharacter = 0x7F;
constexpr std::uint8_t kEndOfString = 0;
constexpr std::uint8_t kEscape = 27;  ///< a character of 8 bits follows as it stands

constexpr Bytes atsc_tables[] = {{}, ATSC_C5, ATSC_C7};
static_assert(ATSC_C5.size() == 1940 && ATSC_C7.size() == 1782);

/// Bits from the front of a text, most significant first.
class BitReader {
   public:
    explicit BitReader(Bytes bytes) : mBytes(bytes) {}
    std::size_t Left() const { return mBytes.size() * 8 - mAt; }
    /// REQUIRES: `count` bits are left.
    unsigned Take(unsigned count) {
        unsigned value = 0;
        for (; count > 0; --count, ++mAt) value = value << 1 | (mBytes[mAt / 8] >> (7 - mAt % 8) & 1u);
        return value;
    }

   private:
    Bytes mBytes;
    std::size_t mAt = 0;
};

}  // namespace

char* atsc_huffman1_to_string(Bytes compressed, char* retval, std::uint32_t room, std::uint32_t* out_size,
                              unsigned table_index) {
    const Bytes table = table_index < std::size(atsc_tables) ? atsc_tables[table_index] : Bytes{};
    BitReader bits(table.empty() ? Bytes{} : compressed);
    std::uint32_t strpos = 0;
    std::size_t root = table.empty() ? 0 : Be16(table, 0);
    std::size_t node = 0;
    while (strpos < room && bits.Left() > 0) {
        const std::size_t at = root + 2 * node + bits.Take(1);
        if (at >= table.size()) break;
        std::uint8_t value = table[at];
        if ((value & kLeaf) == 0) {
            node = value;
            continue;
        }
        value &= kCharacter;
        if (value == kEndOfString) break;
        if (value == kEscape) {
            if (bits.Left() < 8) break;
            value = bits.Take(8) & kCharacter;
        }
        retval[strpos++] = static_cast<char>(value);
        root = Be16(table, 2u * value);
        node = 0;
    }
    retval[strpos] = '\0';
    *out_size = strpos + 1;
    return retval;
}
