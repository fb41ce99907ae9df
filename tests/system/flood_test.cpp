// Masters that ask faster than a board can answer, and boards that are made to answer each other.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <sstream>
#include <thread>

#include "transmission_fixture.h"

namespace board {
namespace {

constexpr std::uint16_t kTransmitterPort = 5000;
constexpr std::uint16_t kReceiverPort = 2008;

zulctl::Endpoint Here(std::uint16_t port) { return {*zulctl::ParseAddress("127.0.0.1"), port}; }

/// Asks 20,000 times a second without waiting for answers, and judges each that comes: every request has a socket of
/// its own. A busy machine asks less often.
class Master {
 public:
    Master() : mThread([this] { Run(); }) {}
    ~Master() { End(); }

    void End() {
        mStop = true;
        if (mThread.joinable()) mThread.join();
    }

    // After End:
    int asked = 0;
    int answered = 0;
    std::string wrong{};  ///< the first wrong answer

 private:
    struct Line {
        const char* request;
        std::string answer;
        zulctl::UdpSocket socket{};
    };

    void Run() {
        constexpr Milliseconds kTurn{1};
        constexpr int kPerTurn = 5;  // for each of four
        Line lines[] = {
            {"VERS", kVersion}, {"VER", "KO\r\n"}, {"VIDEO", "OK\r\n"}, {"SCA?", std::string("\0\7\0\0", 4)}};
        for (Line& line : lines) line.socket.Bind(0);
        const auto takeAll = [&] {
            for (Line& line : lines) {
                while (const auto datagram = line.socket.Take()) {
                    ++answered;
                    if (wrong.empty() && datagram->bytes != line.answer)
                        wrong = line.request + (": " + datagram->bytes);
                }
            }
        };
        for (auto next = zulctl::Clock::now(); !mStop;
             next = std::max(next + kTurn, zulctl::Clock::now() - 20 * kTurn)) {
            std::this_thread::sleep_until(next);
            for (int i = 0; i < kPerTurn; ++i) {
                for (Line& line : lines) asked += line.socket.Send(line.request, Here(kTransmitterPort)) ? 1 : 0;
            }
            takeAll();
        }
        std::this_thread::sleep_for(Milliseconds(200));
        takeAll();
    }

    std::atomic<bool> mStop{false};
    std::thread mThread;
};

/// \return seconds of a flood: 2, or what ZUL_FLOOD_SECONDS asks for
int FloodSeconds() {
    const char* const seconds = std::getenv("ZUL_FLOOD_SECONDS");
    return seconds != nullptr ? std::atoi(seconds) : 2;
}

using Flood = Transmission;

TEST_F(Flood, EveryAnswerIsRightAndTheStreamLosesNothing) {
    Master master;
    const int seconds = FloodSeconds();
    std::uint64_t packets = 0;
    for (const auto end = zulctl::Clock::now() + std::chrono::seconds(seconds); zulctl::Clock::now() < end;) {
        const Evidence evidence = group.Collect(500'000);
        ASSERT_EQ(Difference(evidence.pids, played), "");
        for (const auto& [pid, of] : evidence.pids) packets += of.size();
    }
    master.End();
    RecordProperty("asked_per_second", master.asked / seconds);
    RecordProperty("answered_per_second", master.answered / seconds);
    RecordProperty("packets_judged", static_cast<int>(packets));
    EXPECT_EQ(master.wrong, "");
    EXPECT_GT(master.answered, 0);
    EXPECT_LE(master.answered, master.asked);
    EXPECT_EQ(board.Ask("VERS"), kVersion) << "and the next master is served";
}

/// Sends one datagram that seems to come from another port of this machine.
void Forge(std::uint16_t from, std::uint16_t to, const std::string& text) {
    const std::uint16_t head[] = {htons(from), htons(to), htons(static_cast<std::uint16_t>(8 + text.size())),
                                  0};  // no checksum
    std::string datagram(reinterpret_cast<const char*>(head), sizeof head);
    datagram += text;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int raw = socket(AF_INET, SOCK_RAW, IPPROTO_UDP);
    ASSERT_EQ(sendto(raw, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&address), sizeof address),
              static_cast<ssize_t>(datagram.size()));
    close(raw);
}

/// \return UDP datagrams that this machine took in so far
long DatagramsTaken() {
    std::ifstream file("/proc/self/net/snmp");
    long taken = -1;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        if (words >> name && name == "Udp:") words >> taken;  // the heading's line has no number there
    }
    return taken;
}

TEST(TwoBoards, ThatAForgedDatagramSetsAtEachOtherServeOn) {
    const BoardBeside transmitter('T', {}, "VERS");
    LiveBoard receiver('R');
    ASSERT_TRUE(receiver.Start());
    zulctl::UdpSocket master;
    master.Bind(0);
    zulctl::UdpSocket* const sockets[] = {&master};
    const auto ask = [&](std::uint16_t port) -> std::string {
        master.Send("VERS", Here(port));
        if (!zulctl::WaitForAny(sockets, zulctl::Clock::now() + kPatience)) return "(silence)";
        return master.Take()->bytes;
    };
    ASSERT_EQ(ask(kTransmitterPort), kVersion);

    // Each takes the other's KO for a request.
    const long before = DatagramsTaken();
    Forge(kReceiverPort, kTransmitterPort, "x");
    const auto deadline = zulctl::Clock::now() + kPatience;
    while (DatagramsTaken() < before + 1000 && zulctl::Clock::now() < deadline)
        std::this_thread::sleep_for(Milliseconds(10));
    EXPECT_GE(DatagramsTaken(), before + 1000) << "the two didn't begin";

    std::vector<long> microseconds;
    const long start = DatagramsTaken();
    const auto began = zulctl::Clock::now();
    for (int turn = 0; turn < 200; ++turn) {
        const auto asked = zulctl::Clock::now();
        ASSERT_EQ(ask(turn % 2 == 0 ? kTransmitterPort : kReceiverPort), kVersion) << turn;
        microseconds.push_back(
            std::chrono::duration_cast<std::chrono::microseconds>(zulctl::Clock::now() - asked).count());
        std::this_thread::sleep_for(Milliseconds(2));
    }
    const std::chrono::duration<double> took = zulctl::Clock::now() - began;
    EXPECT_GT(DatagramsTaken(), start + 400) << "the two still go on";
    std::sort(microseconds.begin(), microseconds.end());
    RecordProperty("exchanges_per_second",
                   static_cast<int>(static_cast<double>(DatagramsTaken() - start) / took.count()));
    RecordProperty("vers_median_microseconds", static_cast<int>(microseconds[microseconds.size() / 2]));
    RecordProperty("vers_longest_microseconds", static_cast<int>(microseconds.back()));
    EXPECT_EQ(receiver.Ask("UNIT1,239.1.1.1,5001,0,1"), "OK\r\n");
}

}  // namespace
}  // namespace board
