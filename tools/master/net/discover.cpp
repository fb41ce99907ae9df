// Discovery of boards.
#include "net/discover.h"

#include <algorithm>

#include "output/failure.h"

namespace zulctl {

namespace {

/// Sends the restart request, then the probes: like every request to a board, they quiet its beacon.
void Ask(UdpSocket& socket, const DiscoverOptions& options, const std::vector<Interface>& interfaces) {
    for (const Interface& item : interfaces) {
        if (!options.wake) break;
        socket.SendThrough(item.index);
        socket.Send("zulctl", {kBeaconGroup, kBeaconRestartPort});
    }
    for (const Endpoint& board : options.known) socket.Send("ZUL", board);
    for (const Interface& item : interfaces) {
        if (!options.broadcast || item.broadcast == 0) continue;
        for (const std::uint16_t port : {kTransmitterPort, kReceiverPort}) socket.Send("ZUL", {item.broadcast, port});
    }
}

std::optional<FoundBoard> Recognise(const Datagram& datagram, bool probed) {
    auto beacon = ParseBeacon(datagram.bytes);
    if (!beacon) return std::nullopt;
    FoundBoard board{datagram.from, *std::move(beacon), probed, datagram.ttl, std::chrono::system_clock::now()};
    // A beacon has its own source port; the command port follows from the board's role.
    if (!probed && board.beacon.role) board.at.port = CommandPort(*board.beacon.role);
    return board;
}

}  // namespace

std::vector<Interface> InterfacesNamed(const std::string& name) {
    std::vector<Interface> all = Interfaces();
    if (name.empty()) return all;
    std::erase_if(all, [&](const Interface& item) { return item.name != name; });
    if (all.empty()) throw Failure(kUsage, "no interface " + name + " with an address is up");
    return all;
}

void Discover(const DiscoverOptions& options, const std::function<bool(const FoundBoard&)>& heard) {
    const std::vector<Interface> interfaces = InterfacesNamed(options.interfaceName);
    UdpSocket beacons(options.client.recorder);
    beacons.ShareAddress();
    beacons.Bind(kBeaconPort, kBeaconGroup);
    for (const Interface& item : interfaces) beacons.Join(kBeaconGroup, item.index);

    // Probes use their own port: the replies are direct, and a probe doesn't make its sender the board's first peer.
    UdpSocket probes(options.client.recorder);
    probes.AllowBroadcast();
    probes.Bind(0, options.client.localAddress);
    Ask(probes, options, interfaces);

    const auto start = Clock::now();
    auto end = start + options.time;
    // One lost datagram must not hide a board: ask a second time half a second later.
    auto again = start + std::min<std::chrono::milliseconds>(options.time / 3, std::chrono::milliseconds(500));
    UdpSocket* const sockets[] = {&beacons, &probes};
    while (!Interrupted() && Clock::now() < end) {
        const auto ready = WaitForAny(sockets, std::min(again, end));
        if (!ready) {
            if (again < end) Ask(probes, options, interfaces);
            again = end;
            continue;
        }
        const auto datagram = sockets[*ready]->Take();
        const auto board = datagram ? Recognise(*datagram, *ready == 1) : std::nullopt;
        if (board && !heard(*board)) return;
        if (board && board->probed && options.grace) end = std::min(end, Clock::now() + *options.grace);
    }
}

std::vector<FoundBoard> DiscoverAll(const DiscoverOptions& options) {
    std::vector<FoundBoard> boards;
    const auto end = Clock::now() + options.patience;
    // Where boards are just booting, listen once more after the first of them.
    for (bool late = true; late && !Interrupted();) {
        const auto start = Clock::now();
        late = false;
        Discover(options, [&](const FoundBoard& board) {
            if (std::ranges::find(boards, board.at, &FoundBoard::at) != boards.end()) return true;
            boards.push_back(board);
            late = late || Clock::now() - start > options.time / 2;
            return true;
        });
        late = (late || boards.empty()) && Clock::now() < end;
    }
    std::ranges::sort(boards, {}, &FoundBoard::at);
    return boards;
}

}  // namespace zulctl
