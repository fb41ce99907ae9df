// zulctl export: channel list and guide for other programs.
#include <fmt/format.h>

#include <algorithm>

#include "commands/commands.h"
#include "export/lineup.h"
#include "net/fetch.h"
#include "output/escape.h"
#include "plan/plan.h"
#include "protocol/channels.h"

namespace zulctl {

namespace {

struct ExportChoice {
    std::string form, player = "kodi", guide, span = "24h", file;
};

struct BoardLineup {
    Lineup lineup;
    PlannedBoard plan;
};

BoardLineup FetchLineup(const Session& session, const Target& target, std::optional<std::chrono::minutes> span,
                        bool needsPlan) {
    Client client = session.Connect(target);
    const auto [channels, status, tuned] = FetchSent(client);
    BoardLineup board{LineupOf(target.name, channels, status, tuned),
                      PlanOf(target.name, status.streams, channels, tuned)};
    const auto active = std::ranges::count_if(status.streams, &StreamStatus::active);
    if (needsPlan && (status.cut || board.plan.streams.size() != static_cast<std::size_t>(active)))
        throw Failure(kRefused, target.name + " sends programmes that its channel list doesn't have");
    if (!span) return board;
    Ear ear(target.at.address, session.Options(), Clock::now() + std::chrono::seconds(5));
    for (LineupEntry& entry : board.lineup) {
        // A board has the guide of the tuned channel only.
        if (entry.channel.tunerChannel == tuned) entry.events = FetchListing(client, entry.channel.id, *span, &ear);
    }
    return board;
}

std::string TextOf(const Lineup& lineup, const Json& body, const ExportChoice& choice) {
    if (choice.form == "m3u")
        return M3uText(lineup, choice.player == "vlc" ? Player::kVlc : Player::kKodi, choice.guide);
    if (choice.form == "xmltv") return XmltvText(lineup);
    return JsonText("zulctl.export/1", body);
}

void Summarise(Session& session, const Lineup& lineup, const ExportChoice& choice) {
    std::size_t streams = 0, events = 0;
    for (const LineupEntry& entry : lineup) streams += entry.stream ? 1 : 0, events += entry.events.size();
    if ((choice.form == "m3u" || choice.form == "plan") && streams == 0)
        session.out.Warning(
            "nothing is streamed, so the file is empty; \"zulctl stream start\" or \"zulctl apply\" starts "
            "something");
    if ((choice.form == "xmltv" || choice.form == "json") && events == 0)
        session.out.Warning("no board knows an event: a board knows the guide of the channel that its tuner is on");
    if (!choice.file.empty())
        session.out.Say(fmt::format("{}: {} channels, {} streamed, {} events", Escaped(choice.file), lineup.size(),
                                    streams, events));
}

void RunExport(Session& session, const ExportChoice& choice) {
    const auto span = choice.form == "m3u" || choice.form == "plan"
                          ? std::nullopt
                          : std::optional(std::chrono::ceil<std::chrono::minutes>(ParseSpan(choice.span)));
    const std::vector<Target> targets = session.Boards(Role::kTransmitter);
    session.out.Progress(fmt::format("asking {}...", Counted(targets.size(), "board")));
    auto outcomes = OnEach(
        targets, [&](const Target& target) { return FetchLineup(session, target, span, choice.form == "plan"); });
    Lineup lineup;
    std::vector<PlannedBoard> plan;
    std::vector<Failure> failures;
    for (auto& [target, board, failure] : outcomes) {
        if (failure) failures.push_back(*failure);
        if (!board) continue;
        if (!board->plan.streams.empty()) plan.push_back(std::move(board->plan));
        std::move(board->lineup.begin(), board->lineup.end(), std::back_inserter(lineup));
    }
    const bool none = failures.size() == targets.size();
    for (std::size_t n = none ? 1 : 0; n < failures.size(); ++n) session.out.Error(failures[n].what());
    if (none) throw Failure(failures.front());
    const Json body = {{"channels", JsonOf(lineup)}};
    const auto text = [&] { return choice.form == "plan" ? PlanText(plan) : TextOf(lineup, body, choice); };
    if (choice.file.empty())
        session.out.Emit("zulctl.export/1", body, text);
    else
        WriteFile(choice.file, text());
    Summarise(session, lineup, choice);
    FailWhereSome(failures.size(), targets.size(), kPartly, "are missing in it");
}

}  // namespace

void AddExportCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "export", "Write channels, streams and guide for players and recorders", RunExport);
    command->footer(
        "A playlist holds what is streamed now; the guide what the boards know: that of the channel each tuner is on. "
        "The tvg-id of a channel is its id in the guide, and stays the same whatever it is called.");
    command
        ->add_option("form", choice->form,
                     "m3u: a playlist; xmltv: the guide; json: both; plan: the streams, for apply")
        ->required()
        ->check(CLI::IsMember({"m3u", "xmltv", "json", "plan"}));
    command->add_option("--for", choice->player, "Player that the playlist is for")
        ->check(CLI::IsMember({"vlc", "kodi"}))
        ->capture_default_str();
    AddOption(command, "--guide-url URL", choice->guide, "Address of the guide, for the playlist's head");
    AddOption(command, "--span SPAN", choice->span, "How much of the guide, from now on; 99 h at most");
    AddOption(command, "-o,--output FILE", choice->file, "File to replace in one step, instead of standard output");
}

}  // namespace zulctl
