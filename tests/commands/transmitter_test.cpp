// A transmitter's commands: request and reply, what reaches the agent, the tuner and the disk.
#include <algorithm>
#include <atomic>
#include <thread>

#include "commands/command_fixture.h"
#include "statistics.h"
#include "transport.h"
#include "tunermanager.h"

namespace {

const Texts kOk{"OK\r\n"};
const Texts kKo{"KO\r\n"};

int serialTests = 0;

}  // namespace

/// The host's serial test.
extern "C" void run_serial_test();
void run_serial_test() { ++serialTests; }

TEST_F(CommandManagerTest, EveryRequestHasItsReply) {
    struct Case { const char* request; Texts reply; };
    const Case cases[] = {
        {"VERS", {"VERS0.82.14OK\r\n"}}, {"vers\r\n", {"VERS0.82.14OK\r\n"}}, {"VERSION", {"VERS0.82.14OK\r\n"}}, {"VER", kKo}, {" VERS", kKo},
        {"", kKo}, {"X", kKo}, {"VIDEO", kOk}, {"TIME", {"TIME acd4 0000 OK\r\n"}}, {"RESET", kOk}, {"REMOTE6e", kKo}, {"UARTabc", kKo}, {"SUART9600,8,N,1", kKo},
        {"URLx", kKo}, {"RESOLUTION?", kKo}, {"UNIT9,1", kKo}, {"UNIT3", kKo}, {"UNIT7", kKo}, {"UNIT", kKo}, {"UNIT1", kKo}, {"UNIT1,239.1.1.1,5000", kKo},
        {"UNIT4", kKo}, {"UNIT4,2", kKo}, {"UNIT4,9,239.1.1.1,5000,5", kKo}, {"UNIT5,2", kOk}, {"UNIT0", kOk}, {"LANGeng,0", kOk}, {"LANG", kOk}, {"SUBS1", kOk},
        {"CALLBACK10", kOk}, {"CALLBACK0", kOk}, {"TUNERMODE3", kKo}, {"TUNERMODE-1", kKo}, {"MCASTPACKETSIZE32769", kKo}, {"MCASTPACKETSIZE-1", kKo}, {"MCASTPACKETSIZE32768", kOk},
        {"DEBUG0", kKo}, {"DUMPPIDS", kKo}, {"DUMPCOL", kKo}, {"DUMPEIT", kKo}, {"DUMPLANG", kKo}, {"DBGSIMPL", kKo}, {"TESTSER", kKo}, {"STREAMFROMFILE", kKo}, {"STREAMFROMFILE,/nowhere/x", kKo},
        {"FILTER", kKo}, {"FILTERS", kKo}, {"BLIND4", {"BLINDSTART:0 KO\r\n"}}, {"SCAL", {std::string("ffff\r\nOK\r\n\0", 11)}},
        {"EITX1,2", kKo}, {"EITI1,2", kKo}, {"EITL1,2,0", kKo}, {"EITN1,2", {"EITI OK\r\n"}}, {"UPGR?", {"UPGRSTATUS0 OK\r\n\r\n"}}, {"M710CMMD -stopall", kKo},
    };
    for (const Case& step : cases) {
        EXPECT_EQ(Ask(step.request), step.reply) << step.request;
    }
    for (std::size_t row = 0; row < Keywords().size(); ++row) {  // no keyword cut by a character reaches its row
        const std::string text(Keyword(row).substr(0, Keywords()[row].chars - 1));
        if (text != "SUB" && text != "LAN") { EXPECT_EQ(Ask(text), kKo) << text; }
    }
}

TEST_F(CommandManagerTest, RequestsOfAnyLengthAndBytesAreAnswered) {
    fast_machine::SetSpeed(100000);
    for (const std::size_t size : {1u, 63u, 255u, 1023u, 1024u, 2039u, 2040u, 2041u, 5000u, 60000u}) {
        for (const char* keyword : {"", "VERS", "UNIT1,", "URL", "LANG", "EITI", "UPGR", "CALLBACK", "DHCP0,", "SUBS", "STREAMFROMFILE,x,", "Tuner", "REMOTE", "UNIT4,"}) {
            for (const char fill : {'\0', ',', '%', '9', '\xff'}) {
                Ask(keyword + std::string(size, fill));
            }
        }
    }
    EXPECT_EQ(Ask("VERS"), Texts{"VERS0.82.14OK\r\n"});
}

