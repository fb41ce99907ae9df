// zulctl doctor: why boards aren't found, streams stop or replies are missing.
#include <fmt/format.h>

#include <algorithm>
#include <future>
#include <map>

#include "commands/commands.h"
#include "doctor/diagnosis.h"
#include "doctor/screen.h"
#include "output/escape.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

struct DoctorChoice {
    std::string group, howLong = "5s";
};

constexpr int kAskings = 3;
constexpr auto kReplyPatience = 1500ms;

/// Named, requested and heard boards; each once.
std::map<Endpoint, BoardHealth> FindBoards(Session& session) {
    std::map<Endpoint, BoardHealth> boards;
    std::vector<std::string> wanted = session.options.boards;
    const bool all = wanted.empty();
    if (all) {
        for (const NamedBoard& board : session.Names().boards) wanted.push_back(board.name);
    }
    for (const std::string& text : wanted) {
        try {
            const Target target = session.Named(text, std::nullopt);
            boards[target.at] = {target.name, target.at};
        } catch (const Failure& failure) {
            if (failure.code != kNoAnswer) throw;
            const NamedBoard board = session.Meant(text);
            const Endpoint at{board.address, board.port};
            boards[at] = {text, at, {}, {}, failure.what()};
        }
    }
    session.out.Progress("listening for beacons...");
    Discover(session.Discovery(), [&](const FoundBoard& heard) {
        auto found = boards.find(heard.at);
        if (found == boards.end()) {
            if (!all || !heard.beacon.role) return true;
            const std::string name = session.Names().NameOf(heard.at);
            const BoardHealth board{name.empty() ? AddressText(heard.at.address) : name, heard.at};
            found = boards.emplace(heard.at, board).first;
        }
        if (!heard.probed) found->second.beaconTtl = heard.ttl;
        return true;
    });
    return boards;
}

/// \return nothing where an interrupt came before all was asked
std::optional<BoardHealth> Ask(const Session& session, BoardHealth board) {
    ClientOptions options = session.Options();
    if (!options.timeout) options.timeout = kReplyPatience;
    std::string* trouble = &board.silence;
    if (board.silence.empty()) {
        try {
            Client client(board.at, options);
            for (int n = 0; n < kAskings; ++n) {
                const auto start = Clock::now();
                client.Ask("VERS");
                board.replies.push_back(std::chrono::duration<double>(Clock::now() - start).count());
            }
            trouble = &board.messages;
            client.Ask("LAN?");
        } catch (const Failure& failure) {
            *trouble = failure.what();
        }
    }
    return Interrupted() ? std::nullopt : std::optional(board);
}

Json JsonOf(const std::vector<Diagnosis>& findings, const std::vector<BoardHealth>& boards) {
    Json health = Json::array();
    for (const BoardHealth& board : boards) {
        Json replies = Json::array();
        for (const double reply : board.replies) replies.push_back(reply * 1000);
        health.push_back({{"board", board.name},
                          {"address", AddressText(board.at.address)},
                          {"port", board.at.port},
                          {"beacon_ttl", board.beaconTtl ? Json(*board.beaconTtl) : Json()},
                          {"answers", board.silence.empty()},
                          {"reply_ms", replies},
                          {"messages_come_here", board.silence.empty() && board.messages.empty()}});
    }
    return {
        {"healthy", std::ranges::none_of(findings, &Diagnosis::IsFault)}, {"findings", findings}, {"boards", health}};
}

