/// The Master Guide Table (ATSC A/65, 6.2): the PIDs of the other tables.
#pragma once

#include "bytes.h"

constexpr std::size_t kMgtHead = 11;  ///< bytes before the entries; tables_defined in bytes 9 and 10

/// One table of the guide.
///     bytes 0-1   table_type
///     bytes 2-3   reserved (3 bits), table_type_PID (13)
///     byte  4     reserved (3 bits), table_type_version_number (5)
///     bytes 5-8   number_bytes
///     bytes 9-10  reserved (4 bits), table_type_descriptors_length (12)
///     bytes 11-   descriptors
struct MgtEntry {
    std::uint16_t tableType;
    std::uint16_t pid;  ///< 0 to 0x1FFF
    Bytes fixed;        ///< the 11 bytes, for their reserved bits
    Bytes descriptors;  ///< still coded
};

/// Takes the next entry off the table loop.
/// \return the entry, or nothing when its fixed part isn't whole
constexpr std::optional<MgtEntry> TakeMgtEntry(Bytes& loop) {
    Bytes rest = loop;
    const auto fixed = TakeFront(rest, 11);
    if (!fixed) return std::nullopt;
    const Bytes descriptors = TakeAtMost(rest, Be16(*fixed, 9) & 0x0FFFu);
    loop = rest;
    return MgtEntry{Be16(*fixed, 0), static_cast<std::uint16_t>(Be16(*fixed, 2) & 0x1FFFu), *fixed, descriptors};
}
