/// Applies a plan to boards: compares it with the running streams, and sends the orders that establish it.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "net/session.h"
#include "plan/plan.h"

namespace zulctl {

/// A board that is being brought to the plan.
struct BoardWork {
    Target target;
    PlannedBoard plan;
    std::vector<PlanStep> steps{};
    std::size_t done = 0;  ///< steps that sent a request and were accepted
    std::optional<Failure> failure{};

    std::size_t Changes() const;
};

/// \return what apply and --keep print of a step: action, slot, group, port, carries, reason
Json StepJson(const PlanStep& step);

/// \return the boards of a plan, or those of them that --board names. Throws Failure(kUsage)
std::vector<BoardWork> BoardsOf(Session& session, const std::vector<PlannedBoard>& plan);

/// Finds the steps of one board, or its failure.
void Compare(const Session& session, BoardWork& work);
/// Fails boards that would start a stream to a group that any other board sends to.
void RefuseTakenGroups(Session& session, std::vector<BoardWork>& boards);
/// Carries out the steps, and checks their effect. \param progress  counts those of all boards
void Execute(const Session& session, BoardWork& work, std::atomic<std::size_t>* progress = nullptr);

/// Records what a transmitter sends before its restart, which restores only the last stream; with `wait` false only
/// warns of that.
/// \return nothing when there is nothing to restore
std::optional<BoardWork> NoteStreams(Session& session, const Target& target, bool wait);
/// Starts the recorded streams that are missing. Throws Failure when one can't be started.
void RestoreStreams(Session& session, BoardWork& noted);

/// Brings boards back to the plan until an interrupt; when another process on this machine keeps it, from that one's
/// end on. Boards are restored independently, but take turns where something stops.
void KeepPlan(Session& session, const std::string& plan, std::vector<BoardWork> boards, bool force);
/// Pauses or resumes all processes that keep a plan, by a file next to the plan.
void PausePlan(Session& session, const std::string& plan, bool pause);

}  // namespace zulctl
