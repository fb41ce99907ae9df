// The multiple string structure of ATSC A/65, 6.10.
#include "psip/multiplestring.h"

#include <algorithm>
#include <cstring>

#include "core/log.h"

namespace {

constexpr std::size_t kStringHead = 4;
constexpr std::size_t kSegmentHead = 3;

/// \param room  characters before the terminator \return characters written, and the terminator
int DecodeHuffman(Bytes textIn, char* textOut, int room, unsigned type) {
    std::uint32_t len_out = 0;
    atsc_huffman1_to_string(textIn, textOut, static_cast<std::uint32_t>(room), &len_out, type);
    return static_cast<int>(len_out);
}

/// The text in progress.
struct JoinedText {
    char text[kMaxText + 9];
    int length;

    /// Appends an uncoded segment. \return false when the text is full
    bool AppendPlain(Bytes segment) {
        const int size = std::min(static_cast<int>(segment.size()), kMaxText - length);
        std::memcpy(text + length, segment.data(), static_cast<std::size_t>(size));
        length += size;
        return length < kMaxText;
    }

    /// Decodes and appends a segment. \return false when the text is full
    bool AppendDecoded(Bytes segment, unsigned compression) {
        length += DecodeHuffman(segment, text + length, kMaxText - length, compression);
        return length < kMaxText;
    }
};

/// Appends the segments of one string. \return false when the text is full
bool AppendString(JoinedText& joined, Bytes& rest, int segments, std::uint8_t* unicode_mode) {
    for (; segments > 0; --segments) {
        const auto head = TakeFront(rest, kSegmentHead);
        if (!head) return true;
        const unsigned compression = (*head)[0];
        *unicode_mode = (*head)[1];
        const Bytes segment = TakeAtMost(rest, (*head)[2]);
        if (compression > 2) continue;  // reserved
        if (!(compression == 0 ? joined.AppendPlain(segment) : joined.AppendDecoded(segment, compression)))
            return false;
    }
    return true;
}

}  // namespace

char* MultipleStringStructure(Bytes mustr, int* len, std::uint8_t* unicode_mode) {
    static JoinedText joined;
    joined.length = 0;
    const auto count = TakeFront(mustr, 1);
    for (int strings = count ? (*count)[0] : 0; strings > 0; --strings) {
        const auto head = TakeFront(mustr, kStringHead);
        if (!head) break;
        if (AppendString(joined, mustr, (*head)[3], unicode_mode)) continue;
        joined.length = kMaxText;
        PANIC("MultipleStringStructure: Text too long: %d, max is 1023\n", joined.length);
        break;
    }
    joined.text[joined.length] = '\0';
    *len = joined.length;
    return joined.text;
}
