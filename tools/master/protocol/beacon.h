/// The discovery beacon: its group, how to request one, and its fields.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "protocol/endpoint.h"

namespace zulctl {

inline constexpr std::uint32_t kBeaconGroup = 0xEFFFFAFA;  ///< 239.255.250.250
inline constexpr std::uint16_t kBeaconPort = 52428;
inline constexpr std::uint16_t kBeaconRestartPort = 52429;  ///< a datagram there makes a board send its beacon at once

enum class Role { kTransmitter, kReceiver };
const char* RoleName(Role role);
std::uint16_t CommandPort(Role role);

/// A board's description of itself.
struct Beacon {
    std::string uuid;  ///< model and MAC address
    std::string mac;   ///< twelve hexadecimal digits after the last '-' of uuid, or empty
    std::string make;
    std::string model;
    std::string revision;      ///< "0.82.14"
    std::optional<Role> role;  ///< from the model: _TX_ or _RX_
};

/// Reads "ZULB<Key=Value>...CR LF". Keys may come in any order; unknown ones are skipped.
/// \return nothing for a text that isn't a beacon or has no Device-UUID
std::optional<Beacon> ParseBeacon(std::string_view datagram);

}  // namespace zulctl
