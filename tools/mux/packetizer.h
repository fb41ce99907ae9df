/// Transport packets (ISO/IEC 13818-1, 2.4.3).
#pragma once

#include <array>
#include <cstdint>

#include "section.h"

namespace mux {

inline constexpr std::size_t kPacketSize = 188;
inline constexpr std::size_t kPacketPayload = 184;

using Packet = std::array<std::uint8_t, kPacketSize>;

/// What goes between header and payload of a packet.
struct PacketShape {
    std::uint16_t pid = 0;
    bool unitStart = false;     ///< payload_unit_start_indicator
    bool randomAccess = false;  ///< random_access_indicator, in a separate adaptation field
};

/// A packet with this payload, an adaptation field filling what is left; continuity_counter 0.
/// REQUIRES: `payload` is 1 to RoomFor(shape) bytes long.
Packet MakePacket(const PacketShape& shape, OctetView payload);

/// \return payload bytes that a packet of this shape has room for; an adaptation field takes two: length and flags
constexpr std::size_t RoomFor(const PacketShape& shape) { return kPacketPayload - (shape.randomAccess ? 2 : 0); }

/// \return the least number of packets for a payload
constexpr std::size_t PacketsFor(std::size_t payload) { return (payload + kPacketPayload - 1) / kPacketPayload; }

}  // namespace mux
