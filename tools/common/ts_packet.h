/// The header of a transport packet (ISO/IEC 13818-1, 2.4.3.2).
///     byte  0     sync_byte, 0x47
///     bytes 1-2   transport_error_indicator, payload_unit_start_indicator, priority (3 bits), PID (13)
///     byte  3     scrambling (2), adaptation field present (1), payload present (1), continuity_counter (4)
#pragma once

#include "bytes.h"

namespace common {

inline constexpr std::size_t kTsPacketSize = 188;
inline constexpr std::uint8_t kSync = 0x47;
inline constexpr std::uint16_t kNullPid = 0x1FFF;

/// Each of these REQUIRES: `packet` has kTsPacketSize bytes.
constexpr bool HasTransportError(Bytes packet) { return (packet[1] & 0x80) != 0; }
constexpr bool UnitStarts(Bytes packet) { return (packet[1] & 0x40) != 0; }
constexpr std::uint16_t PidOf(Bytes packet) { return Be16(packet, 1) & 0x1FFF; }
constexpr bool IsScrambled(Bytes packet) { return (packet[3] & 0xC0) != 0; }
constexpr bool HasAdaptation(Bytes packet) { return (packet[3] & 0x20) != 0; }
constexpr bool HasPayload(Bytes packet) { return (packet[3] & 0x10) != 0; }
constexpr int ContinuityOf(Bytes packet) { return packet[3] & 0x0F; }

/// \return the bytes after header and adaptation field; nothing for a packet without payload
constexpr Bytes PayloadOf(Bytes packet) {
    if (!HasPayload(packet)) return {};
    Bytes rest = packet.subspan(4);
    if (HasAdaptation(packet)) TakeAtMost(rest, std::size_t{packet[4]} + 1);
    return rest;
}

}  // namespace common
