/// The requests that start and stop streams, checked before they are sent.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "protocol/endpoint.h"

namespace zulctl {

/// A programme of a multiplex.
struct ProgrammeId {
    std::uint16_t transportId;
    std::uint16_t programme;
    auto operator<=>(const ProgrammeId&) const = default;
};

/// A requested stream.
struct StreamRequest {
    Endpoint to;
    int channel = 0;                      ///< of the tuner, 0 to 158
    std::vector<ProgrammeId> programmes;  ///< empty: all of the channel
    std::optional<int> slot;              ///< nothing: replaces all running streams
};

inline constexpr int kStreamSlots = 8;
inline constexpr int kHighestChannel = 158;

/// \return "1a2b:3c4d" read as transport and programme id. Throws Failure(kUsage).
ProgrammeId ParseProgramme(const std::string& text);

/// \return the request text. Throws Failure(kUsage) for what a board would refuse or misread.
std::string StartText(const StreamRequest& request);
std::string StopText(std::optional<int> slot);

}  // namespace zulctl
