// A board while its disk, one of its processes, its network, its clock or its signal fails, and after the fault is
// removed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "evidence.h"

namespace board {
namespace {

constexpr std::size_t kEnough = 100'000;
constexpr const char* kHeld = "(held up)";  ///< answered after the fault is removed

struct Exchange {
    const char* request;
    const char* start;  ///< of the answer
};

/// One fault of one process, the requests during the fault, and those after it is removed.
struct Failure {
    const char* name;
    char role;
    bool streams;  ///< its stream stays whole meanwhile
    void (*spoil)(LiveBoard& board);
    std::vector<Exchange> meanwhile;
    void (*mend)(LiveBoard& board);
    std::vector<Exchange> then;
};

void MendAgent(LiveBoard& board) { board->Settings().Set(Fault::kNone); }
void MendSilentAgent(LiveBoard& board) {
    board->Settings().Requests().WaitFor([](const SettingsRequest& request) { return request.name == "REBOOT"; });
    MendAgent(board);
    Queue(1236).Send({772, "x = INTEGER: 1"});  // the answer that didn't come
}
void MendDaemon(LiveBoard& board) { board->Daemon().Set(Fault::kNone); }
void MendPlayer(LiveBoard& board) { board->ThePlayer().Set(Fault::kNone); }
void MendBrowser(LiveBoard& board) { board->Browser().Set(Fault::kNone); }
void ShowPageAndFillBrowser(LiveBoard& board) {
    EXPECT_EQ(board.Ask("URLpage,0,0,640,384,255,0"), "OK\r\n");
    board->Browser().Set(Fault::kFull);
    board->Infrared().Press(*KeyCode("UP"));  // blocks only the remote control's thread
}
void MendFullBrowser(LiveBoard& board) {
    MendBrowser(board);
    EXPECT_EQ(board->Browser().Orders().WaitForCount(1).at(0).text, "-k011");
}

const std::vector<Exchange> kServes = {{"VERS", kVersion}};
const std::vector<Exchange> kStops = {{"RESET", kHeld}, {"VERS", kHeld}};
const std::vector<Exchange> kGoesOn = {{"", "OK\r\n"}, {"", kVersion}, {"RESET", "OK\r\n"}};
const std::vector<Exchange> kCantSave = {
    {kUnit, "OK\r\n"}, {"MCASTPACKETSIZE1316", "OK\r\n"}, {"TUNERMODE1", "KO\r\n"}};
const std::vector<Exchange> kSaves = {{"TUNERMODE0", "OK\r\n"}};
const std::vector<Exchange> kPlays = {{"UNIT1,239.1.1.1,5001,0,1", "OK\r\n"}};

// clang-format off
const Failure kFailures[] = {
    {"SilentAgent", 'T', true, [](LiveBoard& b) { b->Settings().Set(Fault::kSilent); }, kStops, MendSilentAgent, kGoesOn},
    {"FullAgent", 'T', true, [](LiveBoard& b) { b->Settings().Set(Fault::kFull); }, kStops, MendAgent, kGoesOn},
    {"SlowAgent", 'T', true, [](LiveBoard& b) { b->Settings().Set(Fault::kSlow); },
     {{"IP?", "DHCP:0 MAC:"}}, MendAgent, kServes},
    {"LyingAgent", 'T', true, [](LiveBoard& b) { b->Settings().Set(Fault::kLying); },
     {{"IP?", "DHCP:4711 MAC:"}, {"TUNERMODE1", "OK\r\n"}, {"RESET", "OK\r\n"}}, MendAgent, {{"IP?", "DHCP:0 MAC:"}}},
    {"SlowDaemon", 'T', true, [](LiveBoard& b) { b->Daemon().Set(Fault::kSlow); },
     {{"MCASTPACKETSIZE1316", "OK\r\n"}, {"TUNERMODE1", "OK\r\n"}}, MendDaemon, kSaves},
    {"LyingDaemon", 'T', true, [](LiveBoard& b) { b->Daemon().Set(Fault::kLying); }, kCantSave, MendDaemon, kSaves},
    {"SilentDaemon", 'T', true, [](LiveBoard& b) { b->Daemon().Set(Fault::kSilent); }, kCantSave, MendDaemon, kSaves},
    {"FullDaemon", 'T', true, [](LiveBoard& b) { b->Daemon().Set(Fault::kFull); }, kCantSave, MendDaemon, kSaves},
    {"WeakSignal", 'T', false, [](LiveBoard& b) { b->TheTuner().Put(7, {"/mnt/seven.ts", 1}); },
     {{"STATUS", "STATUS 1 0 239.1.1.1:5001 0:1:33:[0001] "}, {"LAN?", ""}},
     [](LiveBoard& b) { b->TheTuner().Put(7, {"/mnt/seven.ts", 5}); },
     {{kUnit, "OK\r\n"}, {"STATUS", "STATUS 1 0 239.1.1.1:5001 0:1:ff:[0001] "}}},
    {"SilentPlayer", 'R', false, [](LiveBoard& b) { b->ThePlayer().Set(Fault::kSilent); },
     {{"UNIT1,239.1.1.1,5001,0,1", "OK\r\n"}, {"LANGspa,1", "OK\r\n"}, {"STATUS", "STATUS 1 "}, {"UNIT0", "OK\r\n"}},
     MendPlayer, kPlays},
    {"FullPlayer", 'R', false, [](LiveBoard& b) { b->ThePlayer().Set(Fault::kFull); },
     {{"UNIT1,239.1.1.1,5001,0,1", "OK\r\n"}, {"VSCALE,0,0,50,50", "OK\r\n"}, {"STATUS", "STATUS 1 "}}, MendPlayer, kPlays},
    {"SilentBrowser", 'R', false, [](LiveBoard& b) { b->Browser().Set(Fault::kSilent); },
     {{"URLpage,0,0,640,384,255,0", "OK\r\n"}, {"URLkey16", "OK\r\n"}, {"STATUS", "STATUS 0 "}}, MendBrowser,
     {{"URLkey17", "OK\r\n"}, {"URLblank", "OK\r\n"}}},
    {"FullBrowser", 'R', false, ShowPageAndFillBrowser, kServes, MendFullBrowser, kServes},
};
// clang-format on

class FailingBoard : public testing::TestWithParam<Failure> {};
INSTANTIATE_TEST_SUITE_P(Fault, FailingBoard, testing::ValuesIn(kFailures),
                         [](const auto& row) { return row.param.name; });

TEST_P(FailingBoard, ServesWhatItCanKeepsItsStreamAndRecovers) {
    const Failure& failure = GetParam();
    const bool transmits = failure.role == 'T';
    const auto played = WriteStream("/mnt/seven.ts", SmallMultiplex());
    GroupListener group("239.1.1.1", 5001);
    LiveBoard board(failure.role, {.band = {{7, {"/mnt/seven.ts", 5}}}});
    ASSERT_TRUE(board.Start());
    if (transmits) {
        EXPECT_EQ(board.Ask(kUnit), "OK\r\n");
    }

    failure.spoil(board);
    for (const Exchange& exchange : failure.meanwhile) {
        board.Send(exchange.request);
        if (exchange.start == kHeld) continue;
        EXPECT_TRUE(StartsWith(board.Hear(), exchange.start)) << exchange.request;
    }
    if (failure.meanwhile.back().start == kHeld) {
        EXPECT_EQ(board.Hear(Milliseconds(200)), "(nothing)");
    }
    if (failure.streams) {
        EXPECT_EQ(Difference(group.Collect(kEnough).pids, played), "");
    }

    failure.mend(board);
    for (const Exchange& exchange : failure.then) {
        if (*exchange.request != '\0') board.Send(exchange.request);
        EXPECT_TRUE(StartsWith(board.Hear(), exchange.start)) << exchange.request;
    }
    if (!transmits) return;
    const Evidence evidence = group.Collect(kEnough);
    EXPECT_EQ(Difference(evidence.pids, played), "");
    EXPECT_FALSE(evidence.pats.empty());
}

using FailingStream = Transmission;

TEST_F(FailingStream, GoesOnBehindANetworkThatWentAway) {
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_EQ(Difference(group.Collect(kEnough).pids, played), "") << turn;
        ASSERT_EQ(std::system("ip link set eth0 down"), 0);  // ENETUNREACH
        group.IsSilent();                                    // what was on the way is gone
        EXPECT_TRUE(group.IsSilent());
        EXPECT_EQ(board.Ask("VERS"), kVersion);
        ASSERT_EQ(std::system("ip link set eth0 up && ip route add 224.0.0.0/4 dev eth0"), 0);
        group.Collect(kEnough / 4);  // with the seam
    }
    EXPECT_EQ(Difference(group.Collect(kEnough).pids, played), "");
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 1 0 239.1.1.1:5001 0:1:ff:[0001] "));
}

TEST_F(FailingStream, WithAClockThatJumpsIsFollowedAndKeepsItsGuide) {
    std::set<std::string> days{board.Ask("TIME").substr(0, 9)};
    auto jumped = multiplex;
    for (const int years : {10, -20}) {
        jumped.start = static_cast<std::uint32_t>(multiplex.start + years * 366 * 86'400LL);
        const std::string file = "/mnt/" + std::to_string(jumped.start) + ".ts";  // the tuner has the one before open
        WriteStream(file, jumped);
        board->TheTuner().Put(7, {file, 5});
        std::string time;
        for (int turn = 0; turn < 200 && !days.insert(time = board.Ask("TIME").substr(0, 9)).second; ++turn) {
            std::this_thread::sleep_for(Milliseconds(50));
        }
        EXPECT_TRUE(StartsWith(board.Ask("EITN4d,1"), "EITI")) << time;
        EXPECT_EQ(board.Ask("VERS"), kVersion);
    }
    EXPECT_EQ(days.size(), 3u);
}

constexpr const char* kStartupItem = "/mnt/hd1/zul_def_startup";

LiveOptions WithChannel() { return {.band = {{7, {"/mnt/seven.ts", 5}}}}; }

TEST(Disk, TheLastStreamAndTheTunerModeComeBackAfterALossOfPower) {
    const auto played = WriteStream("/mnt/seven.ts", SmallMultiplex());
    ASSERT_TRUE(LiveOnce([] {
        LiveBoard board('T', WithChannel());
        ASSERT_TRUE(board.Start());
        EXPECT_EQ(board.Ask("TUNERMODE2"), "OK\r\n");
        EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,7,4d,2\r\n"), "OK\r\n");
        EXPECT_EQ(board.Ask("UNIT7"), "KO\r\n") << "which saves nothing";
        EXPECT_FALSE(board->Daemon().IsWritable(1));
    }));
    EXPECT_EQ(FileText(kStartupItem), "UNIT1,239.1.1.1,5001,7,4d,2\r\n");
    EXPECT_EQ(FileText("/mnt/hd1/zul_tunermode"), "2\n");
    ASSERT_TRUE(LiveOnce([&played] {
        GroupListener group("239.1.1.1", 5001);
        LiveBoard board('T', WithChannel());
        ASSERT_TRUE(board.Start());
        EXPECT_EQ(board->Settings().Get("TUNER_MODE"), "2");
        const Evidence evidence = group.Collect(kEnough);
        EXPECT_EQ(Difference(evidence.pids, played), "");
        EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 1 0 239.1.1.1:5001 0:1:ff:[0002] F:QAM256 "));
        EXPECT_EQ(board.Ask("UNIT0"), "OK\r\n");
    }));
    EXPECT_EQ(FileText(kStartupItem), "UNIT0");
    LiveBoard board('T', WithChannel());
    ASSERT_TRUE(board.Start());
    EXPECT_EQ(board->Tools().Lines().All().size(), 0u);
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 0 0 0.0.0.0:0 0:0:00:[] F:QAM256 E:0 C:\"NO CAM\" "));
}

TEST(Disk, AnItemThatNoLongerParsesIsRefusedAndTheBoardServes) {
    for (const std::string& item : {std::string(2000, 'U'), std::string("UNIT1,239.1.1.1"), std::string("\0\xff", 2),
                                    std::string("UNIT1,") + std::string(1018, ','), std::string("unit0,1")}) {
        std::ofstream(kStartupItem) << item;
        EXPECT_TRUE(LiveOnce([] {
            LiveBoard board('T', {.clock = 100});
            ASSERT_TRUE(board.Start());
            EXPECT_EQ(board->Tools().Lines().All().size(), 0u);
        })) << item;
    }
}

}  // namespace
}  // namespace board
