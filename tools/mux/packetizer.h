/// Sections and PES packets into transport packets (ISO/IEC 13818-1, 2.4.3).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "section.h"

namespace mux {

inline constexpr std::size_t kPacketSize = 188;
inline constexpr std::size_t kPacketPayload = 184;

using Packet = std::array<std::uint8_t, kPacketSize>;

/// PIDs with a fixed meaning.
inline constexpr std::uint16_t kPidPat = 0x0000;
inline constexpr std::uint16_t kPidPsip = 0x1FFB;
inline constexpr std::uint16_t kPidNull = 0x1FFF;

/// How the sections of one table follow each other.
enum class Packing {
    kAligned,  ///< each section starts a packet, and stuffing fills the one before
    kDense,    ///< sections are contiguous, with a pointer_field where one starts; a packet may hold several
};

/// What goes between header and payload of a packet.
struct PacketShape {
    std::uint16_t pid = 0;
    bool unitStart = false;     ///< payload_unit_start_indicator
    bool randomAccess = false;  ///< random_access_indicator, in a separate adaptation field
};

/// A packet with this payload, an adaptation field filling what is left; continuity_counter 0.
/// REQUIRES: `payload` is 1 to RoomFor(shape) bytes long.
Packet MakePacket(const PacketShape& shape, OctetView payload);

/// Payload bytes that a packet of this shape has room for.
std::size_t RoomFor(const PacketShape& shape);

/// Splits a section into separate packets. \param extra  additional packets, over which the payload is spread with
/// stuffing in adaptation fields. REQUIRES: extra is at most RoomToStretch(section).
std::vector<Packet> PacketiseSection(const Section& section, std::uint16_t pid, std::size_t extra = 0);

/// \return the most `extra` packets for a section
std::size_t RoomToStretch(const Section& section);

/// Splits the sections of a table into packets; continuity counters are 0.
std::vector<Packet> PacketiseSections(std::span<const Section> sections, std::uint16_t pid, Packing packing);

/// Numbers packets of one PID: each gets the counter, which is then incremented modulo 16.
void NumberPackets(std::span<Packet> packets, std::uint8_t& continuity);

}  // namespace mux
