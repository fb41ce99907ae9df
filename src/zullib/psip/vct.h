/// The Virtual Channel Tables, terrestrial and cable (ATSC A/65, 6.3): the names and numbers of the channels.
#pragma once

#include "bytes.h"

constexpr std::size_t kVctHead = 10;  ///< bytes before the channels; num_channels_in_section in byte 9

/// One channel.
///     bytes 0-13   short_name, seven UTF-16 characters
///     bytes 14-16  reserved (4 bits), major_channel_number (10), minor_channel_number (10)
///     byte  17     modulation_mode
///     bytes 18-21  carrier_frequency
///     bytes 22-23  channel_TSID
///     bytes 24-25  program_number
///     byte  26     ETM_location and flags, with reserved bits
///     byte  27     flags and service_type
///     bytes 28-29  source_id
///     bytes 30-31  reserved (6 bits), descriptors_length (10)
///     bytes 32-    descriptors
struct VctChannel {
    Bytes shortName;
    std::uint16_t majorNumber;
    std::uint16_t minorNumber;
    std::uint8_t modulationMode;
    std::uint32_t carrierFrequency;
    std::uint16_t channelTsid;
    std::uint16_t programNumber;
    std::uint16_t sourceId;
    Bytes fixed;        ///< the 32 bytes, for their reserved bits
    Bytes descriptors;  ///< still coded
};

/// Takes the next channel off the loop.
/// \return the channel, or nothing when its fixed part isn't whole
constexpr std::optional<VctChannel> TakeVctChannel(Bytes& loop) {
    Bytes rest = loop;
    const auto fixed = TakeFront(rest, 32);
    if (!fixed) return std::nullopt;
    const Bytes descriptors = TakeAtMost(rest, Be16(*fixed, 30) & 0x03FFu);
    loop = rest;
    const std::uint32_t numbers = Be24(*fixed, 14);
    return VctChannel{fixed->first(14),
                      static_cast<std::uint16_t>(numbers >> 10 & 0x3FF),
                      static_cast<std::uint16_t>(numbers & 0x3FF),
                      (*fixed)[17],
                      Be32(*fixed, 18),
                      Be16(*fixed, 22),
                      Be16(*fixed, 24),
                      Be16(*fixed, 28),
                      *fixed,
                      descriptors};
}