TEST_F(CommandManagerTest, StatusTellsTunerAndStreams) {
    EXPECT_EQ(Ask("STATUS")[0].substr(0, 46), "STATUS 0 0 0.0.0.0:0 0:0:00:[] F:ATSC E:0 C:\"N");
    mStatus.TunerStrength(5);
    EXPECT_EQ(Ask("UNIT1,239.1.1.1,5000,5,1a2b,3c4d"), kOk);
    EXPECT_EQ(LastUnit(), '1');
    const std::string status = Ask("STATUS")[0];
    EXPECT_EQ(status.substr(0, 44), "STATUS 1 0 239.1.1.1:5000 0:1:ff:[] F:ATSC E");
    EXPECT_EQ(status.substr(status.size() - 6), "% OK\r\n");
}

TEST_F(CommandManagerTest, AnAcceptedUnitIsSavedAsItCameAndReplayedAtBoot) {
    const char* const file = "/mnt/hd1/zul_def_startup";
    EXPECT_EQ(Ask("UNIT2,239.1.1.1,5000,5,1,2\r\n"), kOk);
    EXPECT_EQ(FileText(file), "UNIT2,239.1.1.1,5000,5,1,2\r\n");
    EXPECT_EQ(Ask("UNIT7"), kKo);
    EXPECT_EQ(FileText(file), "UNIT2,239.1.1.1,5000,5,1,2\r\n") << "a refused command saves nothing";
    EXPECT_FALSE(mDaemon.IsWritable(1));
    fast_machine::TakeShellLines();
    EXPECT_EQ(Ask("unit0"), kOk);
    Boot();
    EXPECT_TRUE(fast_machine::TakeShellLines().empty()) << "UNIT0 as the item starts nothing";
    EXPECT_EQ(Ask("UNIT4,3,239.1.1.1,5000,1f"), kOk);
    EXPECT_EQ(Ask("UNIT0,"), kOk);
}

TEST_F(CommandManagerTest, TunerModeIsKeptShownAndHandedToTheAgent) {
    mAgent.Put("TUNER_MODE", "2");
    Boot();
    EXPECT_EQ(mAgent.Get("TUNER_MODE"), "0") << "nothing was kept";
    EXPECT_EQ(Ask("TUNERMODE2"), kOk);
    EXPECT_EQ(FileText("/mnt/hd1/zul_tunermode"), "2\n");
    EXPECT_EQ(mAgent.Get("TUNER_MODE"), "2");
    EXPECT_NE(Ask("STATUS")[0].find("F:QAM256 "), std::string::npos);
    EXPECT_EQ(Ask("TUNERMODE,1"), kOk) << "a comma reads as 0";
    EXPECT_EQ(Ask("TUNERMODE 1"), kOk);
    Boot();
    EXPECT_EQ(mAgent.Get("TUNER_MODE"), "1");
    mDaemon.Set(board::Fault::kLying);
    EXPECT_EQ(Ask("TUNERMODE0"), kKo);
    EXPECT_EQ(mAgent.Get("TUNER_MODE"), "1");
}

TEST_F(CommandManagerTest, PacketSizeIsSavedUnrounded) {
    EXPECT_EQ(Ask("MCASTPACKETSIZE1000"), kOk);
    EXPECT_EQ(FileText("/mnt/hd1/zul_packet_size"), "1000");
    mDaemon.Set(board::Fault::kLying);
    EXPECT_EQ(Ask("MCASTPACKETSIZE2000"), kOk) << "the result of the save isn't told";
    EXPECT_EQ(FileText("/mnt/hd1/zul_packet_size"), "1000");
}

TEST_F(CommandManagerTest, NetworkIdentity) {
    mAgent.Put("DHCP_ENABLE", "1");
    mAgent.Put("IP_ADDRESS", "10.0.0.1");
    mAgent.Put("IP_GATEWAY", "10.0.0.254");
    mAgent.Put("IP_MASK", "255.0.0.0");
    EXPECT_EQ(Ask("IP?"), Texts{"DHCP:1 MAC:02005e100001 IP:10.0.0.1 GW:10.0.0.254 NM:255.0.0.0 OK\r\n"});
    struct Case { const char* request; Texts reply; std::string dhcp, address; };
    const Case cases[] = {
        {"DHCP0,192.168.0.10,192.168.0.1,255.255.255.0", kOk, "0", "192.168.0.10"}, {"DHCP\r\n", kOk, "1", "192.168.0.10"},
        {"DHCP1,1.2.3.4,5.6.7.8,255.0.0.0", kOk, "1", "192.168.0.10"}, {"DHCP2,%n%s%d", kOk, "2", "%n%s%d"},
    };
    for (const Case& step : cases) {
        EXPECT_EQ(Ask(step.request), step.reply) << step.request;
        EXPECT_EQ(mAgent.Get("DHCP_ENABLE"), step.dhcp) << step.request;
        EXPECT_EQ(mAgent.Get("IP_ADDRESS"), step.address) << step.request;
    }
    mAgent.AnswerWith("NETWORK_COMMIT", "no");
    EXPECT_EQ(Ask("DHCP1"), (Texts{"OK\r\n", "KO\r\n"})) << "the first reply left before the commit failed";
    mAgent.AnswerWith("IP_ADDRESS", "no");
    EXPECT_EQ(Ask("IP?"), kKo);
    EXPECT_EQ(Ask("DHCP0,1.1.1.1"), kKo);
    UpgradeState() = CommandManager::eUpgradeDownloading;
    mAgent.Requests().Clear();
    EXPECT_EQ(Ask("DHCP1"), kKo);
    EXPECT_TRUE(mAgent.Requests().All().empty());
}

