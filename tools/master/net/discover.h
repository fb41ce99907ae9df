/// Finds boards: beacons on all interfaces, a restart request that makes silent boards speak, direct probes.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "net/board_client.h"
#include "protocol/beacon.h"

namespace zulctl {

/// A board that was heard.
struct FoundBoard {
    Endpoint at;  ///< its command service
    Beacon beacon;
    bool probed = false;  ///< it answered a probe; otherwise it was heard on the group
    int ttl = 0;          ///< hops that its datagram had left
    std::chrono::system_clock::time_point lastSeen;
};

struct DiscoverOptions {
    ClientOptions client;
    std::string interfaceName;    ///< empty: all of them
    std::vector<Endpoint> known;  ///< asked directly as well
    bool broadcast = false;  ///< asks every address of the networks at hand; counts as a command on each board there
    std::chrono::milliseconds time{1400};            ///< so that a command that finds boards is done within 1.5 s
    std::optional<std::chrono::milliseconds> grace;  ///< ends it so long after the first answer to a probe
    bool wake = true;                                ///< sends the restart request
};

/// Listens for the time and passes on each board when it is heard, again at each new beacon.
/// \param heard  false ends it
void Discover(const DiscoverOptions& options, const std::function<bool(const FoundBoard&)>& heard);

/// \return each board once, by address and port
std::vector<FoundBoard> DiscoverAll(const DiscoverOptions& options);

}  // namespace zulctl
