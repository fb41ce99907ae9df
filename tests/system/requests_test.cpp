// Requests of every length and content: the service answers each, and stays what it was.
#include <gtest/gtest.h>

#include <random>

#include "live_board.h"

namespace board {
namespace {

constexpr const char* kVersion = "VERS0.82.14OK\r\n";
constexpr const char* kNo = "KO\r\n";

class Requests : public testing::TestWithParam<char> {
 protected:
    void SetUp() override { ASSERT_TRUE(board.Start()); }

    LiveBoard board{GetParam(), {.clock = 1000}};
};
INSTANTIATE_TEST_SUITE_P(Roles, Requests, testing::Values('T', 'R'),
                         [](const auto& role) { return role.param == 'T' ? "Transmitter" : "Receiver"; });

TEST_P(Requests, OfEveryLengthAreAnswered) {
    for (std::size_t length = 0; length <= 2048; ++length) {
        ASSERT_EQ(board.Ask(std::string(length, 'x')), kNo) << length << " bytes";
    }
    for (const std::size_t length : {2040u, 2041u, 9000u, 65507u}) {
        std::string request = "VERS" + std::string(length - 4, '!');
        ASSERT_EQ(board.Ask(request), kVersion) << length << " bytes";
    }
}

TEST_P(Requests, OfAnyBytesAreAnswered) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        std::string request(random() % 2041, '\0');
        for (char& byte : request) byte = static_cast<char>(random());
        if (!request.empty() && request[0] != 0) request[0] = static_cast<char>(0x80 | request[0]);  // no keyword
        ASSERT_EQ(board.Ask(request), kNo) << "request " << i;
    }
    EXPECT_EQ(board.Ask("VERS"), kVersion);
}

TEST_P(Requests, WithAKeywordAndGarbageBehindItLeaveTheServiceAlive) {
    // Keywords that answer at once, whatever stands behind them. FILTER would wait for data, RESET would reboot.
    const char* const keywords[] = {
        "ZUL",     "IP?",      "VERS",     "REMOTE",  "VIDEO",       "VSCALE",          "SUB?",
        "LAN?",    "SUBS",     "LANG",     "URL",     "UART",        "SUART",           "SCA?",
        "UPGR",    "TIME",     "EIT",      "DEBUG",   "DUMPPIDS",    "DUMPSTATS",       "DBGSIMPLE",
        "DUMPEIT", "DUMPLANG", "M710CMMD", "TESTSER", "DUMPCOLLECT", "MCASTPACKETSIZE", "UNIT1,",
        "UNIT4,",  "DHCP0,",   "Tuner"};
    const std::string_view garbage = ",0123456789-:?.%snAzZ /\xFF";
    std::mt19937 random(8);
    for (const std::string keyword : keywords) {
        for (const std::size_t length : {0u, 1u, 2u, 3u, 15u, 16u, 127u, 128u, 255u, 256u, 1023u, 1024u, 2030u}) {
            std::string request = keyword;
            for (std::size_t i = 0; i < length; ++i) request += garbage[random() % garbage.size()];
            board.Send(request);
        }
        board.Send("VERS");
        ASSERT_EQ(board.HearUntil("VERS0").back(), kVersion) << keyword;
    }
}

}  // namespace
}  // namespace board