TEST_F(CommandManagerTest, UpgradeOverAllItsStates) {
    const auto piece = [](std::size_t size) { return "UPGR:" + std::string(size, '\x7f'); };
    const std::string ok = "OK\r\n", ko = "KO\r\n", busy = ko + " Invalid state 2\r\n", size = ko + " File too large or too small: ";
    const std::string noBurn = ko + " Error starting burn process\r\n";
    struct Then { std::string reply; int state; };
    struct Row {
        std::string request;
        bool refused;  ///< by the agent
        Then idle, downloading, burning, downloadError, burnError;
    };
    // What brings a board that did nothing yet into each state; downloading has 5 bytes of 20.
    const std::vector<std::string> ways[] = {{}, {"UPGR20", piece(5)}, {"UPGR11", piece(11)}, {"UPGR11", piece(12)}, {"UPGR11", piece(11)}};
    // clang-format off
    const Row rows[] = {
        {"UPGR?", false, {"UPGRSTATUS0 OK\r\n\r\n", 0}, {"UPGRSTATUS1 OK\r\n\r\n", 1}, {"UPGRSTATUS2 OK\r\n\r\n", 2},
                         {"UPGRSTATUS3 OK\r\n\r\n", 3}, {"UPGRSTATUS4 OK\r\n\r\n", 4}},
        {"UPGR10", false, {size + "10\r\n", 0}, {size + "10\r\n", 3}, {busy, 2}, {size + "10\r\n", 3}, {size + "10\r\n", 4}},
        {"UPGR1000000001", false, {size + "1000000001\r\n", 0}, {size + "1000000001\r\n", 3}, {busy, 2},
                                  {size + "1000000001\r\n", 3}, {size + "1000000001\r\n", 4}},
        {"UPGRx", false, {size + "0\r\n", 0}, {size + "0\r\n", 3}, {busy, 2}, {size + "0\r\n", 3}, {size + "0\r\n", 4}},
        {"UPGR11", false, {ok, 1}, {ok, 1}, {busy, 2}, {ok, 1}, {ok, 1}},
        {"UPGR1000000000", false, {ok, 1}, {ok, 1}, {busy, 2}, {ok, 1}, {ok, 1}},
        {piece(5), false, {size + "0\r\n", 0}, {ok, 1}, {busy, 2}, {size + "0\r\n", 3}, {size + "0\r\n", 4}},
        {piece(15), false, {size + "0\r\n", 0}, {ok, 2}, {busy, 2}, {size + "0\r\n", 3}, {size + "0\r\n", 4}},
        {piece(15), true, {size + "0\r\n", 0}, {noBurn, 4}, {busy, 2}, {size + "0\r\n", 3}, {size + "0\r\n", 4}},
        {piece(16), false, {size + "0\r\n", 0}, {ko + " Error saving upgrade file at 21 of 20 bytes\r\n", 3}, {busy, 2},
                           {size + "0\r\n", 3}, {size + "0\r\n", 4}},
        {"UNIT0", false, {ok, 0}, {ko, 1}, {ko, 2}, {ok, 3}, {ok, 4}},
    };
    // clang-format on
    const auto refuse = [&](bool refused) {
        mAgent.AnswerWith("MULTIPLE_UPGRADE", refused ? std::optional<std::string>("no") : std::nullopt);
    };
    for (const Row& row : rows) {
        const Then* const thens[] = {&row.idle, &row.downloading, &row.burning, &row.downloadError, &row.burnError};
        for (int state = 0; state <= CommandManager::eUpgradeBurnError; ++state) {
            const auto where = [&] { return row.request.substr(0, 20) + " in state " + std::to_string(state); };
            UpgradeState() = CommandManager::eUpgradeIdle;
            refuse(state == CommandManager::eUpgradeBurnError);
            for (const std::string& request : ways[state]) Ask(request);
            ASSERT_EQ(UpgradeState(), state) << where();
            refuse(row.refused);
            EXPECT_EQ(Ask(row.request), Texts{thens[state]->reply}) << where();
            EXPECT_EQ(UpgradeState(), thens[state]->state) << where();
            if (thens[state]->state == CommandManager::eUpgradeBurning && state == CommandManager::eUpgradeDownloading) {
                EXPECT_EQ(FileText("/mnt/hd4/multiple.tar"), std::string(20, '\x7f'));
                EXPECT_EQ(mAgent.Get("MULTIPLE_UPGRADE"), "ide:///mnt/hd4/multiple.tar");
            }
        }
    }
    for (const auto state : {CommandManager::eUpgradeDownloading, CommandManager::eUpgradeBurning}) {
        UpgradeState() = state;
        for (const char* held : {"BLIND0", "Tuner://5"}) EXPECT_EQ(Ask(held), kKo) << held << state;
    }
    UpgradeState() = CommandManager::eUpgradeIdle;
    mDaemon.Set(board::Fault::kLying);
    EXPECT_EQ(Ask("UPGR11"), kOk) << "partition 4 stayed writable";
}

