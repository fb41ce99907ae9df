/// Event Information Table (ATSC A/65, 6.5).
#pragma once

#include <cstdint>
#include <vector>

#include "section.h"

namespace mux {

struct EitEvent {
    std::uint16_t id = 0;          ///< event_id, 14 bits
    std::uint32_t start = 0;       ///< GPS seconds
    std::uint32_t seconds = 0;     ///< length_in_seconds, 20 bits
    std::uint8_t etmLocation = 0;  ///< 0: no event ETT, 1: in this transport stream
    Octets title{};                ///< a coded multiple_string_structure, at most 255 bytes
    Octets descriptors{};          ///< at most 4095 bytes
};

/// The events of one source in one EIT-k.
struct Eit {
    std::uint16_t sourceId = 0;
    std::uint8_t version = 0;
    std::vector<EitEvent> events{};
};

/// An EIT, in as many sections of at most 4096 bytes and 255 events as it takes, at least one.
/// Throws Error for a field that is out of range.
std::vector<Section> WriteEit(const Eit& eit);

}  // namespace mux
