/// What a plan takes on boards: the difference to what runs, and the orders that mend it.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "net/session.h"
#include "plan/plan.h"

namespace zulctl {

/// A board on its way to the plan.
struct BoardWork {
    Target target;
    PlannedBoard plan;
    std::vector<PlanStep> steps{};
    std::size_t done = 0;  ///< steps that send something and were obeyed
    std::optional<Failure> failure{};

    std::size_t Changes() const;
};

/// \return the boards of a plan, or those of them that --board names. Throws Failure(kUsage)
std::vector<BoardWork> BoardsOf(Session& session, const std::vector<PlannedBoard>& plan);

/// Finds the steps of one board, or its failure.
void Compare(const Session& session, BoardWork& work);
/// Makes a start to a group that another than these boards sends to a failure.
void RefuseTakenGroups(Session& session, std::vector<BoardWork>& boards);
/// Orders the steps, and looks whether they had their effect.
void Execute(const Session& session, BoardWork& work, std::atomic<std::size_t>& progress);

/// Notes what a transmitter sends before its restart, which brings back the last stream alone. With `wait` false that
/// is said. \return nothing where there is nothing to bring back
std::optional<BoardWork> NoteStreams(Session& session, const Target& target, bool wait);
/// Starts what was noted and isn't there. Throws Failure where that can't be
void RestoreStreams(Session& session, BoardWork& noted);

/// Compares and executes until an interrupt, one board at a time.
void KeepPlan(Session& session, const std::string& plan, bool force);
/// Lets all that keep a plan pause, or go on: by a file beside the plan.
void PausePlan(Session& session, const std::string& plan, bool pause);

}  // namespace zulctl
