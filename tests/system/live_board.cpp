// The board, its module and its master in one process.
#include "live_board.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace board {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kSilence = "(nothing)";

BoardPlan PlanFor(char role, const LiveOptions& options) {
    setenv("ZUL_FAST_CLOCK", std::to_string(options.clock).c_str(), 1);
    return {.role = role, .module = ZUL_FAST_MODULE, .band = options.band, .absent = options.absent};
}

}  // namespace

LiveBoard::LiveBoard(char role, LiveOptions options)
    : mStart(options.start != 0 ? options.start : role),
      mBoard(PlanFor(role, options)),
      mCommands(role == 'T' ? 5000 : 2008) {
    mBoard.TheTuner().SetSpeed(options.clock);
}

bool LiveBoard::Start() {
    mBoard.Start(mStart);
    // The command socket is bound before the boot's end: earlier requests wait there.
    for (int turn = 0; turn < 100; ++turn) {
        if (Ask("VERS", Milliseconds(100)) == kVersion) {
            while (Hear(Milliseconds(50)) != kSilence) continue;  // earlier requests were only late
            return true;
        }
    }
    return false;
}

void LiveBoard::Send(const std::string& request) { mMaster.Send(mCommands, request); }

std::string LiveBoard::Ask(const std::string& request, Milliseconds limit) {
    Send(request);
    return Hear(limit);
}

std::string LiveBoard::Hear(Milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
        const std::string datagram = mMaster.Hear(std::max(0, static_cast<int>(left.count())));
        // A beacon comes where the master's port happens to be that of beacons.
        if (!datagram.starts_with("LOG:") && !datagram.starts_with("ZULB<")) return datagram;
    }
}

std::vector<std::string> LiveBoard::HearUntil(const std::string& last, Milliseconds limit) {
    std::vector<std::string> heard;
    const auto deadline = Clock::now() + limit;
    do {
        heard.push_back(Hear(std::chrono::ceil<Milliseconds>(deadline - Clock::now())));
    } while (heard.back() != kSilence && !heard.back().starts_with(last));
    return heard;
}

bool LiveOnce(const std::function<void()>& life) {
    const pid_t child = fork();
    if (child == 0) {
        life();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

testing::AssertionResult StartsWith(const std::string& text, const std::string& start) {
    if (text.starts_with(start)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << '"' << text << "\" doesn't begin with \"" << start << '"';
}

}  // namespace board
