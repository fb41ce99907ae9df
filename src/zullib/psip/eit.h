/// The Event Information Table (ATSC A/65, 6.5): the events of a channel.
#pragma once

#include "bytes.h"

constexpr std::size_t kEitHead = 10;  ///< bytes before the events; source_id in 3 and 4, num_events_in_section in 9

/// One event, up to its title.
///     bytes 0-1   reserved (2 bits), event_id (14)
///     bytes 2-5   start_time, GPS seconds
///     bytes 6-8   reserved (2 bits), ETM_location (2), length_in_seconds (20)
///     byte  9     title_length
///     bytes 10-   title, a multiple string structure
struct EitEvent {
    std::uint16_t eventId;
    std::uint32_t startTime;
    std::uint32_t lengthInSeconds;
    std::uint8_t titleLength;  ///< as declared; 0: no title
    Bytes title;               ///< still coded
};

/// Takes the next event off the loop, up to its title; its descriptors follow.
/// \return the event, or nothing when its fixed part isn't whole
constexpr std::optional<EitEvent> TakeEitEvent(Bytes& loop) {
    Bytes rest = loop;
    const auto fixed = TakeFront(rest, 10);
    if (!fixed) return std::nullopt;
    const Bytes title = TakeAtMost(rest, (*fixed)[9]);
    loop = rest;
    return EitEvent{static_cast<std::uint16_t>(Be16(*fixed, 0) & 0x3FFFu), Be32(*fixed, 2), Be24(*fixed, 6) & 0x0FFFFFu,
                    (*fixed)[9], title};
}
