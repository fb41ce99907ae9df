/// A whole board in the test's process: the module on a fast clock, the board's other processes, and a master.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "board.h"
#include "support/shell.h"
#include "udp_client.h"
#include "zul_version.h"

namespace board {

inline constexpr const char* kVersion = "VERS" ZUL_VERSION "OK\r\n";  ///< answer to VERS

struct LiveOptions {
    std::map<int, Channel> band{};
    std::set<Process> absent{};
    int clock = 20;  ///< seconds of the module in a real one; the tuner keeps step
    char start = 0;  ///< role that the module is started in; 0: the board's own
};

/// One a process: the module has no stop path.
class LiveBoard {
 public:
    explicit LiveBoard(char role, LiveOptions options = {});

    /// Starts the module and waits until it serves commands. \return whether it does
    bool Start();

    Board& operator*() { return mBoard; }
    Board* operator->() { return &mBoard; }

    /// Sends a request as a master does, on the same socket each time.
    void Send(const std::string& request);

    /// Sends a request and waits for one datagram. \return it, or "(nothing)"
    std::string Ask(const std::string& request, Milliseconds limit = kPatience);

    /// Waits for one more datagram to the master, past lines of the log channel and beacons. \return it, or "(nothing)"
    std::string Hear(Milliseconds limit = kPatience);

    /// Waits for datagrams until one begins with `last`, or `limit` is over. \return all of them
    std::vector<std::string> HearUntil(const std::string& last, Milliseconds limit = kPatience);

 private:
    const char mStart;
    Board mBoard;
    const std::uint16_t mCommands;  ///< the board's port
    Client mMaster;
};

/// Runs `life` in a separate process with this one's files on disk, like a board between two losses of power.
/// To be called before this process has a board. \return whether `life` ended without a failed expectation
bool LiveOnce(const std::function<void()>& life);

/// For EXPECT_TRUE: shows both texts where `text` doesn't begin with `start`.
testing::AssertionResult StartsWith(const std::string& text, const std::string& start);

}  // namespace board
