/// A network with faults between a simulated board and its eth0.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "net_faults.h"

namespace board {

/// Moves this process into its own network namespace, with an eth0 of the same hardware and network address, and forks
/// a process that forwards the frames between it and the original eth0: UDP datagrams with the plan's faults in each
/// direction, all else unchanged. The network survives exec. When this process ends, the other one restores the address
/// of eth0 and ends too.
/// REQUIRES: no other thread runs; the caller may administer the network; eth0 connects to other machines.
/// \param tell  called at the end, in the other process, with the numbers of lost, duplicated and overtaken datagrams
/// Throws std::runtime_error.
void MoveBehindRelay(const NetPlan& plan, std::uint64_t seed, const std::function<void(const std::string&)>& tell);

}  // namespace board
