/// The Extended Text Table (ATSC A/65, 6.6): a long text of a channel or of an event.
#pragma once

#include "bytes.h"

/// The fixed part of the section; the text follows, a multiple string structure.
///     byte  0      table_id
///     bytes 1-2    section_syntax_indicator and reserved (4 bits), section_length (12)
///     bytes 3-8    head of a section and protocol_version
///     bytes 9-12   ETM_id
struct EttHead {
    std::uint16_t etmIdHigh;  ///< source_id
    std::uint16_t etmIdLow;   ///< event_id (14 bits), then 2 for an event; 0 for a channel
    Bytes fixed;              ///< the 13 bytes, for their table_id and reserved bits
};

/// Takes the fixed part off a section.
/// \return the fixed part, or nothing when it isn't whole
constexpr std::optional<EttHead> TakeEttHead(Bytes& section) {
    const auto fixed = TakeFront(section, 13);
    if (!fixed) return std::nullopt;
    return EttHead{Be16(*fixed, 9), Be16(*fixed, 11), *fixed};
}
