// Relates streams to the slots that feed them, and boards to their faults.
#include "serve/overview.h"

#include <algorithm>

#include "doctor/screen.h"
#include "output/failure.h"

namespace zulctl::serve {

std::vector<StreamSource> Overview::SourcesOf(const Endpoint& group) const {
    std::vector<StreamSource> sources;
    for (const BoardState& board : boards) {
        if (!board.transmitter) continue;
        for (const StreamStatus& slot : board.transmitter->streams) {
            if (slot.active && slot.group == group) sources.push_back({&board, &slot});
        }
    }
    return sources;
}

std::optional<Diagnosis> Overview::DarknessOf(const BoardState& receiver) const {
    if (!receiver.receiver || !receiver.trouble.empty()) return std::nullopt;
    ScreenView view{receiver.name, "", *receiver.receiver};
    const auto stream = std::ranges::find(streams, view.status.Group(), &Measured::group);
    if (stream == streams.end() || !stream->trouble.empty()) return std::nullopt;
    if (HealthOf(*stream) != Health::kSilent) {
        if (!stream->heard) return std::nullopt;
        view.heard = *stream->heard;
    }
    for (const BoardState& board : boards) {
        if (board.role == Role::kTransmitter)
            view.transmitters.push_back(
                {board.name, board.at.address, board.trouble.empty() ? board.transmitter : std::nullopt});
    }
    Diagnosis last = ExamineScreen(view).back();
    // Losses are the stream's trouble, and leave a picture.
    return last.IsFault() && last.check != "stream" ? std::optional(std::move(last)) : std::nullopt;
}

std::optional<std::vector<std::string>> Overview::DifferencesOf(const BoardState& board) const {
    const auto planned = plan.find(board.at);
    if (planned == plan.end() || !board.trouble.empty() || !board.transmitter || board.transmitter->cut || !board.scan)
        return std::nullopt;
    if (!board.channels && !planned->second.streams.empty()) return std::nullopt;
    std::vector<std::string> differences;
    try {
        const auto wanted = Wanted(planned->second, board.channels ? *board.channels : std::vector<Channel>{});
        for (const PlanStep& step : StepsTo(wanted, board.transmitter->streams, board.scan->channel)) {
            if (step.kind != PlanStep::Kind::kKeep) differences.push_back(StepText(step));
        }
    } catch (const Failure& failure) {  // such as a channel that its list doesn't have
        differences.emplace_back(failure.what());
    }
    return differences;
}

}  // namespace zulctl::serve
