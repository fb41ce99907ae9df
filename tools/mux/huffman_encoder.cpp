// The encoder of A/65 Annex C. A decode table is 128 big-endian offsets, one per preceding character, and the trees at
// these offsets: pairs of bytes, the first for a 0 bit, the second for a 1 bit; bit 7 marks a leaf, else the number of
// a pair.
#include "huffman_encoder.h"

#include <array>
#include <bitset>
#include <span>
#include <string>

#include "atsc_c5.h"
#include "atsc_c7.h"

namespace mux {
namespace {

constexpr std::uint8_t kEnd = 0;
constexpr std::uint8_t kEscape = 27;

// The codes after one preceding character, as the digits 0 and 1; empty where the tree has no such leaf.
using CodeSet = std::array<std::string, 128>;
using CodeBook = std::array<CodeSet, 128>;

void CollectLeaves(std::span<const std::uint8_t> tree, std::size_t node, const std::string& prefix, CodeSet& codes) {
    for (std::size_t bit = 0; bit < 2; ++bit) {
        const std::uint8_t entry = tree[2 * node + bit];
        const std::string code = prefix + "01"[bit];
        if ((entry & 0x80) == 0) {
            CollectLeaves(tree, entry, code, codes);
            continue;
        }
        std::string& known = codes[entry & 0x7F];
        if (known.empty() || code.size() < known.size()) known = code;  // some leaves occur twice
    }
}

CodeBook MakeBook(std::span<const std::uint8_t> table) {
    CodeBook book;
    for (std::size_t before = 0; before < book.size(); ++before) {
        const std::size_t root = static_cast<std::size_t>(table[2 * before] << 8 | table[2 * before + 1]);
        CollectLeaves(table.subspan(root), 0, "", book[before]);
    }
    return book;
}

const CodeBook& Book(Compression table) {
    static const CodeBook titles = MakeBook(kAtscC5);
    static const CodeBook descriptions = MakeBook(kAtscC7);
    return table == Compression::kTitle ? titles : descriptions;
}

}  // namespace

std::optional<Octets> HuffmanEncode(Compression table, std::string_view text) {
    const CodeBook& book = Book(table);
    std::string bits;
    std::size_t before = 0;
    // A character that the tree lacks is escaped; so is the terminator.
    const auto put = [&](std::uint8_t character) {
        const std::string& code = book[before][character];
        bits += code.empty() ? book[before][kEscape] + std::bitset<8>(character).to_string() : code;
        before = character;
    };
    for (const char letter : text) {
        const auto character = static_cast<std::uint8_t>(letter);
        if (character == kEnd || character == kEscape || character > 127) return std::nullopt;
        put(character);
    }
    put(kEnd);
    // Decoders that don't end at an escaped 0 continue: the fill bits then start an escape and give no character.
    const std::size_t size = (bits.size() + 7) / 8 * 8;
    bits += book[kEnd][kEscape].substr(0, size - bits.size());
    bits.resize(size, '0');
    Octets bytes;
    for (std::size_t at = 0; at < size; at += 8)
        bytes.push_back(static_cast<std::uint8_t>(std::bitset<8>(bits, at, 8).to_ulong()));
    return bytes;
}

}  // namespace mux
