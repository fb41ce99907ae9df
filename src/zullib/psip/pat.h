/// The Program Association Table (ISO/IEC 13818-1, 2.4.4.3): the PID of each programme's PMT.
#pragma once

#include "bytes.h"

/// The fixed part of a section.
///     byte  0     table_id
///     bytes 1-2   section_syntax_indicator and reserved (4 bits), section_length (12)
///     bytes 3-4   transport_stream_id
///     byte  5     reserved (2 bits), version_number (5), current_next_indicator (1)
///     bytes 6-7   section_number, last_section_number
///     bytes 8-    programmes, then CRC_32
struct PatHead {
    std::uint16_t transportStreamId;
    std::uint8_t version;  ///< version_number, in bits 1 to 5 as in the section
};

constexpr std::size_t kPatHeadSize = 8;

/// Takes the fixed part off a section.
/// \return the fixed part, or nothing when it isn't whole
constexpr std::optional<PatHead> TakePatHead(Bytes& section) {
    const auto fixed = TakeFront(section, kPatHeadSize);
    if (!fixed) return std::nullopt;
    return PatHead{Be16(*fixed, 3), static_cast<std::uint8_t>((*fixed)[5] & 0x3Eu)};
}

/// One programme.
///     bytes 0-1   program_number; 0: the PID is that of the network information
///     bytes 2-3   reserved (3 bits), program_map_PID (13)
struct PatEntry {
    std::uint16_t programNumber;
    std::uint16_t pid;  ///< 0 to 0x1FFF
};

constexpr std::size_t kPatEntrySize = 4;

/// Takes the next programme off the loop.
/// \return the programme, or nothing when it isn't whole
constexpr std::optional<PatEntry> TakePatEntry(Bytes& loop) {
    const auto fixed = TakeFront(loop, kPatEntrySize);
    if (!fixed) return std::nullopt;
    return PatEntry{Be16(*fixed, 0), static_cast<std::uint16_t>(Be16(*fixed, 2) & 0x1FFFu)};
}
