// apply --keep: restores a plan continuously.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "commands/plan_work.h"
#include "output/escape.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;
using Kind = PlanStep::Kind;

constexpr auto kRound = 5s;
constexpr auto kFirstBackOff = 10s, kLongestBackOff = 300s;

std::string PauseFile(const std::string& plan) { return plan + ".paused"; }

/// What is remembered of a board between rounds.
struct Memory {
    std::string trouble;              ///< last reported
    std::chrono::seconds backOff{0};  ///< after orders that had no effect
    Clock::time_point next{};
};

Json LineJson(const BoardWork& work, const PlanStep* step, const std::string& trouble) {
    const bool starts = step != nullptr && step->kind == Kind::kStart;
    return {{"time", UtcNow()},
            {"board", work.target.name},
            {"action", step == nullptr ? Json() : Json(starts ? "start" : "stop")},
            {"slot", step != nullptr && step->slot ? Json(*step->slot) : Json()},
            {"group", step != nullptr && step->to ? Json(AddressText(step->to->address)) : Json()},
            {"port", step != nullptr && step->to ? Json(step->to->port) : Json()},
            {"carries", step != nullptr ? Json(step->what) : Json()},
            {"reason", step == nullptr || step->why.empty() ? Json() : Json(step->why)},
            {"error", trouble.empty() ? Json() : Json(trouble)}};
}

void Report(Session& session, const BoardWork& work, const PlanStep* step, const std::string& trouble) {
    session.out.EmitItem("zulctl.kept/1", LineJson(work, step, trouble), [&] {
        const std::string head = fmt::format("{} {}: ", UtcNow(), Escaped(work.target.name));
        if (step == nullptr) return head + (trouble.empty() ? "as planned" : Escaped(trouble)) + "\n";
        return fmt::format("{}{} slot {}{}, {}: {}\n", head, step->kind == Kind::kStart ? "starts" : "stops",
                           step->slot ? std::to_string(*step->slot) : "all",
                           step->to ? " to " + EndpointText(*step->to) : "", step->what,
                           step->why.empty() ? "it isn't sent" : step->why);
    });
    std::fflush(stdout);
}

/// One board of one round. An unchanged state is reported once.
void Keep(Session& session, std::vector<BoardWork>& boards, BoardWork& work, Memory& memory, bool force) {
    for (BoardWork& board : boards) board.steps.clear(), board.failure.reset(), board.done = 0;
    Compare(session, work);
    const bool differs = !work.failure && work.Changes() > 0;
    try {
        if (differs && !force) RefuseTakenGroups(session, boards);
    } catch (const Failure& failure) {  // as while an interface is down
        work.failure = failure;
    }
    if (differs && !work.failure) {
        for (const PlanStep& step : work.steps) {
            if (step.kind != Kind::kKeep) Report(session, work, &step, "");
        }
        std::atomic<std::size_t> progress = 0;
        Execute(session, work, progress);
    }
    if (Interrupted()) return;
    const std::string trouble = work.failure ? work.failure->what() : "";
    std::string kind = trouble;  // without what changes: the channel of a scan, the number of a process
    std::erase_if(kind, [](char c) { return c >= '0' && c <= '9'; });
    if ((differs && trouble.empty()) || kind != memory.trouble) Report(session, work, nullptr, trouble);
    memory.trouble = kind;
    // A board that is silent or busy is retried in the next round; one that can't follow the plan is retried later.
    const bool refuses = work.failure && work.failure->code != kNoAnswer && differs;
    memory.backOff =
        refuses ? std::clamp<std::chrono::seconds>(memory.backOff * 2, kFirstBackOff, kLongestBackOff) : 0s;
    memory.next = Clock::now() + memory.backOff;
}

}  // namespace

void PausePlan(Session& session, const std::string& plan, bool pause) {
    ReadPlan(plan);
    std::error_code error;
    if (pause)
        error = std::ofstream(PauseFile(plan)) ? std::error_code() : std::error_code(errno, std::generic_category());
    else
        std::filesystem::remove(PauseFile(plan), error);
    if (error) throw Failure(kUsage, fmt::format("{}: {}", PauseFile(plan), error.message()));
    session.out.Say(pause ? "those who keep this plan pause" : "those who keep this plan go on");
}

void KeepPlan(Session& session, const std::string& plan, bool force) {
    std::vector<BoardWork> boards = BoardsOf(session, ReadPlan(plan));
    std::vector<Memory> memories(boards.size());
    CatchInterrupts();
    bool paused = false;
    while (!Interrupted()) {
        const bool wasPaused = paused;
        std::error_code ignored;
        paused = std::filesystem::exists(PauseFile(plan), ignored);
        if (paused != wasPaused) session.out.Say(paused ? "paused" : "going on");
        for (std::size_t n = 0; !paused && !Interrupted() && n < boards.size(); ++n) {
            if (Clock::now() >= memories[n].next) Keep(session, boards, boards[n], memories[n], force);
        }
        SleepUntil(Clock::now() + kRound);
    }
}

}  // namespace zulctl
