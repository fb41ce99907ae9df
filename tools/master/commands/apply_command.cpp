// zulctl apply: makes transmitters send what a plan says.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <future>

#include "commands/commands.h"
#include "commands/plan_work.h"
#include "output/escape.h"

namespace zulctl {

namespace {

using Kind = PlanStep::Kind;

struct ApplyChoice {
    std::string plan;
    bool dryRun = false, keep = false, pause = false, resume = false, force = false;
};

/// Calls `act` for all boards in parallel, with `words` as the progress text.
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

/// How a table shows each kind of step.
constexpr struct {
    const char* sign;
    Style style;
    const char* action;
} kLooks[] = {{" ", Style::kDim, "runs"}, {"-", Style::kBad, "stop"}, {"+", Style::kGood, "start"}};

std::string DifferenceTable(const Output& out, const std::vector<BoardWork>& boards) {
    Table table({Left(""), Elastic("BOARD"), Left("SLOT"), Left("GROUP"), Elastic("CARRIES"), Elastic("", 1)});
    for (const BoardWork& work : boards) {
        const std::string name = Escaped(work.target.name);
        if (work.failure)
            table.Add({Cell("!", Style::kBad), name, "", "", "", Cell(Escaped(work.failure->what()), Style::kBad)});
        if (!work.failure && work.steps.empty())
            table.Add({" ", name, "", "", "nothing", Cell("as it is", Style::kDim)});
        for (const PlanStep& step : work.steps) {
            const auto& [sign, style, action] = kLooks[static_cast<std::size_t>(step.kind)];
            table.Add({Cell(sign, style), name, step.slot ? std::to_string(*step.slot) : "all",
                       step.to ? EndpointText(*step.to) : "", step.what,
                       Cell(action + (step.why.empty() ? "" : ": " + step.why), style)});
        }
    }
    return out.Render(table);
}

Json JsonOf(const BoardWork& work) {
    Json steps = Json::array();
    std::size_t sent = 0;
    for (const PlanStep& step : work.steps) {
        const bool keeps = step.kind == Kind::kKeep;
        Json& item = steps.emplace_back(StepJson(step));
        item["request"] = keeps ? Json() : Json(step.request);
        item["done"] = keeps || sent++ < work.done;
    }
    return {{"board", work.target.name},
            {"address", AddressText(work.target.at.address)},
            {"error", work.failure ? Json(work.failure->what()) : Json()},
            {"steps", steps}};
}

std::string Summary(std::size_t changes, std::size_t done, bool dryRun) {
    if (changes == 0) return "all is as planned";
    const std::string count = Counted(changes, "change");
    if (dryRun) return count + " to make; nothing was sent";
    return done == changes ? count + " made" : fmt::format("{} of {} made", done, count);
}

void RunApply(Session& session, const ApplyChoice& choice) {
    if (choice.pause || choice.resume) return PausePlan(session, choice.plan, choice.pause);
    std::vector<BoardWork> boards = BoardsOf(session, ReadPlan(choice.plan));
    if (choice.keep) return KeepPlan(session, choice.plan, std::move(boards), choice.force);
    ForAll(
        session, boards, [&](BoardWork& work) { Compare(session, work); }, [] { return "comparing..."; });
    session.out.Progress("looking who else sends to these groups...");
    if (!choice.force) RefuseTakenGroups(session, boards);
    // An impossible plan isn't half carried out.
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
            session, boards, [&](BoardWork& work) { Execute(session, work, &progress); },
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
    const auto [command, choice] = AddCommand(
        app, session, "apply", "Make transmitters send what a plan says, and change no more than that takes", RunApply);
    command->footer(
        "A plan in TOML:\n"
        "  [boards.attic]                     # a name of boards.toml, or an address in quotes\n"
        "  streams = [\n"
        "    {to = \"239.1.1.1:5000\", channels = [\"CINEMA\"]},\n"
        "    {to = \"239.1.1.2:5000\", channels = [\"7.1\", \"7.3\"], slot = 2},\n"
        "    {to = \"239.1.1.3:5000\", channels = [\"NEWS\"], whole = true},\n"
        "  ]\n"
        "A board of the plan sends these streams afterwards and no others; other boards are left alone. All streams of "
        "a board are on one tuner channel, and each start tears the board's other streams for a moment. With --board, "
        "only that part of the plan. With --keep it goes on, and brings back what a restart or somebody's hand has "
        "changed; --pause and --resume are for who has to change something meanwhile.");
    AddOption(command, "plan FILE", choice->plan, "The plan")->required();
    CLI::Option* dryRun =
        command->add_flag("-n,--dry-run", choice->dryRun, "Show the difference to what runs, and send nothing");
    CLI::Option* keep =
        command->add_flag("--keep", choice->keep, "Go on for good, and bring boards back to the plan when they differ");
    CLI::Option* pause = command->add_flag("--pause", choice->pause, "Let those who keep this plan pause");
    command->add_flag("--resume", choice->resume, "Let them go on")->excludes(pause)->excludes(keep)->excludes(dryRun);
    pause->excludes(keep)->excludes(dryRun);
    keep->excludes(dryRun);
    command->add_flag("--force", choice->force, "Start although another transmitter sends to a group of the plan");
}

}  // namespace zulctl
