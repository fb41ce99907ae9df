/// A network with faults between a simulated board and its eth0: what happens to which datagram.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>

#include "journal.h"

namespace board {

/// Shares are 0 to 1.
struct NetPlan {
    double loss = 0;
    double twice = 0;
    double overtaken = 0;  ///< overtaken by later ones
    Milliseconds delay{0};
};

/// Reads "loss=5%,dup,reorder=2%,delay=20ms": shares in percent, 0 to 100, the delay up to 10 s; without a value
/// 1 % and 20 ms. Throws std::invalid_argument.
NetPlan ParseNetPlan(const std::string& text);

/// The decision on one datagram.
struct Fate {
    int copies = 1;  ///< 0: lost
    Milliseconds late{0};
};

/// Decides for each datagram of each flow. The n-th datagram of a flow has the same fate for the same seed, whatever
/// other flows carry, and whether it is lost doesn't depend on the other faults of the plan.
class NetFaults {
 public:
    NetFaults(const NetPlan& plan, std::uint64_t seed) : mPlan(plan), mSeed(seed) {}

    /// \param flow  any number that identifies the flow
    Fate Decide(std::uint64_t flow);

 private:
    const NetPlan mPlan;
    const std::uint64_t mSeed;
    std::map<std::uint64_t, std::mt19937_64> mFlows;
};

/// Moves this process into its own network namespace, with an eth0 of the same hardware and network address, and forks
/// a process that forwards the frames between it and the original eth0: UDP datagrams with the plan's faults in each
/// direction, all else unchanged. The network survives exec. When this process ends, the other one restores the address
/// of eth0 and ends too.
/// REQUIRES: no other thread runs; the caller may administer the network; eth0 connects to other machines.
/// \param tell  called at the end, in the other process, with the numbers of lost, duplicated and overtaken datagrams
/// Throws std::runtime_error.
void MoveBehindRelay(const NetPlan& plan, std::uint64_t seed, const std::function<void(const std::string&)>& tell);

}  // namespace board
