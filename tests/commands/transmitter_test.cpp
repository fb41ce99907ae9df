// A transmitter's commands: request and reply, what reaches the agent, the tuner and the disk.
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <thread>
#include <utility>

#include "commands/command_fixture.h"
#include "core/statistics.h"
#include "guide/tunermanager.h"
#include "scarce_memory.h"
#include "transport.h"
#include "zul_version.h"

namespace {

int serialTests = 0;
bool failsClosing = false;

/// \return whether this process has a file of that name open
bool IsOpen(const std::string& name) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (std::filesystem::read_symlink(entry.path()).filename() == name) return true;
    }
    return false;
}

}  // namespace

/// The host's serial test.
extern "C" void run_serial_test();
void run_serial_test() { ++serialTests; }

/// In front of the C library's for this program.
extern "C" int fclose(FILE* file) {
    static const auto close = reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "fclose"));
    return std::exchange(failsClosing, false) ? close(file), EOF : close(file);
}

TEST_F(CommandManagerTest, EveryRequestHasItsReply) {
    for (const char* request :
         {"VER",      " VERS",   "",           "X",           "UNIT",    "UNITx",    "UNIT1",    "UNIT4",   "UNIT4,2",
          "UNIT6",    "UNIT9,1", "TUNERMODE3", "TUNERMODE-1", "DEBUG0",  "DUMPPIDS", "DUMPCOL",  "DUMPEIT", "DUMPLANG",
          "DBGSIMPL", "TESTSER", "FILTER",     "FILTERS",     "EITX1,2", "EITI1,2",  "EITL1,2,0"}) {
        EXPECT_EQ(Ask(request), kKo) << request;
    }
    for (const char* request :
         {"UNIT1,239.1.1.1,5000", "UNIT1,239.1.1.256,5000,5", "UNIT3,239.1.1.1,5000", "UNIT4,8,239.1.1.1,5000,5",
          "UNIT4,-1,239.1.1.1,5000,5", "MCASTPACKETSIZE32769", "MCASTPACKETSIZE-1", "M710CMMD -stopall"}) {
        EXPECT_EQ(Ask(request), kKo) << request;
    }
    EXPECT_TRUE(fast_machine::TakeShellLines().empty()) << "a refused command tunes nothing";
    for (const auto& row : Keywords()) {  // no keyword cut by a character reaches its row
        const std::string text(row.keyword.substr(0, row.chars - 1));
        if (text == "SUB" || text == "LAN") continue;
        EXPECT_EQ(Ask(text), kKo) << text;
    }
    for (const auto& row : Keywords()) {
        if (row.roles != Roles::kReceiver) continue;
        EXPECT_EQ(Ask(std::string(row.keyword)), kKo) << row.keyword;
    }
    EXPECT_EQ(FileText("/mnt/hd1/zul_def_startup"), "") << "a refused command saves nothing";
    for (const char* request : {"VIDEO", "RESET", "UNIT4,3,239.1.1.1,5000,1f", "UNIT5,2", "UNIT0", "LANGeng,0", "LANG",
                                "SUBS1", "CALLBACK10", "CALLBACK0", "MCASTPACKETSIZE32768", "BLIND99"}) {
        EXPECT_EQ(Ask(request), kOk) << request;
    }
    const std::pair<const char*, std::string> others[] = {
        {"VERS", "VERS" ZUL_VERSION "OK\r\n"},    {"vers\r\n", "VERS" ZUL_VERSION "OK\r\n"},
        {"VERSION", "VERS" ZUL_VERSION "OK\r\n"}, {"TIME", "TIME acd4 0000 OK\r\n"},
        {"BLIND4", "BLINDSTART:0 KO\r\n"},        {"EITN1,2", "EITI OK\r\n"},
        {"UPGR?", "UPGRSTATUS0 OK\r\n\r\n"},      {"SCAL", {"ffff\r\nOK\r\n\0", 11}},
    };
    EXPECT_EQ(Ask("SCA?"), Texts{std::string("\0\x1F\0\0", 4)}) << "tuned by UNIT4, and no scan so far";
    for (const auto& [request, reply] : others) EXPECT_EQ(Ask(request), Texts{reply}) << request;
}

// tests/field/protocol tries the document's examples on whole boards.
TEST_F(CommandManagerTest, TheDocumentHasTheKeywordsAndTheirRoles) {
    constexpr const char* kRoles[] = {"both", "transmitter", "receiver"};
    std::vector<std::pair<std::string, std::string>> documented, inTable;
    for (const auto& row : Keywords()) inTable.emplace_back(row.keyword, kRoles[static_cast<std::size_t>(row.roles)]);
    std::ifstream page(ZUL_SOURCE_DIR "/docs/protocol.md");
    for (std::string line, keyword; std::getline(page, line);) {
        if (line.starts_with("### ")) keyword = line.substr(4);
        if (line.starts_with("- Role: ")) documented.emplace_back(keyword, line.substr(8));
    }
    EXPECT_EQ(documented, inTable);
}

