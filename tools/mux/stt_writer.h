/// System Time Table (ATSC A/65, 6.1).
#pragma once

#include <cstdint>

#include "section.h"

namespace mux {

struct Stt {
    std::uint32_t systemTime = 0;    ///< GPS seconds since 6 January 1980, 00:00:00 UTC
    std::uint8_t gpsUtcOffset = 18;  ///< seconds that GPS is ahead of UTC
    bool daylightSaving = false;     ///< DS_status
    std::uint8_t daylightDay = 0;    ///< DS_day_of_month of the next change, 0: not this month
    std::uint8_t daylightHour = 0;   ///< DS_hour of the next change
};

/// An STT: one section, version 0 always.
Section WriteStt(const Stt& stt);

}  // namespace mux
