// Broadcast text into UTF-8.
#include "protocol/text_modes.h"

#include <fmt/format.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <memory>

#include "output/escape.h"

namespace zulctl {

namespace {

/// Pages of Unicode that a mode may name, both ends included.
struct Pages {
    std::uint8_t first, last;
};
constexpr Pages kPages[] = {{0x00, 0x06}, {0x09, 0x0E}, {0x10, 0x10}, {0x20, 0x27}, {0x30, 0x33}};

constexpr bool IsPage(std::uint8_t mode) {
    return std::any_of(std::begin(kPages), std::end(kPages),
                       [&](const Pages& pages) { return mode >= pages.first && mode <= pages.last; });
}

std::string ScsuText(std::string_view bytes) {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open("SCSU", &error), ucnv_close);
    if (U_FAILURE(error)) return "\xEF\xBF\xBD";
    // SCSU yields at most one UTF-16 unit a byte.
    std::u16string units(bytes.size() + 1, u'\0');
    const auto count = ucnv_toUChars(converter.get(), units.data(), static_cast<std::int32_t>(units.size()),
                                     bytes.data(), static_cast<std::int32_t>(bytes.size()), &error);
    std::string big;
    for (std::int32_t n = 0; n < count && U_SUCCESS(error); ++n) {
        big += static_cast<char>(units[static_cast<std::size_t>(n)] >> 8);
        big += static_cast<char>(units[static_cast<std::size_t>(n)]);
    }
    return Utf16Text(big);
}

}  // namespace

std::string Utf16Text(std::string_view bytes) {
    const auto unit = [&](std::size_t n) {
        return static_cast<char32_t>(static_cast<unsigned char>(bytes[2 * n]) << 8 |
                                     static_cast<unsigned char>(bytes[2 * n + 1]));
    };
    std::string text;
    const std::size_t units = bytes.size() / 2;
    for (std::size_t n = 0; n < units; ++n) {
        const char32_t high = unit(n);
        const bool pair =
            high >= 0xD800 && high < 0xDC00 && n + 1 < units && unit(n + 1) >= 0xDC00 && unit(n + 1) < 0xE000;
        AppendUtf8(text, pair ? 0x10000 + ((high - 0xD800) << 10) + (unit(n + 1) - 0xDC00) : high);
        n += pair ? 1 : 0;
    }
    return text;
}

std::optional<std::string> TextOfMode(std::uint8_t mode, std::string_view bytes) {
    if (mode == kModeUtf16) return Utf16Text(bytes);
    if (mode == kModeScsu) return ScsuText(bytes);
    if (!IsPage(mode)) return std::nullopt;
    std::string text;
    for (const char byte : bytes) AppendUtf8(text, static_cast<char32_t>(mode) << 8 | static_cast<unsigned char>(byte));
    return text;
}

std::string ShownText(std::uint8_t mode, std::string_view bytes) {
    if (auto text = TextOfMode(mode, bytes)) return *text;
    return fmt::format("(text of mode {:02x}: {})", mode, HexText(bytes));
}

}  // namespace zulctl