TEST_F(CommandManagerTest, ARequestThatFindsNoMemoryIsRefused) {
    EXPECT_EQ(Ask("UNIT1,239.1.1.1,5000,5,1a2b,3c4d"), kOk);
    const std::string status = Ask("STATUS")[0];
    for (const char* request : {"STATUS", "MCASTPACKETSIZE1316", "UPGR11"}) {
        mMaster.Send(kPort, request);
        gBlocksLeft = 0;
        Serve();
        EXPECT_EQ(std::exchange(gBlocksLeft, -1), -1) << request;
        EXPECT_EQ(mMaster.Take(), kKo) << request;
        EXPECT_FALSE(mDaemon.IsWritable(1)) << request;
    }
    EXPECT_EQ(Ask("STATUS")[0].substr(0, 30), status.substr(0, 30));
    EXPECT_EQ(Ask("UPGR?"), Texts{"UPGRSTATUS0 OK\r\n\r\n"});
}

TEST_F(CommandManagerTest, NetworkIdentity) {
    mAgent.Put("DHCP_ENABLE", "1");
    mAgent.Put("IP_ADDRESS", "10.0.0.1");
    mAgent.Put("IP_GATEWAY", "10.0.0.254");
    mAgent.Put("IP_MASK", "255.0.0.0");
    EXPECT_EQ(Ask("IP?"), Texts{"DHCP:1 MAC:02005e100001 IP:10.0.0.1 GW:10.0.0.254 NM:255.0.0.0 OK\r\n"});
    const struct {
        std::string request, dhcp, address;
    } rows[] = {{"DHCP0,192.168.0.10,192.168.0.1,255.255.255.0", "0", "192.168.0.10"},
                {std::string("DHCP\r\n\0", 7), "1", "192.168.0.10"},  // no comma, so no text for the number to end at
                {"DHCP1,1.2.3.4,5.6.7.8,255.0.0.0", "1", "192.168.0.10"},
                {"DHCP2,%n%s%d", "2", "%n%s%d"}};
    for (const auto& row : rows) {
        EXPECT_EQ(Ask(row.request), kOk) << row.request;
        EXPECT_EQ(mAgent.Get("DHCP_ENABLE"), row.dhcp) << row.request;
        EXPECT_EQ(mAgent.Get("IP_ADDRESS"), row.address) << row.request;
    }
    mAgent.AnswerWith("NETWORK_COMMIT", "no");
    EXPECT_EQ(Ask("DHCP1"), (Texts{"OK\r\n", "KO\r\n"})) << "the first reply left before the commit failed";
    UpgradeState() = CommandManager::eUpgradeDownloading;
    mAgent.Requests().Clear();
    EXPECT_EQ(Ask("DHCP1"), kKo);
    EXPECT_TRUE(mAgent.Requests().All().empty());
}

