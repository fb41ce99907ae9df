// The datagrams that a network with faults loses, doubles and delays.
#include "net_faults.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace board {
namespace {

constexpr int kMany = 20'000;

TEST(NetPlan, IsReadWithItsDefaults) {
    const NetPlan plan = ParseNetPlan("loss=5%,dup,reorder=0.5%,delay");
    EXPECT_EQ(plan.loss, 0.05);
    EXPECT_EQ(plan.twice, 0.01);
    EXPECT_EQ(plan.overtaken, 0.005);
    EXPECT_EQ(plan.delay, Milliseconds(20));
    EXPECT_EQ(ParseNetPlan("delay=250ms").delay, Milliseconds(250));
    for (const char* text : {"", "loss=5", "loss=101%", "loss=-1%", "loss=%", "loss=x%", "lose=5%", "loss,", ",loss",
                             "delay=5", "delay=10001ms", "delay=5%", "loss=nan%"}) {
        EXPECT_THROW(ParseNetPlan(text), std::invalid_argument) << text;
    }
}

TEST(NetFaults, HappenToTheShareThatWasAskedFor) {
    NetFaults faults({.loss = 0.1, .twice = 0.05, .overtaken = 0.02, .delay = Milliseconds(7)}, 1);
    int lost = 0, twice = 0, late = 0;
    for (int n = 0; n < kMany; ++n) {
        const Fate fate = faults.Decide(1);
        lost += fate.copies == 0, twice += fate.copies == 2, late += fate.late > Milliseconds(7);
        EXPECT_GE(fate.late, Milliseconds(7));
    }
    EXPECT_NEAR(lost, kMany * 0.1, kMany * 0.01);
    EXPECT_NEAR(twice, kMany * 0.9 * 0.05, kMany * 0.01);
    EXPECT_NEAR(late, kMany * 0.02, kMany * 0.005);
    NetFaults none({}, 1);
    for (int n = 0; n < kMany; ++n) EXPECT_EQ(none.Decide(1).copies, 1);
}

std::vector<bool> Losses(const NetPlan& plan, std::uint64_t seed, std::uint64_t flow, std::uint64_t other = 0) {
    NetFaults faults(plan, seed);
    std::vector<bool> lost;
    for (int n = 0; n < 1000; ++n) {
        if (other != 0) faults.Decide(other);
        lost.push_back(faults.Decide(flow).copies == 0);
    }
    return lost;
}

TEST(NetFaults, DependOnSeedAndFlowAlone) {
    const NetPlan plan{.loss = 0.1};
    const auto losses = Losses(plan, 1, 7);
    EXPECT_EQ(Losses(plan, 1, 7, 8), losses) << "beside another flow";
    EXPECT_EQ(Losses({.loss = 0.1, .twice = 0.5, .overtaken = 0.5}, 1, 7), losses) << "beside other faults";
    EXPECT_NE(Losses(plan, 2, 7), losses);
    EXPECT_NE(Losses(plan, 1, 8), losses);
    EXPECT_NE(Losses(plan, 1, 7 | 1ull << 40), losses);
}

}  // namespace
}  // namespace board
