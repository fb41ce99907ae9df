// The multiple string structure of A/65: number_strings, and for each string a language and its segments.
//     bytes 0-2   ISO_639_language_code
//     byte  3     number_segments
// A segment:
//     byte  0     compression_type
//     byte  1     mode
//     byte  2     number_bytes
//     bytes 3-    coded text
#include "multiple_string.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <locale>
#include <span>

#include "atsc_c5.h"
#include "atsc_c7.h"

namespace mux {
namespace {

constexpr std::size_t kMost = 255;  // strings, segments, bytes of a segment: each count has eight bits

// Coded segments, each from its compression_type on.
using Segments = std::vector<Octets>;

Octets Segment(Compression compression, std::uint8_t mode, const Octets& text) {
    return ByteWriter().U8(static_cast<std::size_t>(compression)).U8(mode).U8(text.size()).Raw(text).Bytes();
}

// The encoder of Annex C: the inverse of decode tables C.5 and C.7. A decode table is 128 big-endian offsets, one per
// preceding character, and the trees at these offsets: pairs of bytes, the first for a 0 bit, the second for a 1 bit;
// bit 7 marks a leaf, else the number of a pair.
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

// \return the code of ASCII text, its string terminator and fill bits to a whole byte; nothing for a text with a
// character that the code has no place for: 0, 27 (they are its terminator and its escape) and all above 127
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

std::uint8_t ChooseMode(const TextString& string, std::u16string_view units) {
    const auto fits = [&](std::uint8_t page) {
        return std::all_of(units.begin(), units.end(), [&](char16_t unit) { return unit >> 8 == page; });
    };
    if (!string.mode) return fits(kModeLatin1) ? kModeLatin1 : kModeUtf16;
    if (*string.mode == kModeUtf16) return kModeUtf16;
    if (*string.mode > kModeLastPage) Fail("mode {} can't be written", *string.mode);
    if (!fits(*string.mode))
        Fail("the text \"{}\" has characters outside the page of mode {}", string.text, *string.mode);
    return *string.mode;
}

// Most units of UTF-16 in one segment, or one fewer so as not to split a surrogate pair.
std::size_t Utf16Piece(std::u16string_view units) {
    std::size_t size = std::min(units.size(), kMost / 2);
    if (size < units.size() && units[size - 1] >= 0xD800 && units[size - 1] < 0xDC00) --size;
    return size;
}

Segments PlainSegments(std::u16string_view units, std::uint8_t mode) {
    Segments segments;
    do {
        const std::size_t size = mode == kModeUtf16 ? Utf16Piece(units) : std::min(units.size(), kMost);
        ByteWriter bytes;
        for (const char16_t unit : units.substr(0, size)) mode == kModeUtf16 ? bytes.U16(unit) : bytes.U8(unit);
        segments.push_back(Segment(Compression::kNone, mode, bytes.Bytes()));
        units.remove_prefix(size);
    } while (!units.empty());
    return segments;
}

// Each segment takes as much text as its 255 bytes hold. Nothing where a character has no code.
std::optional<Segments> CompressedSegments(std::string_view ascii, Compression table) {
    Segments segments;
    do {
        auto size = ascii.size();
        auto code = HuffmanEncode(table, ascii);
        while (code && code->size() > kMost) {
            size = std::min(size * kMost / code->size(), size - 1);
            code = HuffmanEncode(table, ascii.substr(0, size));
        }
        if (!code) return std::nullopt;
        segments.push_back(Segment(table, kModeLatin1, *code));
        ascii.remove_prefix(size);
    } while (!ascii.empty());
    return segments;
}

std::size_t SizeOf(const Segments& segments) {
    std::size_t size = 0;
    for (const Octets& segment : segments) size += segment.size();
    return size;
}

Segments MakeSegments(const TextString& string) {
    const std::u16string units = Utf16(string.text);
    const std::uint8_t mode = ChooseMode(string, units);
    if (string.compression && *string.compression != Compression::kNone) {
        auto segments = CompressedSegments(string.text, *string.compression);
        if (!segments || mode != kModeLatin1) Fail("the text \"{}\" can't be compressed", string.text);
        return *segments;
    }
    auto best = PlainSegments(units, mode);
    if (string.compression || mode != kModeLatin1) return best;
    for (const Compression table : {Compression::kTitle, Compression::kDescription}) {
        auto segments = CompressedSegments(string.text, table);
        if (segments && SizeOf(*segments) < SizeOf(best)) best = std::move(*segments);
    }
    return best;
}

}  // namespace

std::u16string Utf16(std::string_view utf8) {
    const auto& coding = std::use_facet<std::codecvt<char16_t, char8_t, std::mbstate_t>>(std::locale::classic());
    const auto* const bytes = reinterpret_cast<const char8_t*>(utf8.data());
    std::u16string units(utf8.size(), u'\0');
    std::mbstate_t state{};
    const char8_t* rest = nullptr;
    char16_t* end = nullptr;
    if (coding.in(state, bytes, bytes + utf8.size(), rest, units.data(), units.data() + units.size(), end) !=
        std::codecvt_base::ok) {
        Fail("the text \"{}\" isn't UTF-8", utf8);
    }
    units.resize(static_cast<std::size_t>(end - units.data()));
    return units;
}

Octets MultipleString(const Text& text) {
    if (text.size() > kMost) Fail("a text in {} languages, at most 255 fit", text.size());
    ByteWriter writer;
    writer.U8(text.size());
    for (const TextString& string : text) {
        const auto segments = MakeSegments(string);
        if (segments.size() > kMost) Fail("the text \"{}\" is too long", string.text);
        writer.Letters(string.language).U8(segments.size());
        for (const Octets& segment : segments) writer.Raw(segment);
    }
    return writer.Bytes();
}

}  // namespace mux
