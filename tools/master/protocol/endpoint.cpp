// IPv4 addresses, ports and ids of programmes.
#include "protocol/endpoint.h"

#include <fmt/format.h>

#include "output/failure.h"
#include "protocol/text_walk.h"

namespace zulctl {

sockaddr_in Endpoint::Sockaddr() const {
    return {.sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {htonl(address)}, .sin_zero = {}};
}

std::string EndpointText(const Endpoint& endpoint) {
    return fmt::format("{}:{}", AddressText(endpoint.address), endpoint.port);
}

std::string ProgrammeText(const ProgrammeId& id) { return fmt::format("{:04x}:{:04x}", id.transportId, id.programme); }

std::optional<std::uint32_t> ParseNumber(std::string_view text, int base, std::uint32_t most) {
    TextWalk walk(text);
    const std::uint32_t value = walk.Number(base, text.size());
    return walk.AtEnd() && value <= most ? std::optional(value) : std::nullopt;
}

ProgrammeId ParseProgramme(const std::string& text) {
    TextWalk walk(text);
    const ProgrammeId id{walk.Hex16(), walk.After(":").Hex16()};
    if (!walk.AtEnd()) throw Failure(kUsage, "\"{}\" isn't TSID:NUMBER in hexadecimal", text);
    return id;
}

std::optional<std::uint32_t> ParseAddress(std::string_view text) {
    TextWalk walk(text);
    std::uint32_t address = 0;
    for (const char* before : {"", ".", ".", "."}) {
        const std::uint32_t part = walk.After(before).Number(10, 3);
        if (part > 255) return std::nullopt;
        address = address << 8 | part;
    }
    return walk.AtEnd() ? std::optional(address) : std::nullopt;
}

std::optional<Endpoint> ParseEndpoint(std::string_view text) {
    TextWalk walk(text);
    walk.Skip("udp://"), walk.Skip("@");
    const auto address = ParseAddress(walk.Until(":"));
    const int port = walk.Small(65535);
    if (!walk.AtEnd() || !address || port == 0) return std::nullopt;
    return Endpoint{*address, static_cast<std::uint16_t>(port)};
}

}  // namespace zulctl
