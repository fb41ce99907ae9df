// Waiting for a board's beacon.
#include "net/wait_for_board.h"

#include "output/failure.h"

namespace zulctl {

using namespace std::chrono_literals;

std::optional<FoundBoard> WaitForBeacon(const DiscoverOptions& base, const SoughtBoard& sought, bool wake,
                                        std::chrono::seconds limit,
                                        const std::function<bool(std::chrono::seconds)>& progress) {
    DiscoverOptions options = base;
    options.known.clear();
    options.time = 1s;
    const auto start = Clock::now();
    std::optional<FoundBoard> found;
    for (int turn = 0; !found && Clock::now() - start < limit && !Interrupted(); ++turn) {
        options.wake = wake && turn % 5 == 0;
        Discover(options, [&](const FoundBoard& board) {
            const bool isThere = !sought.address || board.at.address == *sought.address;
            if (board.beacon.mac == sought.mac && !board.probed && isThere) found = board;
            return !found;
        });
        if (!found && !progress(std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start))) break;
    }
    return found;
}

std::string MacOf(Client& client) {
    const auto beacon = ParseBeacon(client.Ask("ZUL"));
    if (!beacon || beacon->mac.empty())
        throw Failure(kNoAnswer, EndpointText(client.Board()) + " doesn't tell its MAC address");
    return beacon->mac;
}

}  // namespace zulctl
