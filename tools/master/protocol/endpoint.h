/// IPv4 addresses and ports, and ids of programmes, as people write them.
#pragma once

#include <netinet/in.h>

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/interfaces.h"

namespace zulctl {

using common::AddressText;
using common::Interface;
using common::Interfaces;

/// An address and a UDP port, both in host order.
struct Endpoint {
    std::uint32_t address = 0;
    std::uint16_t port = 0;

    auto operator<=>(const Endpoint&) const = default;
    sockaddr_in Sockaddr() const;
};

/// A programme of a multiplex.
struct ProgrammeId {
    std::uint16_t transportId;
    std::uint16_t programme;
    auto operator<=>(const ProgrammeId&) const = default;
};

/// \return "address:port"
std::string EndpointText(const Endpoint& endpoint);

/// \return the address of a dotted text of four numbers from 0 to 255, or nothing for any other text
std::optional<std::uint32_t> ParseAddress(std::string_view text);
/// \return the endpoint of "address:port" with a port from 1 to 65535, also as players write it,
/// "udp://@address:port", or nothing
std::optional<Endpoint> ParseEndpoint(std::string_view text);

/// \return the whole text as a number in base 10 or 16 that is no larger than `most`, or nothing
std::optional<std::uint32_t> ParseNumber(std::string_view text, int base = 10, std::uint32_t most = 0xFFFFFFFF);

/// \return "1a2b:3c4d"
std::string ProgrammeText(const ProgrammeId& id);
/// \return "1a2b:3c4d" read as transport and programme id. Throws Failure(kUsage).
ProgrammeId ParseProgramme(const std::string& text);

constexpr bool IsMulticast(std::uint32_t address) { return (address >> 28) == 0xE; }

}  // namespace zulctl
