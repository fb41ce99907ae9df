// Derives orders from a plan, and carries them out.
#include "commands/plan_work.h"

#include <fmt/format.h>

#include <algorithm>

#include "doctor/senders.h"
#include "net/fetch.h"
#include "net/stream_order.h"
#include "protocol/channels.h"

namespace zulctl {

namespace {

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

}  // namespace

Json StepJson(const PlanStep& step) {
    constexpr const char* kActions[] = {"keep", "stop", "start"};
    return {{"action", kActions[static_cast<std::size_t>(step.kind)]},
            {"slot", step.slot ? Json(*step.slot) : Json()},
            {"group", step.to ? Json(AddressText(step.to->address)) : Json()},
            {"port", step.to ? Json(step.to->port) : Json()},
            {"carries", step.what},
            {"reason", step.why.empty() ? Json() : Json(step.why)}};
}

std::size_t BoardWork::Changes() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(steps, [](const PlanStep& step) { return !step.request.empty(); }));
}

std::vector<BoardWork> BoardsOf(Session& session, const std::vector<PlannedBoard>& plan) {
    std::vector<BoardWork> boards;
    for (const PlannedBoard& board : plan) {
        const Target target = session.Named(board.board, Role::kTransmitter);
        const auto& chosen = session.options.boards;
        const bool wanted = chosen.empty() || std::ranges::any_of(chosen, [&](const std::string& text) {
                                return session.Named(text, Role::kTransmitter).at == target.at;
                            });
        const bool known =
            std::ranges::any_of(boards, [&](const BoardWork& other) { return other.target.at == target.at; });
        if (known) throw Failure(kUsage, board.board + " is in the plan twice, by different names");
        if (wanted) boards.push_back({target, board});
    }
    if (boards.empty()) throw Failure(kUsage, "the plan doesn't name that board");
    return boards;
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

void RefuseTakenGroups(Session& session, std::vector<BoardWork>& boards) {
    std::set<Endpoint> ours;
    bool starts = false;
    const auto isStart = [](const PlanStep& step) { return step.kind == PlanStep::Kind::kStart; };
    for (const BoardWork& work : boards) {
        ours.insert(work.target.at);
        starts = starts || std::ranges::any_of(work.steps, isStart);
    }
    if (!starts) return;
    const auto others = AskOthers(session, ours);
    for (BoardWork& work : boards) {
        try {
            for (const PlanStep& step : work.steps) {
                if (isStart(step)) RefuseTakenGroup(session, *step.to, others, ours);
            }
        } catch (const Failure& failure) {
            work.failure = failure;
        }
    }
}

void Execute(const Session& session, BoardWork& work, std::atomic<std::size_t>* progress) {
    try {
        Client client = session.Connect(work.target);
        for (const PlanStep& step : work.steps) {
            if (step.request.empty()) continue;
            client.Order(step.request,
                         step.kind == PlanStep::Kind::kStop ? "the stop" : "the stream to " + EndpointText(*step.to));
            ++work.done;
            if (progress != nullptr) ++*progress;
        }
        if (work.done == 0) return;
        // A board also replies OK for a programme that isn't in the broadcast.
        for (const PlanStep& step : FindSteps(client, work.plan)) {
            if (step.kind == PlanStep::Kind::kKeep) continue;
            throw Failure(kRefused, "{} has taken the orders, but {} isn't as planned: is all of it on the air?",
                          work.target.name, step.to ? EndpointText(*step.to) : "the tuner");
        }
    } catch (const Failure& failure) {
        work.failure = failure;
    }
}

std::optional<BoardWork> NoteStreams(Session& session, const Target& target, bool wait) {
    if (target.role != Role::kTransmitter) return std::nullopt;
    try {
        Client client = session.Connect(target);
        const auto status = ParseTransmitterStatus(client.Ask("STATUS"));
        const auto scan = ParseScanState(client.Ask("SCA?"));
        if (!status || !scan) throw Failure(kNoAnswer, "no status");
        const auto active = static_cast<std::size_t>(std::ranges::count_if(status->streams, &StreamStatus::active));
        if (active == 0) return std::nullopt;
        BoardWork noted{target, {}};
        if (wait) noted.plan = PlanOf(target.name, status->streams, FetchChannels(client), scan->channel);
        if (noted.plan.streams.size() < active && active > 1) {
            session.out.Warning(fmt::format(
                "the board starts the last of its streams again; of its {} streams {} will be started by zulctl",
                active, noted.plan.streams.empty() ? "none" : "not all"));
        }
        if (!noted.plan.streams.empty()) return noted;
    } catch (const Failure& failure) {
        session.out.Warning(fmt::format("what it sends isn't known, and won't be started again: {}", failure.what()));
    }
    return std::nullopt;
}

void RestoreStreams(Session& session, BoardWork& noted) {
    Compare(session, noted);
    for (int tries = 0; tries < 10 && noted.failure && noted.failure->code == kNoAnswer && !Interrupted(); ++tries) {
        SleepUntil(Clock::now() + std::chrono::seconds(3));  // it has just booted
        noted.failure.reset();
        Compare(session, noted);
    }
    // Other streams were started since, or restored by the board itself.
    std::erase_if(noted.steps, [](const PlanStep& step) { return step.kind == PlanStep::Kind::kStop && step.slot; });
    if (!noted.failure && noted.Changes() > 0) {
        session.out.Progress("starting its streams again, some 11 s each...");
        Execute(session, noted);
    }
    const std::size_t all = noted.plan.streams.size();
    std::size_t missing = noted.failure && noted.steps.empty() ? all : 0, sent = 0;
    for (const PlanStep& step : noted.steps) {
        if (!step.request.empty() && ++sent > noted.done && step.kind == PlanStep::Kind::kStart) ++missing;
    }
    session.out.Say(fmt::format("{} of {} streams are back", all - missing, all));
    if (noted.failure) throw Failure(*noted.failure);
}

}  // namespace zulctl
