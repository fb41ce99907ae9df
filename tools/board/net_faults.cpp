// Decides what happens to each datagram.
#include "net_faults.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace board {

namespace {

constexpr double kShare = 0.01;
constexpr Milliseconds kDelay{20};
constexpr Milliseconds kMostDelay{10'000};
/// Long enough for later datagrams of a stream, a millisecond or two apart, to overtake.
constexpr Milliseconds kHeldBack{10};
constexpr std::size_t kMostFlows = 4096;

/// Reads a number with its unit. \return nothing for any other text
std::optional<double> Number(std::string_view text, std::string_view unit, double most) {
    if (!text.ends_with(unit)) return std::nullopt;
    text.remove_suffix(unit.size());
    double value = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= 0 && value <= most)) return std::nullopt;
    return value;
}

void ReadFault(NetPlan& plan, std::string_view text) {
    const std::size_t equals = text.find('=');
    const std::string_view name = text.substr(0, equals);
    const bool bare = equals == std::string_view::npos;
    const std::string_view value = bare ? "" : text.substr(equals + 1);
    if (name == "delay") {
        const auto delay = bare ? static_cast<double>(kDelay.count()) : Number(value, "ms", kMostDelay.count());
        if (delay) return void(plan.delay = Milliseconds(static_cast<int>(*delay)));
    }
    double* const share = name == "loss"      ? &plan.loss
                          : name == "dup"     ? &plan.twice
                          : name == "reorder" ? &plan.overtaken
                                              : nullptr;
    const auto percent = bare ? kShare * 100 : Number(value, "%", 100);
    if (share == nullptr || !percent) {
        throw std::invalid_argument("\"" + std::string(text) + "\" is none of loss=5%, dup=1%, reorder=1%, delay=20ms");
    }
    *share = *percent / 100;
}

}  // namespace

NetPlan ParseNetPlan(const std::string& text) {
    NetPlan plan;
    std::string_view rest = text;
    while (true) {
        const std::size_t comma = rest.find(',');
        ReadFault(plan, rest.substr(0, comma));
        if (comma == std::string_view::npos) return plan;
        rest.remove_prefix(comma + 1);
    }
}

Fate NetFaults::Decide(std::uint64_t flow) {
    if (mFlows.size() >= kMostFlows && !mFlows.contains(flow)) mFlows.clear();
    const auto [at, isNew] = mFlows.try_emplace(flow);
    if (isNew) {
        std::seed_seq seed{mSeed, mSeed >> 32, flow, flow >> 32};
        at->second.seed(seed);
    }
    // The same number of random values for each datagram, so that no decision changes later ones.
    const auto happens = [&random = at->second](double share) {
        constexpr double kSpan = 4294967296.0;
        return static_cast<double>(random() >> 32) < share * kSpan;
    };
    const bool lost = happens(mPlan.loss), twice = happens(mPlan.twice), overtaken = happens(mPlan.overtaken);
    return {lost ? 0 : twice ? 2 : 1, mPlan.delay + (overtaken ? kHeldBack : Milliseconds(0))};
}

}  // namespace board
