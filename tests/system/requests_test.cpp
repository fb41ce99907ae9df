// Requests of every length and content: the service answers each, and stays what it was.
#include <gtest/gtest.h>

#include <random>

#include "live_board.h"
#include "stream_tap.h"

namespace board {
namespace {

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

TEST_P(Requests, ToAGroupThatAnotherProcessJoinedAreNotTaken) {
    const int port = GetParam() == 'T' ? 5000 : 2008;
    const StreamTap player(
        "239.1.1.9", port, 1, 0, [](auto) {}, [](auto) {});
    const int sender = socket(AF_INET, SOCK_DGRAM, 0);
    const std::string packet(188, 'G');
    const sockaddr_in group{AF_INET, htons(static_cast<std::uint16_t>(port)), {inet_addr("239.1.1.9")}, {}};
    sendto(sender, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr*>(&group), sizeof group);
    for (int turn = 0; turn < 1000 && player.BytesReceived() == 0; ++turn) usleep(10'000);
    EXPECT_EQ(player.BytesReceived(), packet.size());
    EXPECT_EQ(board.Ask("VERS"), kVersion);
    char reply;
    EXPECT_EQ(recv(sender, &reply, 1, MSG_DONTWAIT), -1) << "the stream's sender gets no reply";
    close(sender);
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
    // Keywords that answer at once, whatever follows them. FILTER would wait for data, RESET would reboot.
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
