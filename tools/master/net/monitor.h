/// Listens to what a board sends to the peer of CALLBACK1: its log, its keys, its serial port.
#pragma once

#include <optional>
#include <string>

#include "net/board_client.h"

namespace zulctl {

/// Takes a board's log channel and forwarding for its life, on a local port of its own, so that other commands go on
/// meanwhile. The latest listener has the channel. As CALLBACK1 counts as the first request ever, the fixed port asks
/// something first.
class Monitor {
 public:
    /// \param wantLog  raises the board's log level, so that all lines come and not only failures
    Monitor(const Endpoint& board, const ClientOptions& options, bool wantLog);
    /// Gives the channel back: forwarding off, log level 0.
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    UdpSocket& Socket() { return mSocket; }
    const Endpoint& Board() const { return mBoard; }
    /// Takes a message that is there, whatever it is, but no answer of the command port.
    std::optional<std::string> Take();
    /// Sends a request from the port that listens. \return its answer, or nothing in time; messages that come meanwhile
    /// are kept
    std::optional<std::string> Ask(std::string_view request);

 private:
    Endpoint mBoard;
    ClientOptions mOptions;
    bool mWantLog;
    UdpSocket mSocket;
    std::vector<std::string> mKept;
};

}  // namespace zulctl
