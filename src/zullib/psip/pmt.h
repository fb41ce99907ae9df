/// The Program Map Table (ISO/IEC 13818-1, 2.4.4.8): the elementary streams of a programme.
#pragma once

#include "bytes.h"

/// The fixed part of a section and the programme's descriptors; elementary streams follow.
///     bytes 0-2    table_id, section_syntax_indicator and reserved (4 bits), section_length (12)
///     bytes 3-4    program_number
///     bytes 5-9    version, section numbers, PCR_PID
///     bytes 10-11  reserved (4 bits), program_info_length (12)
///     bytes 12-    descriptors, program_info_length bytes
struct PmtHead {
    std::uint16_t programNumber;
    Bytes descriptors;  ///< still coded
};

/// Takes the fixed part and the programme's descriptors off a section.
/// \return both, or nothing when the fixed part isn't whole
constexpr std::optional<PmtHead> TakePmtHead(Bytes& section) {
    const auto fixed = TakeFront(section, 12);
    if (!fixed) return std::nullopt;
    return PmtHead{Be16(*fixed, 3), TakeAtMost(section, Be16(*fixed, 10) & 0x0FFFu)};
}

/// One elementary stream.
///     byte  0     stream_type
///     bytes 1-2   reserved (3 bits), elementary_PID (13)
///     bytes 3-4   reserved (4 bits), ES_info_length (12)
///     bytes 5-    descriptors, ES_info_length bytes
struct EsEntry {
    std::uint8_t streamType;
    std::uint16_t pid;  ///< 0 to 0x1FFF
    Bytes descriptors;  ///< still coded
};

/// Takes the next entry off an elementary stream loop.
/// \return the entry, or nothing when its fixed part isn't whole; bytes that stay in `loop` are then a truncated one.
constexpr std::optional<EsEntry> TakeEsEntry(Bytes& loop) {
    Bytes rest = loop;
    const auto fixed = TakeFront(rest, 5);
    if (!fixed) return std::nullopt;
    const Bytes descriptors = TakeAtMost(rest, Be16(*fixed, 3) & 0x0FFFu);
    loop = rest;
    return EsEntry{(*fixed)[0], static_cast<std::uint16_t>(Be16(*fixed, 1) & 0x1FFFu), descriptors};
}
