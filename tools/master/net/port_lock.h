/// Turns between processes on this machine that share the fixed local port.
#pragma once

#include <chrono>
#include <string>

#include "net/udp_socket.h"
#include "output/failure.h"

namespace zulctl {

/// The turn didn't come: another process was at the board all the time. It says nothing about the board.
struct TurnTaken : Failure {
    explicit TurnTaken(const std::string& text) : Failure(kNoAnswer, text) {}
};

/// Holds one named turn for its life. The name is a socket of the abstract namespace: it belongs to this network
/// namespace, as the ports do, works across users, and goes with its process however that ends.
class PortLock {
 public:
    /// Waits for the turn until the deadline. Throws TurnTaken that names the process in the way when it doesn't come.
    PortLock(const std::string& name, Clock::time_point deadline);
    ~PortLock();
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

 private:
    int mFd;
};

}  // namespace zulctl