TEST_F(CommandManagerTest, TheLogChannelFollowsCallback) {
    EXPECT_EQ(Ask("CALLBACK1"), kOk);
    Ask("DEBUG2");
    const Texts lines = Ask("VERS");
    ASSERT_GE(lines.size(), 2u) << "log lines beside the reply";
    EXPECT_EQ(lines[0].substr(0, 5), "LOG: ");
    Ask("DEBUG0");
    Ask("CALLBACK0");
    mMaster.Take(50);
    EXPECT_EQ(Ask("REMOTE1"), kKo) << "no panic line on a closed channel";
}

TEST_F(CommandManagerTest, AScanAnswersItsQuestions) {
    const Texts before = Ask("SCA?");
    EXPECT_EQ(before, Texts{std::string("\0\0\0\0", 4)});
    Texts messages = Ask("Tuner://1f");
    for (const std::string& late : mMaster.TakeCount(3 - messages.size())) messages.push_back(late);
    std::sort(messages.begin(), messages.end());  // the scan's own messages come when they come
    EXPECT_EQ(messages, (Texts{"BLINDCMP:0 OK\r\n", "BLINDSTART:0 OK\r\n", "OK\r\n"}));
    EXPECT_EQ(Ask("SCA?"), Texts{std::string("\0\x20\0\5", 4)}) << "one behind the channel, nothing found, done";
    EXPECT_EQ(Ask("BLIND99"), kOk);
}

TEST_F(CommandManagerTest, AShortCommandReadsNothingOfTheOneBefore) {
    struct Case { const char* before; const char* request; const char* mode; };
    for (const Case& step : {Case{"TUNERMODE2", "TUNERMOD", "0"}, {"TUNERMODE11", "TUNERMODE1", "1"}, {"VERSxxxxx2", "TUNERMODE", "0"}}) {
        Ask(step.before);
        EXPECT_EQ(Ask(step.request), kOk) << step.request;
        EXPECT_EQ(mAgent.Get("TUNER_MODE"), step.mode) << step.request << " after " << step.before;
    }
}

TEST_F(CommandManagerTest, ALongReplyIsCutAndEndsInAZeroByte) {
    const std::size_t around = std::string("DHCP:0 MAC:02005e100001 IP: GW:GW NM:NM OK\r\n").size();
    mAgent.Put("IP_GATEWAY", "GW");
    mAgent.Put("IP_MASK", "NM");
    for (const std::size_t length : {1022u, 1023u, 1024u}) {
        mAgent.AnswerWith("IP_ADDRESS", "= : " + std::string(length - around, '5'));
        const std::string reply = Ask("IP?")[0];
        EXPECT_EQ(reply.size(), length);
        EXPECT_EQ(reply.back(), length == 1024 ? '\0' : '\n') << length;
    }
}

