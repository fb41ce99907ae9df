/// Broadcast text by its mode byte (ATSC A/65, 6.10, Table 6.41) into UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zulctl {

inline constexpr std::uint8_t kModeLatin = 0x00;
inline constexpr std::uint8_t kModeScsu = 0x3E;
inline constexpr std::uint8_t kModeUtf16 = 0x3F;

/// \param mode   a page of Unicode for one byte a character, 0x3E for SCSU (UTS #6), 0x3F for UTF-16 high byte first
/// \return UTF-8, where what isn't a character became U+FFFD; nothing for a mode that the standard doesn't define
std::optional<std::string> TextOfMode(std::uint8_t mode, std::string_view bytes);

/// As TextOfMode; for an undefined mode, a text that says so and shows the bytes.
std::string ShownText(std::uint8_t mode, std::string_view bytes);

/// \return the UTF-8 of UTF-16 with the high byte first; an odd last byte is dropped
std::string Utf16Text(std::string_view bytes);

}  // namespace zulctl
