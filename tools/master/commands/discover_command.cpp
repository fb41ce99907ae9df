// zulctl discover: lists the boards on the network.
#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "commands/commands.h"
#include "output/escape.h"

namespace zulctl {

namespace {

struct DiscoverChoice {
    bool watch = false, broadcast = false, save = false;
};

constexpr std::chrono::seconds kBootPatience{10};

Json JsonOf(const Session& session, const FoundBoard& board) {
    const std::string name = session.Names().NameOf(board.at);
    return {{"name", name.empty() ? Json() : Json(name)},
            {"address", AddressText(board.at.address)},
            {"port", board.at.port},
            {"role", board.beacon.role ? Json(RoleName(*board.beacon.role)) : Json()},
            {"model", board.beacon.model},
            {"version", board.beacon.revision},
            {"mac", board.beacon.mac.empty() ? Json() : Json(board.beacon.mac)},
            {"uuid", board.beacon.uuid},
            {"heard_by", board.probed ? "probe" : "beacon"},
            {"ttl", board.ttl},
            {"last_seen", UtcText(board.lastSeen)}};
}

std::string RoleText(const FoundBoard& board) { return board.beacon.role ? RoleName(*board.beacon.role) : "unknown"; }

void Watch(Session& session, DiscoverOptions options) {
    CatchInterrupts();
    options.time = session.Timeout().value_or(kEver);
    Discover(options, [&](const FoundBoard& board) {
        session.out.EmitItem("zulctl.board/1", JsonOf(session, board), [&] {
            return fmt::format("{}  {:<11}  {:<21}  {}  {}\n", UtcText(board.lastSeen), RoleText(board),
                               EndpointText(board.at), Escaped(board.beacon.revision), Escaped(board.beacon.uuid));
        });
        return true;
    });
}

/// Adds the boards without a name to the file of names, which keeps what it has.
void Save(Session& session, const std::vector<FoundBoard>& boards) {
    const std::string path = session.ConfigPath();
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    std::string added;
    std::set<std::string> names;
    for (const NamedBoard& board : session.Names().boards) names.insert(board.name);
    for (const FoundBoard& board : boards) {
        if (!board.beacon.role || !session.Names().NameOf(board.at).empty()) continue;
        const std::string role = RoleName(*board.beacon.role), address = AddressText(board.at.address);
        std::string name = role + "-" + address.substr(address.rfind('.') + 1);
        if (names.contains(name)) name = fmt::format("{}-{:08x}", role, board.at.address);
        names.insert(name);
        text << fmt::format("\n[boards.{}]\naddress = \"{}\"\nrole = \"{}\"\n", name,
                            board.at.port == CommandPort(*board.beacon.role) ? address : EndpointText(board.at), role);
        added += fmt::format("\n  {}  {}", name, EndpointText(board.at));
    }
    if (added.empty()) return session.out.Say(path + " has names for all of them");
    std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
    WriteFile(path, text.str());
    session.out.Say(fmt::format("added to {}; rename them as you like:{}", path, added));
}

void RunDiscover(Session& session, const DiscoverChoice& choice) {
    DiscoverOptions options = session.Discovery();
    options.broadcast = choice.broadcast;
    if (choice.watch) return Watch(session, options);
    session.out.Progress("listening for beacons...");
    if (!session.Timeout()) options.patience = kBootPatience;
    const auto boards = DiscoverAll(options);
    Json list = Json::array();
    Table table({Elastic("NAME"), Left("ROLE"), Left("ADDRESS"), Left("VERSION"), Left("MODEL", 2), Left("MAC", 3),
                 Left("LAST SEEN", 1)});
    for (const FoundBoard& board : boards) {
        list.push_back(JsonOf(session, board));
        const Beacon& beacon = board.beacon;
        table.Add({Escaped(session.Names().NameOf(board.at)), RoleText(board), EndpointText(board.at),
                   Escaped(beacon.revision), Escaped(beacon.model), Escaped(beacon.mac), UtcText(board.lastSeen)});
    }
    session.out.Emit("zulctl.discover/1", {{"boards", list}}, [&] { return session.out.Render(table); });
    if (choice.save) Save(session, boards);
    if (boards.empty()) throw Failure(kNoAnswer, "no board is heard; \"zulctl doctor\" looks for the reason");
}

}  // namespace

void AddDiscoverCommand(CLI::App& app, Session& session) {
    const auto [command, choice] = AddCommand(
        app, session, "discover",
        "Find boards: wakes their beacons, listens on all interfaces, asks those in the file of names", RunDiscover);
    command->add_flag("-w,--watch", choice->watch, "Go on and print every beacon, until Ctrl-C or --timeout");
    command->add_flag("--save", choice->save, "Add those without a name to the file of names, which keeps what it has");
    command->add_flag(
        "--broadcast", choice->broadcast,
        "Ask every address of the networks at hand too, for networks that lose multicast; quiets the boards' beacons");
}

}  // namespace zulctl
