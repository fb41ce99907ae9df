// IPv4 addresses, ports and interfaces.
#include "endpoint.h"

#include <fmt/format.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <charconv>
#include <memory>

namespace zulctl {

namespace {

std::uint32_t AddressOf(const sockaddr* address) {
    if (address == nullptr || address->sa_family != AF_INET) return 0;
    return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
}

}  // namespace

sockaddr_in Endpoint::Sockaddr() const {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(address);
    return result;
}

std::string AddressText(std::uint32_t address) {
    return fmt::format("{}.{}.{}.{}", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF, address & 0xFF);
}

std::string EndpointText(const Endpoint& endpoint) {
    return fmt::format("{}:{}", AddressText(endpoint.address), endpoint.port);
}

std::optional<std::uint32_t> ParseNumber(std::string_view text, int base, std::uint32_t most) {
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc{} || stop != end || value > most) return std::nullopt;
    return value;
}

std::optional<std::uint32_t> ParseAddress(std::string_view text) {
    std::uint32_t address = 0;
    for (int part = 0; part < 4; ++part) {
        const std::size_t dot = part < 3 ? text.find('.') : text.size();
        if (dot == std::string_view::npos || dot > 3) return std::nullopt;
        const auto number = ParseNumber(text.substr(0, dot), 10, 255);
        if (!number) return std::nullopt;
        address = address << 8 | *number;
        text.remove_prefix(std::min(text.size(), dot + 1));
    }
    return address;
}

std::optional<Endpoint> ParseEndpoint(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const auto address = ParseAddress(text.substr(0, colon));
    const auto port = ParseNumber(text.substr(colon + 1), 10, 65535);
    if (!address || !port || *port == 0) return std::nullopt;
    return Endpoint{*address, static_cast<std::uint16_t>(*port)};
}

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
                          broadcasts ? AddressOf(entry->ifa_broadaddr) : 0, (entry->ifa_flags & IFF_LOOPBACK) != 0});
    }
    return result;
}

}  // namespace zulctl
