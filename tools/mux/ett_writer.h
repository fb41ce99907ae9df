/// Extended Text Table (ATSC A/65, 6.6).
#pragma once

#include <cstdint>

#include "section.h"

namespace mux {

struct Ett {
    std::uint16_t extension = 0;  ///< ETT_table_id_extension: distinguishes the ETTs of one PID
    std::uint8_t version = 0;
    std::uint32_t etmId = 0;  ///< EventEtmId() or ChannelEtmId()
    Octets message{};         ///< extended_text_message, a coded multiple_string_structure
};

/// ETM_id of an event's text: source_id, event_id and the bits 10.
constexpr std::uint32_t EventEtmId(std::uint16_t sourceId, std::uint16_t eventId) {
    return static_cast<std::uint32_t>(sourceId) << 16 | static_cast<std::uint32_t>(eventId) << 2 | 2u;
}

/// ETM_id of a channel's text.
constexpr std::uint32_t ChannelEtmId(std::uint16_t sourceId) { return static_cast<std::uint32_t>(sourceId) << 16; }

/// An ETT, always one section. Throws Error when it is larger than 4096 bytes.
Section WriteEtt(const Ett& ett);

}  // namespace mux
