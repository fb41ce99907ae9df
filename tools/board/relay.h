/// A network with faults between a simulated board and its eth0.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "net_faults.h"

namespace board {

/// Moves this process into a network of its own, with an eth0 of the same hardware and network address, and leaves a
/// second process behind that carries the frames between it and the eth0 that was: the UDP datagrams with the plan's
/// faults, each way, all else as it is. The network stays over an exec. When this process ends, the second one gives
/// eth0 its address back and ends too.
/// REQUIRES: no other thread runs; the caller may administer the network; eth0 leads to other machines.
/// \param tell  told at the end, in the second process, how many datagrams had which fate
/// Throws std::runtime_error.
void MoveBehindRelay(const NetPlan& plan, std::uint64_t seed, const std::function<void(const std::string&)>& tell);

}  // namespace board