TEST_F(CommandManagerTest, AnAddressChangeIsAnsweredBeforeItHappens) {
    Texts heard;
    fast_machine::OnSleep([&](std::int64_t microseconds) {
        if (microseconds == 1'000'000) heard = mMaster.Take(1000);
    });
    mAgent.Requests().Clear();
    EXPECT_EQ(Ask("DHCP0,1.2.3.4,5.6.7.8,255.0.0.0"), Texts{}) << "no second reply";
    fast_machine::OnSleep(nullptr);
    EXPECT_EQ(heard, kOk);
    std::string sets;
    for (const board::SettingsRequest& request : mAgent.Requests().All()) sets += request.name + " " + request.type + " " + request.value + "\n";
    EXPECT_EQ(sets, "DHCP_ENABLE i 0\nIP_ADDRESS a 1.2.3.4\nIP_GATEWAY a 5.6.7.8\nIP_MASK a 255.0.0.0\nNETWORK_COMMIT i 0\n");
}

TEST_F(CommandManagerTest, AnAgentThatRefusesIsTold) {
    for (const char* name : {"REBOOT", "DHCP_ENABLE", "IP_ADDRESS", "IP_GATEWAY", "IP_MASK"}) mAgent.AnswerWith(name, "no");
    EXPECT_EQ(Ask("RESET"), kKo);
    EXPECT_EQ(Ask("IP?"), kKo);
    for (const char* name : {"DHCP_ENABLE", "IP_ADDRESS", "IP_GATEWAY", "IP_MASK"}) {  // the steps of a change, in their order
        EXPECT_EQ(Ask("DHCP0,1.1.1.1,2.2.2.2,3.3.3.3"), kKo) << name;
        mAgent.AnswerWith(name, std::nullopt);
    }
    EXPECT_EQ(Ask("DHCP0,1.1.1.1,2.2.2.2,3.3.3.3"), kOk);
}

TEST_F(CommandManagerTest, TheReportOfManyProgrammesGoesOutInWholeLines) {
    for (std::uint16_t id = 1; id <= 60; ++id) Tuner().AddProgramToScanResults(1, id);
    const Texts first = Ask("SCAL");
    EXPECT_EQ(first.size(), 3u) << "of 60 lines of 38 bytes";
    std::string all;
    for (const std::string& piece : first) {
        EXPECT_LT(piece.size(), 1024u + 60) << piece;
        EXPECT_EQ(piece.substr(0, 5), &piece == &first.back() && piece.size() == 11 ? "ffff\r" : "SCAL ");
        all += piece;
    }
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 62);
    EXPECT_EQ(all.substr(all.size() - 11), std::string("ffff\r\nOK\r\n\0", 11));
    EXPECT_EQ(Ask("SCAL"), first) << "from the first programme again";
}

TEST_F(CommandManagerTest, BenchCommandsDoTheirWork) {
    EXPECT_EQ(Ask("testser"), kKo);
    EXPECT_EQ(serialTests, 1);
    std::ofstream("in.ts") << "G";
    struct Case { const char* request; bool in, out; };
    for (const Case& step : {Case{"STREAMFROMFILE,in.ts,out.ts", true, true}, {"STREAMFROMFILE,in.ts", true, false}, {"STREAMFROMFILE,x,out.ts", false, true},
                             {"STREAMFROMFILE,none,out.ts", false, false}, {"STREAMFROMFIL,x", false, false}, {"STREAMFROMFILE", false, false}}) {
        EXPECT_EQ(Ask(step.request), kKo) << step.request;
        EXPECT_EQ(dbg_file_in != nullptr, step.in) << step.request;
        EXPECT_EQ(dbg_file_out != nullptr, step.out) << step.request;
    }
}

TEST_F(CommandManagerTest, FilterWalksWhatArrivesUntilAnEmptyDatagram) {
    using namespace transport;
    Blob stream = SectionPacket(0, 0, Pat(1, 0, {{1, 0x30}}));
    Append(stream, Filled(0x1FFE, 0, 0xFF));
    std::atomic<bool> done{false};
    std::thread host([&] {
        const Client packets;
        while (!done) {  // until somebody listens, and has heard enough
            packets.Send(6000, std::string(stream.begin(), stream.end()));
            usleep(500);
            packets.Send(6000, "");
        }
    });
    // It may begin to listen just in front of the empty datagram. Each time the same port is opened again.
    for (int turn = 0; turn < 100 && Statistics::Self()->mPatCounter == 0; ++turn) EXPECT_EQ(Ask("FILTER,6000"), kKo);
    EXPECT_GT(Statistics::Self()->mPatCounter, 0u);
    done = true;
    host.join();
    EXPECT_EQ(Ask("VERS"), Texts{"VERS0.82.14OK\r\n"});
}
