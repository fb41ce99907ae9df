/// Listens to what a board sends to the peer of CALLBACK1: its log, its keys, its serial port.
#pragma once

#include <optional>
#include <string>

#include "net/board_client.h"

namespace zulctl {

/// Takes over a board's log channel and forwarding for its lifetime, on its own local port, so that other commands work
/// meanwhile. The latest listener has the channel. As CALLBACK1 may make its sender the board's first peer, the fixed
/// port sends a request before it.
class Monitor {
 public:
    /// \param wantLog  raises the board's log level, so that all lines are sent, not only failures
    Monitor(const Endpoint& board, const ClientOptions& options, bool wantLog);
    /// Gives the channel back: forwarding off, log level 0.
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    UdpSocket& Socket() { return mSocket; }
    const Endpoint& Board() const { return mClient.Board(); }
    /// Takes a pending message of any kind, except replies from the command port.
    std::optional<std::string> Take();
    /// Sends a request from the listening port. \return its reply, or nothing on time-out; messages that arrive
    /// meanwhile are kept
    std::optional<std::string> Ask(std::string_view request);

 private:
    Client mClient;
    bool mWantLog;
    UdpSocket mSocket;
    std::vector<std::string> mKept;
};

}  // namespace zulctl
