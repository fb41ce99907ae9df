// Escaping, widths and UTF-8 for everything that is printed.
#include "escape.h"

#include <fmt/format.h>
#include <locale.h>
#include <wchar.h>

#include <ctime>

namespace zulctl {

namespace {

constexpr char32_t kBad = 0xFFFFFFFF;

/// Takes one character off well-formed UTF-8 (RFC 3629), or kBad and one byte.
char32_t TakeUtf8(std::string_view& rest) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(rest[at]); };
    const unsigned char first = byte(0);
    const std::size_t size = first < 0x80 ? 1 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    char32_t value = size == 1 ? first : first & (0xFFu >> (size + 1));
    bool good = first < 0x80 || (first >= 0xC2 && first <= 0xF4 && rest.size() >= size);
    for (std::size_t n = 1; good && n < size; ++n) {
        good = (byte(n) & 0xC0) == 0x80;
        value = value << 6 | (byte(n) & 0x3Fu);
    }
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    good = good && value >= kLeast[size] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
    rest.remove_prefix(good ? size : 1);
    return good ? value : kBad;
}

bool IsUnsafe(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) ||        // C0, DEL, C1
           c == 0x061C || c == 0x200E || c == 0x200F ||  // direction marks
           (c >= 0x2028 && c <= 0x202E) ||               // line separators, bidirectional overrides
           (c >= 0x2066 && c <= 0x2069) || c == 0xFEFF;  // isolates, byte order mark
}

/// wcwidth needs a locale that knows characters; C.UTF-8 is on every Debian.
int CharacterWidth(char32_t c) {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (c < 0x7F) return 1;
    if (utf8 == nullptr) return 1;
    const locale_t before = uselocale(utf8);
    const int width = wcwidth(static_cast<wchar_t>(c));
    uselocale(before);
    return width < 0 ? 1 : width;
}

}  // namespace

void AppendUtf8(std::string& text, char32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    const auto put = [&](char32_t value) { text += static_cast<char>(value); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6), put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12), put(0x80 | (c >> 6 & 0x3F)), put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18), put(0x80 | (c >> 12 & 0x3F)), put(0x80 | (c >> 6 & 0x3F)), put(0x80 | (c & 0x3F));
    }
}

std::string Escaped(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const auto first = static_cast<unsigned char>(bytes.front());
        const char32_t c = TakeUtf8(bytes);
        if (c == '\\')
            text += "\\\\";
        else if (c == '\r')
            text += "\\r";
        else if (c == '\n')
            text += "\\n";
        else if (c == '\t')
            text += "\\t";
        else if (c == kBad)
            text += fmt::format("\\x{:02x}", first);
        else if (c < 0x80 && IsUnsafe(c))
            text += fmt::format("\\x{:02x}", first);
        else if (IsUnsafe(c))
            text += fmt::format("\\u{{{:04x}}}", static_cast<std::uint32_t>(c));
        else
            AppendUtf8(text, c);
    }
    return text;
}

std::size_t DisplayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) width += static_cast<std::size_t>(CharacterWidth(TakeUtf8(text)));
    return width;
}

std::string CutToWidth(std::string_view text, std::size_t columns) {
    if (DisplayWidth(text) <= columns) return std::string(text);
    std::string result;
    std::size_t width = 0;
    while (!text.empty()) {
        const char32_t c = TakeUtf8(text);
        width += static_cast<std::size_t>(CharacterWidth(c));
        if (width + 1 > columns) break;
        AppendUtf8(result, c);
    }
    if (columns > 0) result += "…";
    return result;
}

std::string UtcText(std::chrono::system_clock::time_point when) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::string UtcNow() {
    const auto now = std::chrono::system_clock::now();
    const auto part = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::string text = UtcText(std::chrono::floor<std::chrono::seconds>(now));
    return text.insert(text.size() - 1, fmt::format(".{:03}", part));
}

}  // namespace zulctl
