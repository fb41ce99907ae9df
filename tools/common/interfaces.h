/// Network interfaces of this machine.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace common {

/// A network interface that is up and has an IPv4 address. Addresses are in host order.
struct Interface {
    std::string name;
    int index;
    std::uint32_t address;    ///< its first
    std::uint32_t mask;       ///< network mask of the address
    std::uint32_t broadcast;  ///< 0 where it has none
    bool loopback;
    std::array<std::uint8_t, 6> hardware;  ///< MAC address; zeros where it has none
};

/// \return one entry for each interface, or nothing where the system doesn't list them
std::vector<Interface> Interfaces();

/// \return an address in host order as dotted text
std::string AddressText(std::uint32_t address);

}  // namespace common
