/// A board that a test plays on 127.0.0.1.
#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "net/udp_socket.h"

namespace zulctl {

inline constexpr std::uint32_t kHere = 0x7F000001;

/// A board that gives a fixed answer to each request, by the longest prefix that fits, and remembers what was asked.
class PlayedBoard {
 public:
    PlayedBoard(std::uint16_t port, std::map<std::string, std::string> answers) : mAnswers(std::move(answers)) {
        mSocket.Bind(port, kHere);
        mForward.Bind(0, kHere);
        mThread = std::jthread([this](const std::stop_token& stop) { Serve(stop); });
    }
    int Asked(const std::string& request) const {
        const std::lock_guard lock(mMutex);
        const auto found = mAsked.find(request);
        return found == mAsked.end() ? 0 : found->second;
    }

 private:
    static bool IsForwarded(const std::string& request) {
        return request.starts_with("EIT") || request.starts_with("LAN?") || request.starts_with("SUB?");
    }
    void Serve(const std::stop_token& stop) {
        UdpSocket* const sockets[] = {&mSocket};
        while (!stop.stop_requested()) {
            if (!WaitForAny(sockets, Clock::now() + std::chrono::milliseconds(50))) continue;
            const auto datagram = mSocket.Take();
            if (!datagram) continue;
            const std::lock_guard lock(mMutex);
            ++mAsked[datagram->bytes];
            const auto longest = std::find_if(mAnswers.rbegin(), mAnswers.rend(), [&](const auto& entry) {
                return datagram->bytes.starts_with(entry.first);
            });
            if (longest != mAnswers.rend())
                (IsForwarded(longest->first) ? mForward : mSocket).Send(longest->second, datagram->from);
        }
    }

    const std::map<std::string, std::string> mAnswers;
    UdpSocket mSocket, mForward;
    mutable std::mutex mMutex;
    std::map<std::string, int> mAsked;
    std::jthread mThread;
};

}  // namespace zulctl
