// Decides what happens to each datagram.
#include "net_faults.h"

#include <regex>
#include <sstream>
#include <stdexcept>

namespace board {

namespace {

/// Long enough for later datagrams of a stream, a millisecond or two apart, to overtake.
constexpr Milliseconds kHeldBack{10};
constexpr std::size_t kMostFlows = 4096;

}  // namespace

NetPlan ParseNetPlan(const std::string& text) {
    static const std::regex kFault(R"((loss|dup|reorder|delay)(=(\d+|\d*\.\d+)(%|ms))?)");
    NetPlan plan;
    std::istringstream faults(text + ",");
    for (std::string fault; std::getline(faults, fault, ',');) {
        std::smatch parts;
        const bool known = std::regex_match(fault, parts, kFault);
        const bool delay = parts[1] == "delay";
        const bool bare = !parts[2].matched;
        const double value = !bare ? std::stod(parts[3]) : delay ? 20 : 1;
        if (!known || value > (delay ? 10'000 : 100) || (!bare && delay != (parts[4] == "ms"))) {
            throw std::invalid_argument("\"" + fault + "\" is none of loss=5%, dup=1%, reorder=1%, delay=20ms");
        }
        if (delay) plan.delay = Milliseconds(static_cast<int>(value));
        if (parts[1] == "loss") plan.loss = value / 100;
        if (parts[1] == "dup") plan.twice = value / 100;
        if (parts[1] == "reorder") plan.overtaken = value / 100;
    }
    return plan;
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
