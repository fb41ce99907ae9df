// apply --keep: restores a plan continuously.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>
#include <utility>

#include "commands/plan_work.h"
#include "output/escape.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;
using Kind = PlanStep::Kind;

constexpr auto kRound = 5s, kSilentRound = 1s;
constexpr auto kFirstBackOff = 10s, kLongestBackOff = 300s;

/// What is remembered of a board between rounds.
struct Memory {
    std::string trouble = "?";        ///< last reported; at first any state is new
    std::chrono::seconds backOff{0};  ///< after orders that had no effect
    bool silent = false;
    Clock::time_point next{};
};

Json LineJson(const BoardWork& work, const PlanStep* step, const std::string& trouble) {
    Json about = StepJson(step != nullptr ? *step : PlanStep{});
    if (step == nullptr) std::fill(about.begin(), about.end(), Json());
    Json line = {{"time", UtcNow()}, {"board", work.target.name}};
    line.update(about);
    line["error"] = trouble.empty() ? Json() : Json(trouble);
    return line;
}

/// Keeps the boards of a plan, a thread for each: after a power cut all are restored at once.
class Keeper {
 public:
    Keeper(Session& session, std::vector<BoardWork> boards, bool force)
        : mrSession(session), mBoards(std::move(boards)), mForce(force) {}

    /// Until an interrupt.
    void Run(const std::string& plan) {
        std::vector<std::jthread> threads;
        for (std::size_t n = 0; n < mBoards.size(); ++n) threads.emplace_back([this, n] { Watch(n); });
        while (!Interrupted()) {
            const bool paused = PlanIsPaused(plan);
            if (mPaused.exchange(paused) != paused) mrSession.out.Say(paused ? "paused" : "going on");
            SleepUntil(Clock::now() + 1s);
        }
    }

 private:
    void Report(const BoardWork& work, const PlanStep* step, const std::string& trouble) {
        mrSession.out.EmitItem("zulctl.kept/1", LineJson(work, step, trouble), [&] {
            const std::string head = fmt::format("{} {}: ", UtcNow(), Escaped(work.target.name));
            if (step == nullptr) return head + (trouble.empty() ? "as planned" : Escaped(trouble)) + "\n";
            return fmt::format("{}{} {}\n", head, step->kind == Kind::kStart ? "starts" : "stops", StepText(*step));
        });
    }

    void Watch(std::size_t n) {
        Memory memory;
        while (!Interrupted()) {
            if (!mPaused && Clock::now() >= memory.next) Keep(n, memory);
            SleepUntil(Clock::now() + (memory.silent ? kSilentRound : kRound));
        }
    }

    /// One round of one board. An unchanged state is reported once.
    void Keep(std::size_t n, Memory& memory) {
        std::vector<BoardWork> boards = mBoards;  // the others tell RefuseTakenGroups which addresses are ours
        BoardWork& work = boards[n];
        Compare(mrSession, work);
        const bool differs = !work.failure && work.Changes() > 0;
        try {
            if (differs && !mForce) RefuseTakenGroups(mrSession, boards);
        } catch (const Failure& failure) {  // as while an interface is down
            work.failure = failure;
        }
        if (differs && !work.failure) Establish(work);
        if (Interrupted()) return;
        const std::string trouble = work.failure ? work.failure->what() : "";
        std::string kind = trouble;  // without what changes: the channel of a scan, the number of a process
        std::erase_if(kind, [](char c) { return c >= '0' && c <= '9'; });
        if ((differs && trouble.empty()) || kind != memory.trouble) Report(work, nullptr, trouble);
        memory.trouble = kind;
        memory.silent = work.failure && work.failure->code == kNoAnswer;
        // A board that is silent or busy is retried in the next round; one that can't follow the plan is retried later.
        const bool refuses = work.failure && work.failure->code != kNoAnswer && differs;
        memory.backOff =
            refuses ? std::clamp<std::chrono::seconds>(memory.backOff * 2, kFirstBackOff, kLongestBackOff) : 0s;
        memory.next = Clock::now() + memory.backOff;
    }

    /// Boards on which something stops take turns, so that a wrong plan doesn't darken all at once.
    void Establish(BoardWork& work) {
        const bool stops = std::ranges::count(work.steps, Kind::kStop, &PlanStep::kind) > 0;
        std::unique_lock turn(mTurn, std::defer_lock);
        if (stops) turn.lock();
        if (mPaused || Interrupted()) return;
        for (const PlanStep& step : work.steps) {
            if (step.kind != Kind::kKeep) Report(work, &step, "");
        }
        Execute(mrSession, work);
    }

    Session& mrSession;
    const std::vector<BoardWork> mBoards;
    const bool mForce;
    std::atomic<bool> mPaused = false;
    std::mutex mTurn;
};

}  // namespace

void PausePlan(Session& session, const std::string& plan, bool pause) {
    ReadPlan(plan);
    std::error_code error;
    if (pause)
        error = std::ofstream(PauseFile(plan)) ? std::error_code() : std::error_code(errno, std::generic_category());
    else
        std::filesystem::remove(PauseFile(plan), error);
    if (error) throw Failure(kUsage, "{}: {}", PauseFile(plan), error.message());
    session.out.Say(pause ? "those who keep this plan pause" : "those who keep this plan go on");
}

void KeepPlan(Session& session, const std::string& plan, std::vector<BoardWork> boards, bool force) {
    CatchInterrupts();
    const std::size_t hash = std::hash<std::string>()(std::filesystem::weakly_canonical(plan).string());
    std::optional<PortLock> turn;
    for (bool said = false; !turn && !Interrupted();) {
        try {
            turn.emplace(fmt::format("zulctl/plan/{:x}", hash), Clock::now() + kRound);
        } catch (const TurnTaken&) {
            if (!std::exchange(said, true)) session.out.Say("another zulctl keeps this plan; waiting for its end");
        }
    }
    if (turn) Keeper(session, std::move(boards), force).Run(plan);
}

}  // namespace zulctl
