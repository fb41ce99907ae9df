// Interfaces, as getifaddrs(3) lists them: an entry for each address of each interface.
#include "common/interfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace common {

namespace {

std::uint32_t AddressOf(const sockaddr* address) {
    if (address == nullptr || address->sa_family != AF_INET) return 0;
    return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
}

std::array<std::uint8_t, 6> HardwareOf(const ifaddrs* list, std::string_view name) {
    std::array<std::uint8_t, 6> hardware{};
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET || entry->ifa_name != name) continue;
        std::copy_n(reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr)->sll_addr, hardware.size(), hardware.begin());
    }
    return hardware;
}

}  // namespace

std::vector<Interface> Interfaces() {
    ifaddrs* raw = nullptr;
    if (getifaddrs(&raw) != 0) return {};
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> list(raw, freeifaddrs);
    std::vector<Interface> result;
    for (const ifaddrs* entry = raw; entry != nullptr; entry = entry->ifa_next) {
        const std::uint32_t address = AddressOf(entry->ifa_addr);
        if (address == 0 || (entry->ifa_flags & IFF_UP) == 0) continue;
        const std::string name = entry->ifa_name;
        if (std::any_of(result.begin(), result.end(), [&](const Interface& known) { return known.name == name; }))
            continue;
        const bool broadcasts = (entry->ifa_flags & IFF_BROADCAST) != 0;
        result.push_back({name, static_cast<int>(if_nametoindex(entry->ifa_name)), address,
                          AddressOf(entry->ifa_netmask), broadcasts ? AddressOf(entry->ifa_broadaddr) : 0,
                          (entry->ifa_flags & IFF_LOOPBACK) != 0, HardwareOf(raw, name)});
    }
    return result;
}

std::string AddressText(std::uint32_t address) {
    const in_addr network{htonl(address)};
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &network, text, sizeof text);
}

}  // namespace common
