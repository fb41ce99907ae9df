// Log, keys and serial port of a board.
#include "net/monitor.h"

#include <fmt/format.h>

#include "output/failure.h"

namespace zulctl {

using namespace std::chrono_literals;

Monitor::Monitor(const Endpoint& board, const ClientOptions& options, bool wantLog)
    : mClient(board, options), mWantLog(wantLog), mSocket(options.recorder) {
    // The reply and its destination don't matter: the board has then seen the fixed port.
    mClient.Listen("LAN?", 300ms, [](const Datagram&) { return false; });
    mSocket.Bind(0, options.localAddress);
    mSocket.OnlyFrom({board.address, 0});
    // A channel that is open stays with its peer, so it is closed first.
    for (const char* request : {"CALLBACK0", "CALLBACK1"}) {
        const auto answer = Ask(request);
        if (!answer) throw Failure(kNoAnswer, EndpointText(board) + " doesn't open its log channel");
        if (!IsOk(*answer)) throw Failure(kRefused, EndpointText(board) + " refuses to open its log channel");
    }
    if (mWantLog) Ask("DEBUG2");
}

Monitor::~Monitor() {
    // Best effort, without waiting: the board may be gone.
    if (mWantLog) mSocket.Send("DEBUG0", Board());
    mSocket.Send("CALLBACK0", Board());
}

std::optional<std::string> Monitor::Take() {
    if (!mKept.empty()) {
        std::string first = std::move(mKept.front());
        mKept.erase(mKept.begin());
        return first;
    }
    const auto datagram = mSocket.Take();
    if (!datagram || datagram->from.port == Board().port) return std::nullopt;
    return datagram->bytes;
}

std::optional<std::string> Monitor::Ask(std::string_view request) {
    const RequestKind& kind = KindOf(request);
    const auto deadline = Clock::now() + mClient.Patience(kind);
    mSocket.Send(request, Board());
    UdpSocket* const sockets[] = {&mSocket};
    while (WaitForAny(sockets, deadline)) {
        bool refused = false;
        auto datagram = mSocket.Take(&refused);
        if (refused) throw Failure(kNoAnswer, "nobody listens at " + EndpointText(Board()));
        if (!datagram) continue;
        if (datagram->from.port == Board().port) {
            if (kind.Accepts(datagram->bytes)) return std::move(datagram->bytes);
            continue;  // the late answer to something else
        }
        mKept.push_back(std::move(datagram->bytes));
    }
    return std::nullopt;
}

}  // namespace zulctl
