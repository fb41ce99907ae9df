// IPv4 addresses, ports and ids of programmes.
#include "protocol/endpoint.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "output/failure.h"

namespace zulctl {

sockaddr_in Endpoint::Sockaddr() const {
    return {.sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {htonl(address)}, .sin_zero = {}};
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

ProgrammeId ParseProgramme(const std::string& text) {
    const std::size_t colon = text.find(':');
    const auto transport = ParseNumber(text.substr(0, colon), 16, 0xFFFF);
    const auto programme = colon == std::string::npos ? std::nullopt : ParseNumber(text.substr(colon + 1), 16, 0xFFFF);
    if (!transport || !programme) throw Failure(kUsage, "\"{}\" isn't TSID:NUMBER in hexadecimal", text);
    return {static_cast<std::uint16_t>(*transport), static_cast<std::uint16_t>(*programme)};
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
    for (const std::string_view prefix : {"udp://", "@"}) {
        if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
    }
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const auto address = ParseAddress(text.substr(0, colon));
    const auto port = ParseNumber(text.substr(colon + 1), 10, 65535);
    if (!address || !port || *port == 0) return std::nullopt;
    return Endpoint{*address, static_cast<std::uint16_t>(*port)};
}

}  // namespace zulctl
