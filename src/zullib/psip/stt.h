/// The System Time Table (ATSC A/65, 6.1): the broadcast's clock.
#pragma once

#include "bytes.h"

/// The fixed part of the section, which descriptors follow.
///     bytes 0-8    head of a section and protocol_version
///     bytes 9-12   system_time
///     byte  13     GPS_UTC_offset
///     bytes 14-15  daylight_savings
struct Stt {
    std::uint32_t systemTime;   ///< seconds since 1980-01-06 00:00:00 UTC, leap seconds included
    std::uint8_t gpsUtcOffset;  ///< leap seconds to subtract
    std::uint16_t daylightSavings;
};

/// Takes the fixed part off a section.
/// \return the fixed part, or nothing when it isn't whole
constexpr std::optional<Stt> TakeStt(Bytes& section) {
    const auto fixed = TakeFront(section, 16);
    if (!fixed) return std::nullopt;
    return Stt{Be32(*fixed, 9), (*fixed)[13], Be16(*fixed, 14)};
}
