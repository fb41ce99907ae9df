// Derives the steps from the running streams to the plan.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "output/failure.h"
#include "plan/plan.h"

namespace zulctl {

namespace {

using Kind = PlanStep::Kind;

const StreamStatus* InSlot(const std::vector<StreamStatus>& running, int slot) {
    const auto found = std::ranges::find(running, slot, &StreamStatus::id);
    return found == running.end() ? nullptr : &*found;
}

/// Gives each stream a slot, and puts them in the order of their starts: slot 0 is last, as each other start stops it.
void AssignSlots(std::vector<WantedStream>& wanted, const std::vector<StreamStatus>& running) {
    std::array<bool, kStreamSlots> used{};
    for (const WantedStream& stream : wanted) {
        if (stream.request.slot) used[static_cast<std::size_t>(*stream.request.slot)] = true;
    }
    const auto take = [&](WantedStream& stream, int slot) {
        if (stream.request.slot || used[static_cast<std::size_t>(slot)]) return;
        used[static_cast<std::size_t>(slot)] = true;
        stream.request.slot = slot;
    };
    for (WantedStream& stream : wanted) {
        for (const StreamStatus& there : running) {
            if (there.group == stream.request.to) take(stream, there.id);
        }
    }
    for (WantedStream& stream : wanted) {
        for (int n = 1; n <= kStreamSlots; ++n) take(stream, n % kStreamSlots);
    }
    std::sort(wanted.begin(), wanted.end(), [](const WantedStream& a, const WantedStream& b) {
        return (*a.request.slot + kStreamSlots - 1) % kStreamSlots <
               (*b.request.slot + kStreamSlots - 1) % kStreamSlots;
    });
}

std::string Programmes(const StreamStatus& stream) {
    if (stream.programmes.empty()) return "no programme";
    return fmt::format("programmes {:04x}", fmt::join(stream.programmes, " "));
}

PlanStep Stop(const StreamStatus& stream, const std::string& why) {
    return {Kind::kStop, stream.id, stream.group, Programmes(stream), why, StopText(stream.id)};
}

PlanStep Start(const WantedStream& wanted, const std::string& why) {
    return {Kind::kStart, wanted.request.slot, wanted.request.to, wanted.what, why, StartText(wanted.request)};
}

std::string WhyStart(const WantedStream& wanted, const StreamStatus* there) {
    if (there == nullptr) return "";
    if (there->group != wanted.request.to) return "in place of " + EndpointText(there->group);
    return "in place of " + Programmes(*there);
}

/// Everything stops and starts: the tuner has to change channel, or no running stream is as planned.
std::vector<PlanStep> StepsAfresh(const std::vector<WantedStream>& wanted, const std::vector<StreamStatus>& running,
                                  const std::string& why) {
    std::vector<PlanStep> steps;
    if (!running.empty()) {
        const std::string what =
            running.size() == 1 ? EndpointText(running.front().group) : fmt::format("{} streams", running.size());
        steps.push_back({Kind::kStop, std::nullopt, std::nullopt, what, why, StopText(std::nullopt)});
    }
    for (const WantedStream& stream : wanted) steps.push_back(Start(stream, ""));
    return steps;
}

}  // namespace

std::string StepText(const PlanStep& step) {
    return fmt::format("{}{}, {}: {}", step.slot ? fmt::format("slot {}", *step.slot) : "all slots",
                       step.to ? " to " + EndpointText(*step.to) : "", step.what,
                       step.why.empty() ? "it isn't sent" : step.why);
}

bool WantedStream::IsAt(const StreamStatus& stream) const {
    if (!stream.active || stream.group != request.to || stream.id != request.slot) return false;
    const std::set<std::uint16_t> carried(stream.programmes.begin(), stream.programmes.end());
    if (!request.programmes.empty()) return carried == programmes;
    return std::includes(carried.begin(), carried.end(), programmes.begin(), programmes.end());
}

std::vector<PlanStep> StepsTo(std::vector<WantedStream> wanted, const std::vector<StreamStatus>& streams, int tuned) {
    std::vector<StreamStatus> running;
    std::ranges::copy_if(streams, std::back_inserter(running), &StreamStatus::active);
    AssignSlots(wanted, running);
    if (wanted.empty()) return StepsAfresh(wanted, running, "not in the plan");
    const int channel = wanted.front().request.channel;
    if (channel != tuned)
        return StepsAfresh(wanted, running, fmt::format("the tuner goes from channel {} to {}", tuned, channel));
    const auto isRight = [&](const WantedStream& stream) {
        const StreamStatus* there = InSlot(running, *stream.request.slot);
        return there != nullptr && stream.IsAt(*there);
    };
    if (std::none_of(wanted.begin(), wanted.end(), isRight))
        return StepsAfresh(wanted, running, "none of it is as planned");

    std::vector<PlanStep> steps, kept;
    for (const StreamStatus& there : running) {
        const bool moves = std::ranges::any_of(wanted, [&](const auto& stream) {
            return stream.request.to == there.group && stream.request.slot != there.id;
        });
        // A start stops what its own slot sends, but a group that goes to another slot must be free before that starts.
        if (moves)
            steps.push_back(Stop(there, "goes to another slot"));
        else if (std::ranges::none_of(wanted, [&](const auto& stream) { return stream.request.slot == there.id; }))
            steps.push_back(Stop(there, "not in the plan"));
    }
    for (const WantedStream& stream : wanted) {
        const int slot = *stream.request.slot;
        const bool right = isRight(stream);
        if (right && (slot != 0 || steps.empty()))
            kept.push_back({Kind::kKeep, slot, stream.request.to, stream.what, "", ""});
        else
            steps.push_back(Start(stream, right ? "starting or stopping another slot stops slot 0"
                                                : WhyStart(stream, InSlot(running, slot))));
    }
    kept.insert(kept.end(), steps.begin(), steps.end());
    return kept;
}

}  // namespace zulctl
