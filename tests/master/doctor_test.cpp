// The doctor's readings of the system and the network, its findings on a board, and why a television is dark.
#include "doctor/diagnosis.h"

#include <gtest/gtest.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <thread>

#include "doctor/screen.h"

namespace zulctl {
namespace {

using namespace std::chrono_literals;
using Level = Diagnosis::Level;

TEST(Routes, TheLongestMaskDecidesAndThenTheMetric) {
    const char* table =
        "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
        "wan0\t00000000\t0100000A\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"
        "eth1\t000000E0\t00000000\t0001\t0\t0\t20\t000000F0\t0\t0\t0\n"
        "eth0\t000000E0\t00000000\t0001\t0\t0\t10\t000000F0\t0\t0\t0\n"
        "down\t000000EF\t00000000\t0000\t0\t0\t0\t000000FF\t0\t0\t0\n"
        "damaged\n";
    EXPECT_EQ(RouteFor(table, *ParseAddress("239.1.1.1"))->interfaceName, "eth0");
    EXPECT_EQ(RouteFor(table, *ParseAddress("10.0.0.1"))->interfaceName, "wan0");
    EXPECT_FALSE(RouteFor("", 1));
}

TEST(Joins, AreSeenWhereTheSystemPutsThem) {
    EXPECT_EQ(InterfaceOfJoin(*ParseAddress("239.7.7.7"), 0), "eth0") << SystemText("/proc/net/igmp");
    EXPECT_EQ(InterfaceOfJoin(*ParseAddress("239.7.7.7"), static_cast<int>(if_nametoindex("lo"))), "lo");
    EXPECT_EQ(AddressText(*SourceTowards(*ParseAddress("239.7.7.7"), 0)), "10.0.0.1");
    for (const Diagnosis& item : ExamineMachine(*ParseAddress("239.7.7.7"), 0, 52440))
        EXPECT_NE(item.level, Level::kFault) << item.finding;
}

/// Sends an IP packet with one IGMP message on an interface, as a querier would.
void SendIgmp(int index, unsigned char type) {
    const int fd = socket(AF_PACKET, SOCK_DGRAM, 0);
    const unsigned char packet[] = {
        0x46, 0, 0, 32, 0,   0, 0, 0, 1,    2, 0, 0,  // a header with an option, as IGMP has
        10,   0, 0, 9,  224, 0, 0, 1, 0x94, 4, 0, 0, type, 100, 0, 0, 0, 0, 0, 0};
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_protocol = htons(ETH_P_IP);
    to.sll_ifindex = index;
    to.sll_halen = 6;
    std::memcpy(to.sll_addr, "\x01\x00\x5e\x00\x00\x01", 6);
    sendto(fd, packet, sizeof packet, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    close(fd);
}

TEST(Querier, IsHeardByItsQueriesAndByNothingElse) {
    const int index = static_cast<int>(if_nametoindex("lo"));  // which loops datagrams back
    const auto ear = QuerierEar::Open(index);
    if (!ear) GTEST_SKIP() << "this user may not listen";
    SendIgmp(index, 0x16);  // a report, as those of this machine
    EXPECT_FALSE(ear->Wait(Clock::now() + 500ms));
    SendIgmp(index, 0x11);
    const auto querier = ear->Wait(Clock::now() + 30s);
    ASSERT_TRUE(querier);
    EXPECT_EQ(AddressText(*querier), "10.0.0.9");
}

TEST(Findings, GoFromGoodToFault) {
    EXPECT_EQ(ExamineQuerier(true, 1, "eth0", 1s).level, Level::kGood);
    EXPECT_EQ(ExamineQuerier(true, std::nullopt, "eth0", 124s).level, Level::kNote);
    EXPECT_EQ(ExamineQuerier(true, std::nullopt, "eth0", 125s).level, Level::kFault);
    EXPECT_EQ(ExamineQuerier(false, std::nullopt, "eth0", 200s).level, Level::kNote);
    const Endpoint at{0x0A000001, 5000};
    const struct {
        BoardHealth board;
        std::vector<Level> levels;
    } rows[] = {
        {{"a", at, 4, {0.001}, "", ""}, {Level::kGood, Level::kGood, Level::kGood}},
        {{"a", at, 2, {0.5, 0.7}, "", "its answer went elsewhere"}, {Level::kNote, Level::kNote, Level::kFault}},
        {{"a", at, std::nullopt, {}, "a doesn't answer", ""}, {Level::kFault}},
    };
    for (const auto& row : rows) {
        std::vector<Level> levels;
        for (const Diagnosis& item : ExamineBoards({row.board}, true)) {
            levels.push_back(item.level);
            EXPECT_EQ(item.IsGood(), item.advice.empty()) << item.finding << " " << item.advice;
        }
        EXPECT_EQ(levels, row.levels);
    }
    const std::string text = Findings(ExamineBoards({}, true), 60, false);
    EXPECT_TRUE(text.starts_with("✗ boards      no board is heard")) << text;
    EXPECT_NE(text.find("\n              → Are boards on"), std::string::npos) << text;
}

constexpr std::uint32_t kGroup = 0xEF010101, kAttic = 0x0A000001, kStranger = 0x0A000009;

TransmitterStatus Sends(std::uint16_t port) {
    TransmitterStatus status;
    status.streams = {{1, true, {kGroup, port}, {3}}};
    status.locked = true;
    return status;
}

/// A receiver that plays programme 3 of a stream without fault.
ScreenView Bright() {
    ScreenView view{"the hall", ""};
    view.status.address = "239.1.1.1", view.status.port = 5000, view.status.playsStream = true;
    view.status.programme = 3;
    view.transmitters = {{"attic", kAttic, Sends(5000)}, {"cellar", 0x0A000002, TransmitterStatus()}};
    view.heard.sources = {kAttic};
    StreamReport& report = view.heard.report;
    report.datagrams = 100, report.packets = 700, report.bytes = 131600, report.seconds = 0.4;
    report.pat.sections = 4;
    ProgrammeReport& programme = report.programmes[3];
    programme.streams = {{0x02, 0x31, ""}, {0x81, 0x34, "eng"}};
    programme.pmt.sections = 4;
    report.pids[0x31].packets = 600, report.pids[0x34].packets = 90;
    return view;
}

void Silent(ScreenView& view) { view.heard = {}; }

// The causes that a network of boards shows are in tests/field/why.
TEST(Screen, NamesRareCausesWithTheirCure) {
    const struct {
        const char *cause, *says;
        std::function<void(ScreenView&)> spoil;
    } rows[] = {
        {"", "", [](ScreenView& view) { view.transmitters.clear(); }},  // an unknown sender is also good
        {"port", "sent to port 5001; zulctl -b 'the hall' play 239.1.1.1:5001",
         [](ScreenView& view) { Silent(view), view.transmitters[0].status = Sends(5001); }},
        {"network", "nothing comes to this machine", Silent},
        {"senders", "attic, 10.0.0.9 send", [](ScreenView& view) { view.heard.sources.insert(kStranger); }},
        {"senders", "attic, cellar send", [](ScreenView& view) { view.transmitters[1].status = Sends(5000); }},
        {"programme", "plays programme 0004, and the stream carries 0003",
         [](ScreenView& view) { view.status.programme = 4; }},
        {"programme", "finds no programme", [](ScreenView& view) { view.status.programme = 0; }},
        {"programme", "neither picture nor sound", [](ScreenView& view) { view.heard.report.pids.clear(); }},
    };
    for (const auto& row : rows) {
        ScreenView view = Bright();
        row.spoil(view);
        const auto findings = ExamineScreen(view);
        ASSERT_FALSE(findings.empty());
        EXPECT_EQ(findings.back().IsGood() ? "" : findings.back().check, row.cause) << findings.back().finding;
        const std::string text = findings.back().finding + "; " + findings.back().advice;
        EXPECT_NE(text.find(row.says), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace zulctl
