// zulctl apply: makes transmitters send what a plan says.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>

#include "commands/commands.h"
#include "net/fetch.h"
#include "net/stream_order.h"
#include "output/escape.h"
#include "plan/plan.h"
#include "protocol/channels.h"

namespace zulctl {

namespace {

using Kind = PlanStep::Kind;

struct ApplyChoice {
    std::string plan;
    bool dryRun = false;
};

/// A board on its way to the plan.
struct BoardWork {
    Target target;
    PlannedBoard plan;
    std::vector<PlanStep> steps{};
    std::size_t done = 0;  ///< steps that send something and were obeyed
    std::optional<Failure> failure{};

    std::size_t Changes() const {
        return static_cast<std::size_t>(
            std::count_if(steps.begin(), steps.end(), [](const PlanStep& step) { return !step.request.empty(); }));
    }
};

std::vector<PlanStep> FindSteps(Client& client, const PlannedBoard& plan) {
    // A plan that sends nothing needs no channel list, which might be empty.
    const auto wanted = plan.streams.empty() ? std::vector<WantedStream>() : Wanted(plan, FetchChannels(client));
    const auto status = ParseTransmitterStatus(client.Ask("STATUS"));
    const auto scan = ParseScanState(client.Ask("SCA?"));
    if (!status || !scan) throw Failure(kNoAnswer, plan.board + " gives no status of a transmitter");
    if (status->cut)
        throw Failure(kRefused,
                      plan.board + " sends so much that its status doesn't tell all of it; stop some streams first");
    return StepsTo(wanted, status->streams, scan->channel);
}

void Compare(const Session& session, BoardWork& work) {
    try {
        Client client = session.Connect(work.target);
        RefuseWhileBusy(client);
        work.steps = FindSteps(client, work.plan);
    } catch (const Failure& failure) {
        work.failure = failure;
    }
}

void Execute(const Session& session, BoardWork& work, std::atomic<std::size_t>& progress) {
    try {
        Client client = session.Connect(work.target);
        for (const PlanStep& step : work.steps) {
            if (step.request.empty()) continue;
            client.Order(step.request,
                         step.kind == Kind::kStop ? "the stop" : "the stream to " + EndpointText(*step.to));
            ++work.done, ++progress;
        }
        if (work.done == 0) return;
        // A board says OK to a programme that isn't in the broadcast too.
        for (const PlanStep& step : FindSteps(client, work.plan)) {
            if (step.kind == Kind::kKeep) continue;
            throw Failure(kRefused,
                          fmt::format("{} has taken the orders, but {} isn't as planned: is all of it on the air?",
                                      work.target.name, step.to ? EndpointText(*step.to) : "the tuner"));
        }
    } catch (const Failure& failure) {
        work.failure = failure;
    }
}

/// Does something for all boards at once, and shows what `words` says meanwhile.
template <typename Do, typename Words>
void ForAll(Session& session, std::vector<BoardWork>& boards, Do act, Words words) {
    std::vector<std::future<void>> pending;
    for (BoardWork& work : boards) {
        if (!work.failure) pending.push_back(std::async(std::launch::async, [&work, &act] { act(work); }));
    }
    for (auto& future : pending) {
        do session.out.Progress(words());
        while (future.wait_for(std::chrono::milliseconds(200)) != std::future_status::ready);
    }
}

std::string DifferenceTable(const Output& out, const std::vector<BoardWork>& boards) {
    Table table({{""},
                 {"BOARD", Align::kLeft, true},
                 {"SLOT"},
                 {"GROUP"},
                 {"CARRIES", Align::kLeft, true},
                 {"", Align::kLeft, true, 1}});
    for (const BoardWork& work : boards) {
        const std::string name = Escaped(work.target.name);
        if (work.failure)
            table.Add({Cell("!", Style::kBad), name, "", "", "", Cell(Escaped(work.failure->what()), Style::kBad)});
        if (!work.failure && work.steps.empty())
            table.Add({" ", name, "", "", "nothing", Cell("as it is", Style::kDim)});
        for (const PlanStep& step : work.steps) {
            const bool keeps = step.kind == Kind::kKeep, stops = step.kind == Kind::kStop;
            const Style style = keeps ? Style::kDim : stops ? Style::kBad : Style::kGood;
            const std::string action = keeps ? "runs" : stops ? "stop" : "start";
            table.Add({Cell(keeps   ? " "
                            : stops ? "-"
                                    : "+",
                            style),
                       name, step.slot ? std::to_string(*step.slot) : "all", step.to ? EndpointText(*step.to) : "",
                       step.what, Cell(action + (step.why.empty() ? "" : ": " + step.why), style)});
        }
    }
    return out.Render(table);
}

Json JsonOf(const BoardWork& work) {
    Json steps = Json::array();
    std::size_t sent = 0;
    for (const PlanStep& step : work.steps) {
        const bool keeps = step.kind == Kind::kKeep;
        steps.push_back({{"action", keeps                      ? "keep"
                                    : step.kind == Kind::kStop ? "stop"
                                                               : "start"},
                         {"slot", step.slot ? Json(*step.slot) : Json()},
                         {"group", step.to ? Json(AddressText(step.to->address)) : Json()},
                         {"port", step.to ? Json(step.to->port) : Json()},
                         {"carries", step.what},
                         {"reason", step.why.empty() ? Json() : Json(step.why)},
                         {"request", keeps ? Json() : Json(step.request)},
                         {"done", keeps || sent++ < work.done}});
    }
    return {{"board", work.target.name},
            {"address", AddressText(work.target.at.address)},
            {"error", work.failure ? Json(work.failure->what()) : Json()},
            {"steps", steps}};
}

std::vector<BoardWork> Boards(Session& session, const std::vector<PlannedBoard>& plan) {
    std::vector<BoardWork> boards;
    for (const PlannedBoard& board : plan) {
        const Target target = session.Named(board.board, Role::kTransmitter);
        const auto& chosen = session.Chosen();
        const bool wanted = chosen.empty() || std::any_of(chosen.begin(), chosen.end(), [&](const std::string& text) {
                                return session.Named(text, Role::kTransmitter).at == target.at;
                            });
        const bool known = std::any_of(boards.begin(), boards.end(),
                                       [&](const BoardWork& other) { return other.target.at == target.at; });
        if (known) throw Failure(kUsage, board.board + " is in the plan twice, by different names");
        if (wanted) boards.push_back({target, board});
    }
    if (boards.empty()) throw Failure(kUsage, "the plan doesn't name that board");
    return boards;
}

std::string Summary(std::size_t changes, std::size_t done, bool dryRun) {
    if (changes == 0) return "all is as planned";
    const std::string count = fmt::format("{} change{}", changes, changes == 1 ? "" : "s");
    if (dryRun) return count + " to make; nothing was sent";
    return done == changes ? count + " made" : fmt::format("{} of {} made", done, count);
}

void RunApply(Session& session, const ApplyChoice& choice) {
    std::vector<BoardWork> boards = Boards(session, ReadPlan(choice.plan));
    ForAll(
        session, boards, [&](BoardWork& work) { Compare(session, work); }, [] { return "comparing..."; });
    // A plan that can't be is no reason to change half of it.
    for (const BoardWork& work : boards) {
        if (work.failure && (work.failure->code == kUsage || boards.size() == 1)) throw *work.failure;
    }
    if (session.out.format == Format::kTable)
        session.out.EmitItem("", {}, [&] { return DifferenceTable(session.out, boards); });
    std::size_t changes = 0, done = 0, failed = 0;
    for (const BoardWork& work : boards) changes += work.Changes();
    std::atomic<std::size_t> progress = 0;
    if (!choice.dryRun) {
        ForAll(
            session, boards, [&](BoardWork& work) { Execute(session, work, progress); },
            [&] { return fmt::format("{} of {} steps done; a start takes some 11 s...", progress.load(), changes); });
    }
    Json list = Json::array();
    const Failure* worst = nullptr;
    for (const BoardWork& work : boards) {
        done += work.done;
        list.push_back(JsonOf(work));
        if (!work.failure) continue;
        ++failed;
        if (worst == nullptr || worst->code != kRefused) worst = &*work.failure;
        if (boards.size() > 1) session.out.Error(Escaped(work.failure->what()));
    }
    session.out.Emit("zulctl.apply/1",
                     {{"dry_run", choice.dryRun}, {"changes", changes}, {"done", done}, {"boards", list}},
                     [&] { return Summary(changes, done, choice.dryRun) + "\n"; });
    if (worst == nullptr) return;
    if (boards.size() == 1) throw *worst;
    FailWhereSome(failed, boards.size(), worst->code, "aren't as planned");
}

}  // namespace

void AddApplyCommand(CLI::App& app, Session& session) {
    CLI::App* command =
        app.add_subcommand("apply", "Make transmitters send what a plan says, and change no more than that takes");
    command->footer(
        "A plan in TOML:\n"
        "  [boards.attic]                     # a name of boards.toml, or an address in quotes\n"
        "  streams = [\n"
        "    {to = \"239.1.1.1:5000\", channels = [\"CINEMA\"]},\n"
        "    {to = \"239.1.1.2:5000\", channels = [\"7.1\", \"7.3\"], slot = 2},\n"
        "    {to = \"239.1.1.3:5000\", channels = [\"NEWS\"], whole = true},\n"
        "  ]\n"
        "A board of the plan sends these streams afterwards and no others; other boards are left alone. All streams of "
        "a "
        "board are on one tuner channel. With --board, only that part of the plan.");
    const auto choice = std::make_shared<ApplyChoice>();
    command->add_option("plan", choice->plan, "The plan")->type_name("FILE")->required();
    command->add_flag("-n,--dry-run", choice->dryRun, "Show the difference to what runs, and send nothing");
    command->callback([&session, choice] { session.run = [&session, choice] { RunApply(session, *choice); }; });
}

}  // namespace zulctl
