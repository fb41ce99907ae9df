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

/// A board that gives a fixed answer to each request, by the longest matching prefix, and records the requests.
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
        while (!stop.stop_requested()) {
            const auto datagram = mSocket.Next(Clock::now() + std::chrono::milliseconds(50));
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

/// Answers of a transmitter that streams one programme to 239.1.1.1:5000, with a name of seven bytes for all that
/// it names.
inline std::map<std::string, std::string> TransmitterAnswers(const std::string& name) {
    const auto text = "7,00[" + name + "]";
    return {
        {"", "OK\r\n"},
        {"STATUS", "STATUS 1 0 239.1.1.1:5000 0:1:ff:[0001] F:" + name + " E:0 C:\"NO CAM\" 7% OK\r\n"},
        {"SCA?", std::string("\0\2\1\5", 4)},
        {"ZUL", "ZULB<Device-UUID=" + name + "_TX_-02005e100001><Device-Model=" + name +
                    "_TX_><Device-Revision=" + name + ">\r\n"},
        {"VERS", "VERS" + name + "OK\r\n"},
        {"IP?", "DHCP:0 MAC:" + name + " IP:" + name + " GW:" + name + " NM:" + name + " OK\r\n"},
        {"TIME", "TIME d3a4 1930 OK\r\n"},
        {"UPGR", "UPGRSTATUS0 OK\r\n"},
        {"SCAL", "SCAL 021 0201 0001 [02:0:ff:02:81] C A " + name + "\r\nffff\r\nOK\r\n" + '\0'},
        {"EIT", "EITI d3a4 1930 0100 S" + text + "L" + text + "\r\nOK\r\n"},
        {"LAN?", "LANG 0201 0001 " + name.substr(0, 3) + "00\r\nOK\r\n"},
        {"SUB?", "SUB 0201 0001 " + name.substr(0, 3) + "\r\nOK\r\n"},
        {"DEBUG", "LOG:ERROR " + name + "\r\n"},
    };
}

}  // namespace zulctl
