// Requests of streams.
#include "protocol/stream_request.h"

#include <fmt/format.h>

#include "output/failure.h"

namespace zulctl {

namespace {

/// A board keeps this much of a request's text for its next start; a longer one would come back in pieces.
constexpr std::size_t kLongestSaved = 254;

}  // namespace

ProgrammeId ParseProgramme(const std::string& text) {
    const std::size_t colon = text.find(':');
    const auto transport = ParseNumber(text.substr(0, colon), 16, 0xFFFF);
    const auto programme = colon == std::string::npos ? std::nullopt : ParseNumber(text.substr(colon + 1), 16, 0xFFFF);
    if (!transport || !programme) throw Failure(kUsage, "\"{}\" isn't TSID:NUMBER in hexadecimal", text);
    return {static_cast<std::uint16_t>(*transport), static_cast<std::uint16_t>(*programme)};
}

std::string StartText(const StreamRequest& request) {
    if (!IsMulticast(request.to.address)) {
        throw Failure(kUsage, "{} isn't a multicast group (224.0.0.0 to 239.255.255.255)",
                      AddressText(request.to.address));
    }
    if (request.to.port == 0) throw Failure(kUsage, "a stream needs a port from 1 to 65535");
    if (request.channel < 0 || request.channel > kHighestChannel) {
        throw Failure(kUsage, "a tuner has channels 0 to {}, not {}", kHighestChannel, request.channel);
    }
    if (request.slot && (*request.slot < 0 || *request.slot >= kStreamSlots)) {
        throw Failure(kUsage, "a board has slots 0 to {}, not {}", kStreamSlots - 1, *request.slot);
    }
    std::string text = request.slot ? fmt::format("UNIT4,{},", *request.slot) : "UNIT1,";
    text += fmt::format("{},{},{:x}", AddressText(request.to.address), request.to.port, request.channel);
    for (const ProgrammeId& id : request.programmes) text += fmt::format(",{:x},{:x}", id.transportId, id.programme);
    if (text.size() > kLongestSaved) {
        throw Failure(kUsage, "{} programmes are too many for one stream; leave them out to send the whole channel",
                      request.programmes.size());
    }
    return text;
}

std::string StopText(std::optional<int> slot) {
    if (!slot) return "UNIT0";
    if (*slot < 0 || *slot >= kStreamSlots)
        throw Failure(kUsage, "a board has slots 0 to {}, not {}", kStreamSlots - 1, *slot);
    return fmt::format("UNIT5,{}", *slot);
}

}  // namespace zulctl
