// zulctl network and reset: the board's address, and its restart.
#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/plan_work.h"
#include "net/discover.h"
#include "net/stream_order.h"
#include "output/escape.h"
#include "protocol/requests_text.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

struct NetworkChoice {
    CLI::App *dhcp, *fixed;  ///< the parsed one of these is wanted
    std::string address, gateway, netmask;
};

constexpr auto kAddressPatience = 90s, kRestartPatience = 180s;
constexpr auto kCommitTime = 4s;  // within which a failed change is reported

void Show(Session& session) {
    const Target target = session.OneBoard(std::nullopt);
    Client client = session.Connect(target);
    const std::string reply = client.Ask("IP?");
    const auto settings = ParseAddressSettings(reply);
    if (!settings) throw Failure(kRefused, "{} doesn't give its settings: {}", target.name, Escaped(reply));
    const Json body = {{"board", target.name},         {"dhcp", settings->dhcp == 1},  {"mac", settings->mac},
                       {"address", settings->address}, {"gateway", settings->gateway}, {"netmask", settings->netmask}};
    session.out.Emit("zulctl.network/1", body, [&] {
        return fmt::format("address  {}{}\ngateway  {}\nnetmask  {}\nmac      {}\n", Escaped(settings->address),
                           settings->dhcp == 1 ? " (by DHCP)" : "", Escaped(settings->gateway),
                           Escaped(settings->netmask), Escaped(settings->mac));
    });
}

/// The MAC address in a board's beacon text. Throws Failure where it doesn't answer or has none.
std::string MacOf(Client& client) {
    const auto beacon = ParseBeacon(client.Ask("ZUL"));
    if (!beacon || beacon->mac.empty())
        throw Failure(kNoAnswer, EndpointText(client.Board()) + " doesn't tell its MAC address");
    return beacon->mac;
}

/// Listens for the beacon of a board.
/// \param address  where it has to be; nothing: anywhere
/// \param wake     requests beacons repeatedly; without it the first beacon is that of a start
std::optional<FoundBoard> WaitForBeacon(Session& session, const std::string& mac, std::optional<std::uint32_t> address,
                                        bool wake, std::chrono::seconds usual) {
    const auto limit = session.Timeout() ? std::chrono::ceil<std::chrono::seconds>(*session.Timeout()) : usual;
    DiscoverOptions options = session.Discovery();
    options.known.clear();
    options.time = 1s;
    const auto start = Clock::now();
    std::optional<FoundBoard> found;
    for (int turn = 0; !found && Clock::now() - start < limit && !Interrupted(); ++turn) {
        const auto passed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
        session.out.Progress(
            fmt::format("waiting for the board's beacon, {} of {} s...", passed.count(), limit.count()));
        options.wake = wake && turn % 5 == 0;
        Discover(options, [&](const FoundBoard& board) {
            const bool isThere = !address || board.at.address == *address;
            if (board.beacon.mac == mac && !board.probed && isThere) found = board;
            return !found;
        });
    }
    return found;
}

void Report(Session& session, const char* schema, Json body, const Target& target,
            const std::optional<FoundBoard>& board, const char* done) {
    if (!board) {
        throw Failure(
            kNoAnswer,
            "{} has taken the order, but its beacon isn't heard; \"zulctl discover --watch\" goes on listening",
            target.name);
    }
    body.update({{"address", AddressText(board->at.address)}, {"port", board->at.port}, {"mac", board->beacon.mac}});
    session.out.Emit(schema, body,
                     [&] { return fmt::format("{} {} at {}\n", Escaped(target.name), done, EndpointText(board->at)); });
}

/// \param address  the board's new address; nothing: assigned by DHCP
void Change(Session& session, const std::string& request, std::optional<std::uint32_t> address) {
    const Target target = session.OneBoard(std::nullopt);
    Client client = session.Connect(target);
    RefuseDuringUpgrade(client);
    const std::string mac = MacOf(client);
    std::string answers;
    session.out.Progress("changing the address...");
    client.Listen(request, kCommitTime, [&](const Datagram& datagram) {
        if (datagram.from.port == target.at.port) answers += datagram.bytes;
        return answers.find("KO") == std::string::npos;
    });
    if (answers.empty()) throw Failure(kNoAnswer, target.name + " doesn't answer the change of its address");
    if (answers.starts_with("OK\r\nKO"))
        throw Failure(kRefused, target.name + " has stored the addresses, but can't put them to use");
    if (IsKo(answers)) throw Failure(kRefused, target.name + " refuses the addresses");
    // A board may send from its old address for a while.
    Report(session, "zulctl.network_change/1", {{"board", target.name}}, target,
           WaitForBeacon(session, mac, address, true, kAddressPatience), "is now");
}

void RunNetwork(Session& session, const NetworkChoice& choice) {
    if (choice.dhcp->parsed()) return Change(session, "DHCP1", std::nullopt);
    if (!choice.fixed->parsed()) return Show(session);
    Change(session, FixedAddressText(choice.address, choice.gateway, choice.netmask), ParseAddress(choice.address));
}

void RunReset(Session& session, bool noWait) {
    const bool wait = !noWait;
    const Target target = session.OneBoard(std::nullopt);
    Client client = session.Connect(target);
    const std::string mac = wait ? MacOf(client) : "";
    auto streams = NoteStreams(session, target, wait);
    client.Order("RESET", "the restart");
    if (!wait) {
        return session.out.Emit("zulctl.reset/1", {{"board", target.name}, {"waited", false}},
                                [&] { return Escaped(target.name) + " restarts\n"; });
    }
    // The request silenced the board's beacon: the next one is sent at start-up.
    Report(session, "zulctl.reset/1", {{"board", target.name}, {"waited", true}}, target,
           WaitForBeacon(session, mac, std::nullopt, false, kRestartPatience), "has restarted");
    if (streams) RestoreStreams(session, *streams);
}

}  // namespace

void AddNetworkCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "network",
                   "Tell or change a board's address; a change waits until the board is heard again", RunNetwork);
    command->require_subcommand(0, 1);
    choice->dhcp = command->add_subcommand("dhcp", "Take the address from the network");
    choice->fixed = command->add_subcommand("fixed", "Set a fixed address");
    choice->fixed->add_option("address", choice->address, "The board's address")->required();
    choice->fixed->add_option("gateway", choice->gateway, "Its gateway, in the same network; 0.0.0.0 for none")
        ->required();
    choice->fixed->add_option("netmask", choice->netmask, "Its netmask, as 255.255.255.0")->required();
}

void AddResetCommand(CLI::App& app, Session& session) {
    const auto [command, noWait] =
        AddCommand(app, session, "reset", "Restart a board and wait until it is heard again", RunReset);
    command->add_flag("--no-wait", *noWait, "Don't wait");
}

}  // namespace zulctl
