// The encoder of A/65 Annex C. A decode table is 128 big-endian offsets, one per preceding character, and the trees at
// these offsets: pairs of bytes, the first for a 0 bit, the second for a 1 bit; bit 7 marks a leaf, else the number of
// a pair.
#include "huffman_encoder.h"

#include <array>
#include <span>

#include "atsc_c5.h"
#include "atsc_c7.h"

namespace mux {
namespace {

constexpr std::uint8_t kEnd = 0;
constexpr std::uint8_t kEscape = 27;

struct Code {
    std::uint16_t value = 0;
    std::uint8_t bits = 0;  ///< 0: the tree has no such leaf
};

// The codes after one preceding character.
using CodeSet = std::array<Code, 128>;
using CodeBook = std::array<CodeSet, 128>;

void CollectLeaves(std::span<const std::uint8_t> tree, std::size_t node, Code prefix, CodeSet& codes) {
    for (std::uint8_t bit = 0; bit < 2; ++bit) {
        const std::uint8_t entry = tree[2 * node + bit];
        const Code code{static_cast<std::uint16_t>(prefix.value << 1 | bit),
                        static_cast<std::uint8_t>(prefix.bits + 1)};
        if ((entry & 0x80) == 0) {
            CollectLeaves(tree, entry, code, codes);
            continue;
        }
        Code& known = codes[entry & 0x7F];
        if (known.bits == 0 || code.bits < known.bits) known = code;  // some leaves occur twice
    }
}

CodeBook MakeBook(std::span<const std::uint8_t> table) {
    CodeBook book;
    for (std::size_t before = 0; before < book.size(); ++before) {
        const std::size_t root = static_cast<std::size_t>(table[2 * before] << 8 | table[2 * before + 1]);
        CollectLeaves(table.subspan(root), 0, Code{}, book[before]);
    }
    return book;
}

const CodeBook& Book(Compression table) {
    static const CodeBook titles = MakeBook(kAtscC5);
    static const CodeBook descriptions = MakeBook(kAtscC7);
    return table == Compression::kTitle ? titles : descriptions;
}

class BitWriter {
 public:
    void Put(Code code) {
        for (int bit = code.bits - 1; bit >= 0; --bit) {
            if (mUsed == 0) mBytes.push_back(0);
            mBytes.back() = static_cast<std::uint8_t>(mBytes.back() | (code.value >> bit & 1) << (7 - mUsed));
            mUsed = (mUsed + 1) & 7;
        }
    }
    void Literal(std::uint8_t byte) { Put(Code{byte, 8}); }

    /// Fills the last byte with the first bits of `code`.
    void FillWith(Code code) {
        if (mUsed == 0) return;
        const int room = 8 - mUsed;
        const int shift = code.bits > room ? code.bits - room : 0;
        Put(Code{static_cast<std::uint16_t>(code.value >> shift), static_cast<std::uint8_t>(code.bits - shift)});
        while (mUsed != 0) Put(Code{0, 1});
    }

    Octets Take() { return std::move(mBytes); }

 private:
    Octets mBytes;
    int mUsed = 0;  ///< bits used in the last byte, 0 when it is full
};

}  // namespace

std::optional<Octets> HuffmanEncode(Compression table, std::string_view text) {
    const CodeBook& book = Book(table);
    BitWriter writer;
    std::size_t before = 0;
    for (const char letter : text) {
        const auto character = static_cast<std::uint8_t>(letter);
        if (character == kEnd || character == kEscape || character > 127) return std::nullopt;
        const Code code = book[before][character];
        if (code.bits > 0) {
            writer.Put(code);
        } else {
            writer.Put(book[before][kEscape]);
            writer.Literal(character);
        }
        before = character;
    }
    if (book[before][kEnd].bits > 0) {
        writer.Put(book[before][kEnd]);
    } else {
        // This tree has no terminator: it is escaped, like any other character that a tree lacks.
        writer.Put(book[before][kEscape]);
        writer.Literal(kEnd);
    }
    // Decoders that don't end at an escaped 0 continue: the fill bits then start an escape and give no character.
    writer.FillWith(book[kEnd][kEscape]);
    return writer.Take();
}

}  // namespace mux
