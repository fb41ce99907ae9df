// The requests of a starting module to its board, in order, and starts on a board with missing parts.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "live_board.h"
#include "stream_tap.h"

namespace board {
namespace {

TEST(Boot, SetsTheBoardUpInThisOrder) {
    const struct {
        char role;
        std::vector<std::string> asked;
    } rows[] = {{'T',
                 {"settings: set IR_CONTROL to 0", "daemon: /mnt/hd1 is to be writable",
                  "settings: set TUNER_MODE to 0", "daemon: /mnt/hd1 is to be read-only"}},
                {'R',
                 {"settings: set IR_CONTROL to 0", "settings: set IR_CONTROL to 16",
                  "settings: set NETWORK_BUFFER_SIZE to 3072", "tool: m710cmd -vdbg 22 1",
                  "daemon: /mnt/hd1 is to be writable", "daemon: /mnt/hd1 is to be read-only"}}};
    for (const auto& row : rows) {
        EXPECT_TRUE(LiveOnce([&row] {
            LiveBoard board(row.role);
            const auto asked = std::make_shared<Journal<std::string>>();
            board->TellTo([asked](std::string_view process, const std::string& line) {
                asked->Add(std::string(process) + ": " + line);
            });
            Queue(1236).Send({772, "x = INTEGER: 4711"});  // for a host that ended before the agent answered
            ASSERT_TRUE(board.Start());
            EXPECT_EQ(asked->All(), row.asked);
            EXPECT_TRUE(StartsWith(board.Ask("IP?"), "DHCP:0 MAC:02005e100001 IP:10.0.0.1 "));
            EXPECT_FALSE(board->Daemon().IsWritable(1));
            EXPECT_EQ(board->Status().IrSystemCode(), row.role == 'R' ? 0x916Eu : 0u);  // 110 below its complement
        })) << row.role;
    }
}

TEST(Boot, TheVersionTellsTheRole) {
    const struct {
        const char* version;
        char role;
    } rows[] = {{"68026368", 'T'}, {"68091904", 'T'}, {"67960832", 'R'}, {"67174400", 'R'}};  // 0x04: 0e, 0f, 0d, 01
    for (const auto& row : rows) {
        EXPECT_TRUE(LiveOnce([&row] {
            LiveBoard board(row.role, {.clock = 100, .start = 'A'});
            board->Settings().Put("QVAN_VERSION", row.version);
            Queue(1236).Send({772, "x = INTEGER: 84803584"});  // another family's
            EXPECT_TRUE(board.Start()) << row.version;
        })) << row.version;
    }
}

TEST(Boot, ABoardOfAnotherFamilyEndsTheHost) {
    const auto boot = [](const std::optional<std::string>& answer) {
        LiveBoard board('T', {.start = 'A'});
        board->Settings().AnswerWith("QVAN_VERSION", answer);
        board.Start();
    };
    EXPECT_EXIT(boot("x = INTEGER: 84803584"), testing::ExitedWithCode(255), "NOT QVAN710");  // 0x050e0000
    EXPECT_EXIT(boot("no value"), testing::ExitedWithCode(255), "snmp");
}

TEST(Boot, WithoutADaemonTheBoardServesAllTheSame) {
    LiveBoard board('T', {.absent = {Process::kSystemDaemon}});
    std::ofstream("/mnt/hd1/zul_def_startup") << "UNIT1,239.1.1.1,5000,7";
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board->Tools().Lines().All().size(), 0u) << "the saved item can't be read";
    EXPECT_EQ(board.Ask("TUNERMODE1"), "KO\r\n");
}

TEST(Boot, WithoutPlayerBrowserAndSerialPortAReceiverServes) {
    LiveBoard board('R', {.absent = {Process::kPlayer, Process::kBrowser, Process::kSerialPort}});
    ASSERT_TRUE(board.Start());
    for (const char* request :
         {"UNIT1,239.1.1.1,5001,0,1", "URLpage", "URLkey5", "CALLBACK1", "UARTx", "VSCALE,0,0,100,100"}) {
        EXPECT_EQ(board.Ask(request), "OK\r\n") << request;
    }
    board->Infrared().Press(*KeyCode("OFF"));
    EXPECT_TRUE(StartsWith(board.Hear(), "REMOTE"));
}

/// \return whether the system has IP_MULTICAST_ALL, which qemu's user emulation doesn't
bool CanRefuseGroups() {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0), off = 0;
    const bool can = setsockopt(fd, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off) == 0;
    close(fd);
    return can;
}

TEST(Boot, TheCommandSocketTakesRequestsOfAnyLengthAndNothingOfAGroup) {
    for (const char role : {'T', 'R'}) {
        EXPECT_TRUE(LiveOnce([role] {
            LiveBoard board(role, {.clock = 100});
            ASSERT_TRUE(board.Start());
            for (const std::size_t length : {0u, 2040u, 2041u, 65507u}) {
                EXPECT_EQ(board.Ask(std::string(length, 'x')), "KO\r\n") << length;
            }
            const std::uint16_t port = role == 'T' ? 5000 : 2008;
            const StreamTap player(
                "239.1.1.9", port, 1, 0, [](auto) {}, [](auto) {});
            Client sender;
            sender.Send(port, std::string(188, 'G'), "239.1.1.9");
            for (int turn = 0; turn < 1000 && player.BytesReceived() == 0; ++turn)
                std::this_thread::sleep_for(Milliseconds(10));
            EXPECT_EQ(player.BytesReceived(), 188u);
            EXPECT_EQ(board.Ask("VERS"), kVersion);
            EXPECT_TRUE(sender.Take().empty() || !CanRefuseGroups());
        })) << role;
    }
}

TEST(Boot, AnAgentThatComesLateHoldsUpTheStartButNotTheHostsData) {
    LiveBoard board('T', {.absent = {Process::kSettingsAgent}});
    std::thread host([&board] { board->Start('T'); });
    EXPECT_EQ(board.Ask("VERS", Milliseconds(300)), "(nothing)");
    std::vector<std::uint8_t> packets(Tuner::kBufferSize, 0x47);
    board->Filter(packets);                 // returns: there is no filter yet
    SettingsAgent agent("/mnt/burnt.tar");  // finds the request that waits
    host.join();
    std::string answer;
    for (int turn = 0; turn < 200 && answer != kVersion; ++turn) answer = board.Ask("VERS", Milliseconds(100));
    EXPECT_EQ(answer, kVersion);
}

TEST(Boot, WithoutEth0TheBoardWaitsForItsNetwork) {
    ASSERT_EQ(std::system("ip link delete eth0"), 0);
    LiveBoard board('T');
    board->Start('T');
    ASSERT_TRUE(board->Settings().Requests().WaitFor([](const SettingsRequest& r) { return r.name == "TUNER_MODE"; }));
    EXPECT_EQ(board.Ask("VERS", Milliseconds(500)), "(nothing)");
    ASSERT_EQ(std::system("ip link add eth0 type veth peer name far && ip link set far up && ip link set eth0 up &&"
                          "ip address add 10.0.0.1/24 dev eth0 && ip route add 224.0.0.0/4 dev eth0"),
              0);
    EXPECT_EQ(board.Hear(), kVersion);
}

}  // namespace
}  // namespace board
