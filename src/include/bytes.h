/// Bytes of broadcast input: taken off the front of a span, never read past its end. Big-endian, as the
/// tables of ISO/IEC 13818-1 and ATSC A/65 are.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

using Bytes = std::span<const std::uint8_t>;

/// Cuts the first `size` bytes off `rest`.
/// \return those bytes, or nothing when `rest` is shorter; it then stays as it was.
constexpr std::optional<Bytes> TakeFront(Bytes& rest, std::size_t size) {
    if (rest.size() < size) return std::nullopt;
    const Bytes front = rest.first(size);
    rest = rest.subspan(size);
    return front;
}

/// Cuts at most `size` bytes off `rest`: a wrong inner length yields what is left.
constexpr Bytes TakeAtMost(Bytes& rest, std::size_t size) { return *TakeFront(rest, std::min(size, rest.size())); }

/// Big-endian numbers. REQUIRES: the bytes from `at` on are there.
constexpr std::uint16_t Be16(Bytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}
constexpr std::uint32_t Be24(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at]) << 16 | Be16(bytes, at + 1);
}
constexpr std::uint32_t Be32(Bytes bytes, std::size_t at) {
    return static_cast<std::uint32_t>(Be16(bytes, at)) << 16 | Be16(bytes, at + 2);
}

/// Writes a big-endian number. REQUIRES: `to` has room for four bytes.
constexpr void PutBe32(std::uint8_t* to, std::uint32_t value) {
    to[0] = static_cast<std::uint8_t>(value >> 24);
    to[1] = static_cast<std::uint8_t>(value >> 16);
    to[2] = static_cast<std::uint8_t>(value >> 8);
    to[3] = static_cast<std::uint8_t>(value);
}

/// Bytes in front of a section's section_length that it doesn't count, and those of its CRC_32.
constexpr std::size_t kSectionHead = 3;
constexpr std::size_t kCrcSize = 4;

/// section_length of a section (ISO/IEC 13818-1, 2.4.4): the 12 bits of bytes 1 and 2. REQUIRES: 3 bytes.
constexpr std::size_t SectionLength(Bytes section) { return Be16(section, 1) & 0x0FFFu; }

/// A section as a span, from its own section_length, for callers that have only a pointer.
/// REQUIRES: the whole section is at `section`.
inline Bytes WholeSection(const std::uint8_t* section) {
    return Bytes(section, kSectionHead + SectionLength(Bytes(section, kSectionHead)));
}

/// Largest section_length of a PAT or PMT (ISO/IEC 13818-1, 2.4.4.3 and 2.4.4.8).
constexpr std::size_t kMaxPsiSectionLength = 1021;

/// A section without its CRC_32; empty when it is too short to have one.
constexpr Bytes WithoutCrc(Bytes section) {
    return section.first(section.size() < kCrcSize ? 0 : section.size() - kCrcSize);
}