/// The first fault of what each receiver plays.
std::vector<Diagnosis> ExamineScreens(Session& session, const std::vector<BoardHealth>& boards,
                                      std::chrono::milliseconds howLong) {
    std::vector<Target> receivers, transmitters;
    for (const BoardHealth& board : boards) {
        const bool receives = board.at.port == kReceiverPort;
        if (receives && board.silence.empty()) receivers.push_back({board.name, board.at, Role::kReceiver});
        if (!receives) transmitters.push_back({board.name, board.at, Role::kTransmitter});
    }
    if (receivers.empty() || Interrupted()) return {};
    session.out.Progress("listening to what receivers play...");
    const auto senders =
        AskSenders(session, session.options.boards.empty() ? transmitters : session.Everybody(Role::kTransmitter));
    const auto views =
        OnEach(receivers, [&](const Target& receiver) { return LookAtScreen(session, receiver, senders, howLong); });
    std::vector<Diagnosis> findings;
    for (const auto& [target, view, failure] : views) {
        if (!view || !view->status.Group()) continue;  // a group that can't be joined, or a television that is off
        Diagnosis finding = ExamineScreen(*view).back();
        if (finding.IsGood()) finding.finding = view->receiver + " gets a good stream";
        if (!finding.finding.starts_with(view->receiver)) finding.finding = view->receiver + ": " + finding.finding;
        findings.push_back(std::move(finding));
    }
    if (Interrupted()) findings.clear();  // not listened to the end
    return findings;
}

/// The exit code: silent boards take precedence over other faults.
void Conclude(const std::vector<Diagnosis>& findings, const std::vector<BoardHealth>& boards) {
    const auto silent = static_cast<std::size_t>(
        std::ranges::count_if(boards, [](const BoardHealth& board) { return !board.silence.empty(); }));
    const auto faults = std::ranges::count_if(findings, &Diagnosis::IsFault);
    if (silent == boards.size()) throw Failure(kNoAnswer, boards.empty() ? "no board is heard" : "no board answers");
    FailWhereSome(silent, boards.size(), kNoAnswer, "don't answer");
    if (faults > 0) throw Failure(kRefused, Counted(faults, "fault"));
}

void RunDoctor(Session& session, const DoctorChoice& choice) {
    std::uint32_t group = kBeaconGroup;
    if (!choice.group.empty()) {
        const auto endpoint = ParseEndpoint(choice.group);
        const auto address = endpoint ? endpoint->address : ParseAddress(choice.group);
        if (!address || !IsMulticast(*address)) throw Failure(kUsage, "\"{}\" isn't a multicast group", choice.group);
        group = *address;
    }
    const auto howLong = ParseSpan(choice.howLong);
    CatchInterrupts();
    std::vector<Diagnosis> findings = ExamineMachine(group, session.InterfaceIndex(), session.Options().localPort);

    const QuerierSearch search(group, session.InterfaceIndex());  // listens in the background
    const auto found = FindBoards(session);
    session.out.Progress(fmt::format("asking {}...", Counted(found.size(), "board")));
    std::vector<std::future<std::optional<BoardHealth>>> pending;
    for (const auto& [at, board] : found)
        pending.push_back(std::async(std::launch::async, Ask, std::cref(session), board));
    std::vector<BoardHealth> boards;
    for (auto& future : pending) {
        if (const auto board = future.get()) boards.push_back(*board);
    }
    if (boards.empty() && Interrupted()) throw Failure(kNoAnswer, "interrupted before any board was examined");
    const auto screens = ExamineScreens(session, boards, howLong);
    const auto querier = search.Finish(howLong, [&](std::chrono::seconds left) {
        session.out.Progress(
            fmt::format("listening for an IGMP querier, {} s more; Ctrl-C ends that...", left.count()));
    });
    if (querier) findings.push_back(*querier);
    const auto aboutBoards = ExamineBoards(boards, session.options.boards.empty());
    for (const auto& more : {aboutBoards, screens}) findings.insert(findings.end(), more.begin(), more.end());
    session.out.Emit("zulctl.doctor/1", JsonOf(findings, boards),
                     [&] { return Findings(findings, session.out.Width(), session.out.Colour()); });
    Conclude(findings, boards);
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Session& session) {
    const auto [command, choice] = AddCommand(
        app, session, "doctor", "Look for what is wrong between this machine, the network and the boards", RunDoctor);
    command->footer(
        "Exits with 1 where something is wrong, 3 where no board answers, 4 where some don't. Without --board it "
        "examines all boards that are named or heard. Listening for a querier needs root; one speaks every 125 s, and "
        "mostly at once when a member leaves, which doctor makes happen.");
    AddOption(command, "--group GROUP", choice->group, "Examine the way to this group in place of the beacon's");
    AddOption(command, "--for SPAN", choice->howLong, "How long to listen for an IGMP querier; 130s is certain");
}

}  // namespace zulctl
