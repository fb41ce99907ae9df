// A master that asks faster than a board can answer, and a broadcast that is damaged everywhere.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

#include "evidence.h"

namespace board {
namespace {

/// \return seconds of a flood: 2, or as many as ZUL_FLOOD_SECONDS says
int FloodSeconds() {
    const char* const seconds = std::getenv("ZUL_FLOOD_SECONDS");
    return seconds != nullptr ? std::atoi(seconds) : 2;
}

/// Sends 20,000 requests a second without waiting for answers, fewer on a busy machine, and checks each answer: every
/// request has its own socket.
struct Master {
    void Run(const std::stop_token& stop) {
        constexpr Milliseconds kTurn{1};
        constexpr int kPerTurn = 5;  // of each request
        struct Line {
            const char* request;
            std::string answer;
            zulctl::UdpSocket socket{};
        } lines[] = {{"VERS", kVersion}, {"VER", "KO\r\n"}, {"VIDEO", "OK\r\n"}, {"SCA?", std::string("\0\7\0\0", 4)}};
        const zulctl::Endpoint to{*zulctl::ParseAddress("127.0.0.1"), 5000};
        for (Line& line : lines) line.socket.Bind(0);
        auto next = zulctl::Clock::now();
        for (bool last = false; !last; next = std::max(next + kTurn, zulctl::Clock::now() - 20 * kTurn)) {
            last = stop.stop_requested();
            std::this_thread::sleep_until(last ? next + 200 * kTurn : next);
            for (Line& line : lines) {
                for (int i = 0; i < kPerTurn && !last; ++i) asked += line.socket.Send(line.request, to) ? 1 : 0;
                while (const auto datagram = line.socket.Take()) {
                    ++answered;
                    if (wrong.empty() && datagram->bytes != line.answer)
                        wrong = line.request + (": " + datagram->bytes);
                }
            }
        }
    }

    int asked = 0;
    int answered = 0;
    std::string wrong{};  ///< the first wrong answer
};

using Flood = Transmission;

TEST_F(Flood, EveryAnswerIsRightAndTheStreamLosesNothing) {
    Master master;
    std::jthread thread([&master](const std::stop_token& stop) { master.Run(stop); });
    const int seconds = FloodSeconds();
    std::uint64_t packets = 0;
    for (const auto end = zulctl::Clock::now() + std::chrono::seconds(seconds); zulctl::Clock::now() < end;) {
        const Evidence evidence = group.Collect(500'000);
        ASSERT_EQ(Difference(evidence.pids, played), "");
        packets += evidence.report.packets;
    }
    thread.request_stop();
    thread.join();
    RecordProperty("asked_per_second", master.asked / seconds);
    RecordProperty("answered_per_second", master.answered / seconds);
    RecordProperty("packets_judged", static_cast<int>(packets));
    EXPECT_EQ(master.wrong, "");
    EXPECT_GT(master.answered, 0);
    EXPECT_LE(master.answered, master.asked);
    EXPECT_EQ(board.Ask("VERS"), kVersion) << "and the next master is served";
}

using DamagedBroadcast = Transmission;

TEST_F(DamagedBroadcast, StopsNeitherTheServiceNorTheStreamAfterIt) {
    board->TheTuner().Stop();
    std::mt19937 random(11);
    for (int turn = 0; turn < 1000; ++turn) {
        // A piece of any size from anywhere; every other one with the front of each payload changed as well.
        const std::size_t size = 1 + random() % (turn % 8 == 0 ? 400 : 20'000),
                          start = random() % (played.size() - size);
        std::vector<std::uint8_t> buffer(&played[start], &played[start] + size);
        for (auto changes = random() % 50; changes > 0; --changes) buffer[random() % size] = random() & 0xFF;
        for (std::size_t at = 188 - start % 188; turn % 2 == 0 && at + 28 < size; at += 188)
            buffer[at + 4 + random() % 24] = random() & 0xFF;
        board->Filter(buffer);
        if (turn % 50 != 0) continue;
        for (const char* request : {"LAN?", "SUB?", "DUMPPIDS", "DUMPEIT", "TIME", "EITN4d,1", "SCAL", "VERS"})
            board.Send(request);
        ASSERT_EQ(board.HearUntil("VERS0").back(), kVersion);
    }
    // The PIDs that the noise announced are forgotten at the next start.
    ASSERT_EQ(board.Ask(kUnit), "OK\r\n");
    const Evidence evidence = group.Collect(300'000);
    EXPECT_EQ(Difference(evidence.pids, played), "");
    EXPECT_EQ(evidence.pats.back().front().first, 1);
}

}  // namespace
}  // namespace board
