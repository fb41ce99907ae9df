/// Turns between processes on this machine that share the fixed local port.
#pragma once

#include <chrono>
#include <string>

#include "net/udp_socket.h"
#include "output/failure.h"

namespace zulctl {

/// Timed out: another process used the board all the time. Says nothing about the board itself.
struct TurnTaken : Failure {
    explicit TurnTaken(const std::string& text) : Failure(kNoAnswer, text) {}
};

/// Holds one named turn for its lifetime. The name is a socket of the abstract namespace: like the ports it belongs to
/// this network namespace, it works across users, and it is released however its process ends.
class PortLock {
 public:
    /// Waits for the turn until the deadline. Throws TurnTaken with the name of the blocking process on time-out.
    PortLock(const std::string& name, Clock::time_point deadline);
    ~PortLock();
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

 private:
    int mFd;
};

}  // namespace zulctl