TEST_F(CommandManagerTest, UpgradeOverAllItsStates) {
    const auto piece = [](std::size_t size) { return "UPGR:" + std::string(size, '\x7f'); };
    const std::string ok = "OK\r\n", ko = "KO\r\n", busy = ko + " Invalid state 2\r\n";
    struct Then {
        std::string reply;
        int state;
    };
    using Thens = std::array<Then, 5>;  // idle, downloading, burning, download error, burn error
    const auto badSize = [&](const std::string& told) -> Thens {
        const std::string reply = ko + " File too large or too small: " + told + "\r\n";
        return {{{reply, 0}, {reply, 3}, {busy, 2}, {reply, 3}, {reply, 4}}};
    };
    const auto takesPiece = [&](const Then& downloading) {
        Thens thens = badSize("0");
        thens[1] = downloading;
        return thens;
    };
    const Thens begins{{{ok, 1}, {ok, 1}, {busy, 2}, {ok, 1}, {ok, 1}}};
    Thens told;
    for (int state = 0; state < 5; ++state)
        told[static_cast<std::size_t>(state)] = {"UPGRSTATUS" + std::to_string(state) + " OK\r\n\r\n", state};
    // The requests that bring a new board into each state; downloading has 5 bytes of 20.
    const std::vector<std::string> ways[] = {
        {}, {"UPGR20", piece(5)}, {"UPGR11", piece(11)}, {"UPGR11", piece(12)}, {"UPGR11", piece(11)}};
    const struct {
        std::string request;
        bool refused;  ///< by the agent
        Thens thens;
    } rows[] = {{"UPGR?", false, told},
                {"UPGR10", false, badSize("10")},
                {"UPGR1000000001", false, badSize("1000000001")},
                {"UPGRx", false, badSize("0")},
                {"UPGR11", false, begins},
                {"UPGR1000000000", false, begins},
                {piece(5), false, takesPiece({ok, 1})},
                {piece(15), false, takesPiece({ok, 2})},
                {piece(15), true, takesPiece({ko + " Error starting burn process\r\n", 4})},
                {piece(16), false, takesPiece({ko + " Error saving upgrade file at 21 of 20 bytes\r\n", 3})},
                {"UNIT0", false, {{{ok, 0}, {ko, 1}, {ko, 2}, {ok, 3}, {ok, 4}}}}};
    const auto refuse = [&](bool refused) {
        mAgent.AnswerWith("MULTIPLE_UPGRADE", refused ? std::optional<std::string>("no") : std::nullopt);
    };
    for (const auto& row : rows) {
        for (int state = 0; state <= CommandManager::eUpgradeBurnError; ++state) {
            const Then& then = row.thens[static_cast<std::size_t>(state)];
            const auto where = [&] { return row.request.substr(0, 20) + " in state " + std::to_string(state); };
            UpgradeState() = CommandManager::eUpgradeIdle;
            refuse(state == CommandManager::eUpgradeBurnError);
            for (const std::string& request : ways[state]) Ask(request);
            ASSERT_EQ(UpgradeState(), state) << where();
            refuse(row.refused);
            EXPECT_EQ(Ask(row.request), Texts{then.reply}) << where();
            EXPECT_EQ(UpgradeState(), then.state) << where();
            if (then.state == CommandManager::eUpgradeBurning && state == CommandManager::eUpgradeDownloading) {
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
    Ask("UPGR11");
    failsClosing = true;
    EXPECT_EQ(Ask(piece(11)), Texts{ko + " Error saving upgrade file at 11 of 11 bytes\r\n"});
    EXPECT_EQ(UpgradeState(), CommandManager::eUpgradeDownloadError) << "the system reported the failed write late";
    mDaemon.Set(board::Fault::kLying);
    EXPECT_EQ(Ask("UPGR11"), kOk) << "partition 4 stayed writable";
}

TEST_F(CommandManagerTest, AShortCommandReadsNothingOfTheOneBefore) {
    const struct {
        const char *before, *request, *mode;
    } rows[] = {{"TUNERMODE2", "TUNERMOD", "0"},
                {"TUNERMODE11", "TUNERMODE1", "1"},
                {"VERSxxxxx2", "TUNERMODE", "0"},
                {"VERS", "TUNERMODE 1", "1"},
                {"VERS", "TUNERMODE,1", "0"}};
    for (const auto& row : rows) {
        Ask(row.before);
        EXPECT_EQ(Ask(row.request), kOk) << row.request;
        EXPECT_EQ(mAgent.Get("TUNER_MODE"), row.mode) << row.request << " after " << row.before;
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
    for (const auto& set : mAgent.Requests().All()) sets += set.name + " " + set.type + " " + set.value + "\n";
    EXPECT_EQ(sets,
              "DHCP_ENABLE i 0\nIP_ADDRESS a 1.2.3.4\nIP_GATEWAY a 5.6.7.8\nIP_MASK a 255.0.0.0\nNETWORK_COMMIT i 0\n");
}

TEST_F(CommandManagerTest, AnAgentThatRefusesIsTold) {
    mAgent.AnswerWith("REBOOT", "no");
    EXPECT_EQ(Ask("RESET"), kKo);
    for (const char* name : {"DHCP_ENABLE", "IP_ADDRESS", "IP_GATEWAY", "IP_MASK"}) {
        mAgent.AnswerWith(name, "no");
        EXPECT_EQ(Ask("IP?"), kKo) << name;
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
    const struct {
        const char* names;
        bool in, out;
    } rows[] = {{",in.ts,out.ts", true, true},  {",in.ts", true, false},       {",x,out.ts", false, true},
                {",none,out.ts", false, false}, {",/nowhere/x", false, false}, {"", false, false}};
    for (const auto& row : rows) {
        EXPECT_EQ(Ask(std::string("STREAMFROMFILE") + row.names), kKo) << row.names;
        EXPECT_EQ(IsOpen("in.ts"), row.in) << row.names;
        EXPECT_EQ(IsOpen("out.ts"), row.out) << row.names;
    }
}

TEST_F(CommandManagerTest, FilterWalksWhatArrivesUntilAnEmptyDatagram) {
    using namespace transport;
    Blob stream = SectionPacket(0, 0, Pat(1, 0, {{1, 0x30}}));
    Append(stream, Filled(0x1FFE, 0, 0xFF));
    std::atomic<bool> done{false};
    std::thread host([&] {
        const Client packets;
        while (!done) {  // until there is a listener that has received enough
            packets.Send(6000, std::string(stream.begin(), stream.end()));
            usleep(500);
            packets.Send(6000, "");
        }
    });
    // It may begin to listen just in front of the empty datagram. Each time the same port is opened again.
    for (int turn = 0; turn < 5000 && Statistics::Self()->mPatCounter == 0; ++turn) EXPECT_EQ(Ask("FILTER,6000"), kKo);
    EXPECT_GT(Statistics::Self()->mPatCounter, 0u);
    done = true;
    host.join();
    EXPECT_EQ(Ask("VERS"), Texts{"VERS" ZUL_VERSION "OK\r\n"});
}
