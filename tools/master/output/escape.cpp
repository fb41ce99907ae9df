// Escaping and widths of everything that is printed, by the tables of ICU, and similar words.
#include "output/escape.h"

#include <fmt/chrono.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cctype>

namespace zulctl {

namespace {

struct Character {
    UChar32 code;  ///< negative for bytes that are ill-formed
    std::string_view bytes;
};

/// Takes one character off UTF-8.
Character TakeUtf8(std::string_view& rest) {
    std::int32_t size = 0;
    UChar32 c = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside the macro
    U8_NEXT(rest.data(), size, static_cast<std::int32_t>(rest.size()), c);
#pragma GCC diagnostic pop
    const std::string_view bytes = rest.substr(0, static_cast<std::size_t>(size));
    rest.remove_prefix(bytes.size());
    return {c, bytes};
}

bool IsControl(UChar32 c) { return (U_GET_GC_MASK(c) & (U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) != 0; }

bool IsUnsafe(UChar32 c) {
    constexpr UChar32 kByteOrderMark = 0xFEFF;
    return IsControl(c) || u_hasBinaryProperty(c, UCHAR_BIDI_CONTROL) || c == kByteOrderMark;
}

std::size_t CharacterWidth(UChar32 c) {
    constexpr std::uint32_t kCombining = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK;
    constexpr UChar32 kSoftHyphen = 0xAD;
    if ((U_GET_GC_MASK(c) & kCombining) != 0 && c != kSoftHyphen) return 0;
    const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

bool Same(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

/// \return the least number of characters inserted, removed, replaced or swapped with their neighbour
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = cost[i - 1][j - 1] + (Same(a[i - 1], b[j - 1]) ? 0 : 1);
            cost[i][j] = std::min({replaced, cost[i - 1][j] + 1, cost[i][j - 1] + 1});
            if (i > 1 && j > 1 && Same(a[i - 1], b[j - 2]) && Same(a[i - 2], b[j - 1]))
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[a.size()][b.size()];
}

}  // namespace

std::string Escaped(std::string_view bytes) {
    constexpr std::string_view kNamed = "\\\r\n\t", kNames = "\\rnt";
    std::string text;
    while (!bytes.empty()) {
        const auto [c, piece] = TakeUtf8(bytes);
        if (const std::size_t known = kNamed.find(piece); known != std::string_view::npos)
            text += {'\\', kNames[known]};
        else if (c < 0 || (c < 0x80 && IsUnsafe(c)))
            for (const char byte : piece) text += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
        else if (IsUnsafe(c))
            text += fmt::format("\\u{{{:04x}}}", c);
        else
            text += piece;
    }
    return text;
}

std::string EscapedMessage(std::string_view message) {
    std::string text;
    while (!message.empty()) {
        const std::size_t kept = std::min(message.find_first_of("\n\\"), message.size());
        text += Escaped(message.substr(0, kept));
        text += message.substr(kept, 1);
        message.remove_prefix(std::min(kept + 1, message.size()));
    }
    return text;
}

std::string Blanked(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const auto [c, piece] = TakeUtf8(bytes);
        text += c < 0 || IsControl(c) ? " " : piece;
    }
    return text;
}

std::string TomlText(std::string_view bytes) {
    std::string text = "\"";
    while (!bytes.empty()) {
        const auto [c, piece] = TakeUtf8(bytes);
        if (c >= 0 && IsControl(c))
            text += fmt::format("\\u{:04x}", c);
        else
            text.append(c == '"' || c == '\\' ? "\\" : "").append(piece);
    }
    return text + '"';
}

std::string ShellWord(const std::string& word) {
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._:/@%+,=-";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
    std::string quoted = "'";
    for (const char c : Escaped(word)) quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + "'";
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& known) {
    constexpr std::size_t kLongest = 64;
    const std::string* best = nullptr;
    std::size_t limit = std::min(word.size(), kLongest) / 3 + 2;  // distances below it count as similar
    for (const std::string& candidate : known) {
        if (word.size() > kLongest || candidate.size() > kLongest) continue;
        const std::size_t distance = Distance(word, candidate);
        if (distance >= std::min(limit, candidate.size())) continue;
        best = &candidate;
        limit = distance;
    }
    return best == nullptr ? "" : "; did you mean \"" + Escaped(*best) + "\"?";
}

std::size_t DisplayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) width += CharacterWidth(TakeUtf8(text).code);
    return width;
}

std::string CutToWidth(std::string_view text, std::size_t columns) {
    if (DisplayWidth(text) <= columns) return std::string(text);
    std::string_view rest = text;
    std::size_t width = 0;
    std::size_t kept = 0;
    while (!rest.empty()) {
        width += CharacterWidth(TakeUtf8(rest).code);
        if (width + 1 > columns) break;
        kept = text.size() - rest.size();
    }
    return std::string(text.substr(0, kept)) + (columns > 0 ? "…" : "");
}

std::string UtcText(std::chrono::system_clock::time_point when) { return fmt::format("{:%FT%TZ}", fmt::gmtime(when)); }

std::string UtcNow() {
    const auto now = std::chrono::system_clock::now();
    const auto part = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    return fmt::format("{:%FT%T}.{:03}Z", fmt::gmtime(now), part);
}

}  // namespace zulctl
