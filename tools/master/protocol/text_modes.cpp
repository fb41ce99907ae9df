// Broadcast text into UTF-8.
#include "protocol/text_modes.h"

#include <fmt/format.h>
#include <unicode/unistr.h>

#include <algorithm>

#include "output/escape.h"

namespace zulctl {

namespace {

/// Pages of Unicode that a mode may name, both ends included.
struct Pages {
    std::uint8_t first, last;
};
constexpr Pages kPages[] = {{0x00, 0x06}, {0x09, 0x0E}, {0x10, 0x10}, {0x20, 0x27}, {0x30, 0x33}};

constexpr bool IsPage(std::uint8_t mode) {
    return std::ranges::any_of(kPages, [&](const Pages& pages) { return mode >= pages.first && mode <= pages.last; });
}

std::string Converted(std::string_view bytes, const char* charset) {
    std::string text;
    icu::UnicodeString(bytes.data(), static_cast<std::int32_t>(bytes.size()), charset).toUTF8String(text);
    return text;
}

}  // namespace

std::string Utf16Text(std::string_view bytes) { return Converted(bytes.substr(0, bytes.size() / 2 * 2), "UTF-16BE"); }

std::optional<std::string> TextOfMode(std::uint8_t mode, std::string_view bytes) {
    if (mode == kModeUtf16) return Utf16Text(bytes);
    if (mode == kModeScsu) return Converted(bytes, "SCSU");
    if (!IsPage(mode)) return std::nullopt;
    std::string units;
    for (const char byte : bytes) units += {static_cast<char>(mode), byte};
    return Utf16Text(units);
}

std::string ShownText(std::uint8_t mode, std::string_view bytes) {
    if (auto text = TextOfMode(mode, bytes)) return *text;
    return fmt::format("(text of mode {:02x}: {})", mode, HexText(bytes));
}

}  // namespace zulctl
