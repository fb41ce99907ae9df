/// Finds boards: beacons on all interfaces, a restart request that makes silent boards send one, direct probes.
#pragma once

#include <functional>
#include <optional>
#include <string>
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
    bool broadcast = false;  ///< probes all addresses of attached networks; counts as a command on each board there
    std::chrono::milliseconds time{1400};            ///< keeps a command that finds boards within 1.5 s
    std::optional<std::chrono::milliseconds> grace;  ///< ends the search this long after the first answer to a probe
    std::chrono::milliseconds patience{};  ///< DiscoverAll waits that long for the first board, which may boot
    bool wake = true;                      ///< sends the restart request
};

/// \return the interfaces of this name, or all where it is empty. Throws Failure(kUsage) where none is up
std::vector<Interface> InterfacesNamed(const std::string& name);

/// Listens for the time and reports each board when it is heard, and at each further beacon.
/// \param heard  called with each board; false ends the search
void Discover(const DiscoverOptions& options, const std::function<bool(const FoundBoard&)>& heard);

/// \return each board once, by address and port
std::vector<FoundBoard> DiscoverAll(const DiscoverOptions& options);

}  // namespace zulctl
