/// Waits for a board that changes its address or restarts.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "net/discover.h"

namespace zulctl {

struct SoughtBoard {
    std::string mac;
    std::optional<std::uint32_t> address;  ///< nothing: anywhere
};

/// Listens for the beacon of a board.
/// \param wake      requests beacons repeatedly; without it the first beacon is that of a start
/// \param progress  called about once a second; false gives up
/// \return where the board is heard, or nothing when the time is up
std::optional<FoundBoard> WaitForBeacon(const DiscoverOptions& options, const SoughtBoard& sought, bool wake,
                                        std::chrono::seconds limit,
                                        const std::function<bool(std::chrono::seconds passed)>& progress);

/// \return the MAC address in a board's beacon text. Throws Failure where it doesn't answer or has none
std::string MacOf(Client& client);

}  // namespace zulctl
