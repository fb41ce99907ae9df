// The stream table, the language filter, and how little a full load holds up.
#include <functional>
#include <thread>

#include "core/statistics.h"
#include "filter/filter_fixture.h"
#include "support/output.h"

using namespace transport;

class StreamsTest : public TsFilterTest {
 protected:
    std::vector<int> IdsOn(unsigned pid) {
        std::vector<int> ids;
        if (!Row(pid).streamers) return ids;
        for (const Streamer* streamer : *Row(pid).streamers) ids.push_back(streamer->IdGet());
        return ids;
    }
    using Ids = std::vector<int>;

    /// Adds two streams whose sends fail. \return 20 datagrams for each
    Blob AddFailingStreams() {
        mFilter.SetDebugOutput(nullptr);
        Row(0x30).programId = Row(0x30).transportId = 7;
        for (const int id : {0, 3}) {
            mFilter.AddStream(id, "no address", 5000);
            mFilter.AddProgramToStream(id, 7, 7);
        }
        Row(0x30).status = ePidKnown;
        Blob bytes;
        for (unsigned i = 0; i < 7 * 20; ++i) Append(bytes, Filled(0x30, i, 5));
        return bytes;
    }
};

TEST_F(StreamsTest, AStreamCarriesPsiItsProgrammeAndWhatNobodyClaims) {
    Row(0x30).programId = Row(0x31).programId = 1;
    Row(0x30).transportId = Row(0x31).transportId = 7;
    Row(0x40).programId = 2;
    Row(0x40).transportId = 7;
    Row(0x50).count = 2;
    Row(0x51).count = 1;
    Row(0x52).count = 2;
    Row(0x52).type = ePidEit;
    Row(0x14).status = ePidKnown;
    AddEagerStream(3);
    mFilter.AddProgramToStream(3, 7, 1);
    for (const unsigned pid : {0x0u, 0x1u, 0x10u, 0x14u, 0x1FFBu, 0x30u, 0x31u, 0x50u, 0x52u})
        EXPECT_EQ(IdsOn(pid), Ids{3}) << pid;
    for (const unsigned pid : {0x15u, 0x40u, 0x51u, 0x1FFFu}) EXPECT_EQ(IdsOn(pid), Ids{}) << pid;
    EXPECT_EQ(Row(0x50).status, ePidKnown);
    EXPECT_EQ(Row(0x14).status, ePidUnknown) << "PSI is analysed";
    EXPECT_EQ(Row(0x52).status, ePidUnknown) << "its sections are still read";
    const auto status = mFilter.StatusOfStreams();
    ASSERT_EQ(status.size(), 1u);
    EXPECT_EQ(status[0].programs, std::list<std::uint16_t>{1});
    EXPECT_TRUE(mFilter.RemoveStream(3));
    EXPECT_TRUE(mFilter.RemoveStream(3)) << "an empty slot";
    for (const int id : {-1, 8}) EXPECT_FALSE(mFilter.RemoveStream(id)) << id;
    EXPECT_TRUE(mFilter.StatusOfStreams().empty());
    EXPECT_EQ(IdsOn(0x30), Ids{});
}

TEST_F(StreamsTest, TheWholeMultiplexLeavesNoiseAndPrivateTablesOut) {
    const struct {
        unsigned pid, count;
        std::int8_t status;
        Ids wanted;
    } kRows[] = {
        {0x30, 3, ePidKnown, {0}}, {0x31, 2, ePidKnown, {}}, {0x32, 9, ePidIgnored, {}}, {0x33, 9, ePidUnknown, {0}}};
    for (const auto& row : kRows) {
        Row(row.pid).programId = 1;
        Row(row.pid).count = row.count;
        Row(row.pid).status = row.status;
    }
    AddEagerStream(0);
    mFilter.AddAllProgramsToStream(0);
    for (const auto& row : kRows) EXPECT_EQ(IdsOn(row.pid), row.wanted) << row.pid;
    EXPECT_TRUE(mFilter.AddStream(0, "239.1.1.2", 5001)) << "a new destination";
    const auto status = mFilter.StatusOfStreams().at(0);
    EXPECT_EQ(std::string(status.address) + ":" + std::to_string(status.port), "239.1.1.2:5001");
    EXPECT_EQ(status.programs, std::list<std::uint16_t>{1});
}

TEST_F(StreamsTest, AtMost256PidsThatNobodyClaimsUntilTheNextStart) {
    for (unsigned pid = 0x100; pid < 0x100 + 300; ++pid) Row(pid).count = 2;
    Row(0).count = 2;  // PSI, which is attached already, counts too
    for (const int id : {0, 1}) mFilter.AddStream(id, "239.1.1.1", 5000);
    EXPECT_EQ(IdsOn(0x100 + 254), Ids{0});
    EXPECT_EQ(IdsOn(0x100 + 255), Ids{});
    std::string cmd = "239.1.1.1,5000,5,7,1";
    EXPECT_TRUE(mFilter.StartMulticast(2, cmd.data()));
    EXPECT_EQ(IdsOn(0x100), (Ids{0, 2}));
}

TEST_F(StreamsTest, StartTunesWaitsAttaches_StopDetachesAndCleans) {
    std::string cmd = "239.1.1.1,5000,1f,7,1,7";  // a first id without a second ends the list
    Row(0x30).programId = 1;
    Row(0x30).transportId = 7;
    FeedProved(SectionPacket(0, 0, Pat(7, 1, {{1, 0x30}})));
    ASSERT_EQ(Sections(), 1u);
    Statistics::Self()->AddNoSync();
    fast_machine::OnSleep([&](std::int64_t microseconds) {
        if (microseconds != 5000000) return;
        EXPECT_EQ(Sections(), 0u) << "the sections are reset before the table fills";
        for (unsigned i = 0; i < 2; ++i) FeedProved(SectionPacket(0, i, Pat(7, 1, {{1, 0x30}})));
    });
    fast_machine::TakeSleeps();
    EXPECT_TRUE(mFilter.StartMulticast(0, cmd.data()));
    fast_machine::OnSleep(nullptr);
    EXPECT_EQ(fast_machine::TakeShellLines(), std::vector<std::string>{"m710cmmd -atsc 31 >/dev/null"});
    EXPECT_EQ(fast_machine::TakeSleeps(), (std::vector<std::int64_t>{3000000, 5000000}));
    EXPECT_NE(Printed([] { Statistics::Self()->DumpStats(); }).find("No Sync 0\n"), std::string::npos);
    mFilter.SetPacketSize(0);
    for (unsigned i = 0; i < 2; ++i) FeedProved(SectionPacket(0, 2 + i, Pat(7, 1, {{1, 0x30}})));
    EXPECT_EQ(TakeOutput().size(), kPacket) << "the first PAT builds the private one, the second sends it";
    EXPECT_EQ(IdsOn(0x30), Ids{0});
    mFilter.AddStream(5, "239.1.1.2", 5001);
    EXPECT_TRUE(mFilter.StopMulticast(0, true));
    EXPECT_EQ(Row(0x30).programId, 1) << "another stream is left: the table stays";
    EXPECT_TRUE(Feed(Filled(0x30, 0, 0))) << "and the filter keeps running";
    EXPECT_TRUE(mFilter.StopMulticast(-1, true));
    EXPECT_EQ(Row(0x30).programId, 0);
    EXPECT_EQ(Row(0).type, ePidPat);
    EXPECT_FALSE(Feed(Filled(0x30, 0, 0)));
    for (const bool scan : {true, false}) {
        EXPECT_TRUE(mFilter.EnterScanMode(scan));
        EXPECT_EQ(Feed(Filled(0x30, 0, 0)), scan);
    }
}

TEST_F(StreamsTest, AStopIsNotHeldUpByFailingSends) {
    const Blob bytes = AddFailingStreams();
    int reconnects = 0;
    std::thread stop;
    const auto host = std::this_thread::get_id();
    fast_machine::OnSleep([&](std::int64_t) {
        if (std::this_thread::get_id() != host || ++reconnects != 1) return;
        stop = std::thread([&] { mFilter.StopMulticast(-1, true); });
        for (int turn = 0; turn < 2000 && (IsActive(0) || IsActive(3)); ++turn) usleep(1000);
    });
    Feed(bytes);
    stop.join();
    fast_machine::OnSleep(nullptr);
    EXPECT_EQ(reconnects, 1) << "of 20 datagrams for each stream";
}

TEST_F(StreamsTest, QuestionsWaitForABufferOfFailingSendsAtMost) {
    const Blob bytes = AddFailingStreams();
    fast_machine::SetSpeed(1000);  // 0.1 ms a datagram
    std::atomic<int> buffers{0};
    std::atomic<bool> run{true};
    std::thread host([&] {
        for (; run; ++buffers) Feed(bytes);
    });
    const std::pair<const char*, std::function<void()>> questions[] = {
        {"STATUS", [&] { EXPECT_EQ(mFilter.StatusOfStreams().size(), 2u); }},
        {"LANG", [&] { mFilter.SetLanguageFilter("eng", 0, "", 0); }},
        {"DUMPPIDS", [&] { mFilter.DumpPids(); }}};
    for (int turn = 0; turn < 10; ++turn) {
        for (const auto& [name, ask] : questions) {
            const int before = buffers;
            ask();
            EXPECT_LE(buffers - before, 2) << name << ": the end of one, and one counted late";
        }
    }
    run = false;
    host.join();
}

TEST_F(StreamsTest, LanguageFilterBlocksOtherAudioAsLongAsOneMatches) {
    for (const unsigned pid : {0x34u, 0x35u, 0x36u}) {
        Row(pid).streamType = 0x81;
        std::snprintf(Row(pid).audioLanguage, 4, "%s", pid == 0x35 ? "spa" : "eng");
        Row(pid).audioLangType = pid == 0x36 ? 3 : 0;
    }
    const struct {
        const char* pri;
        int priType;
        const char* sec;
        int secType;
        std::string blocked;
    } steps[] = {
        {"eng", 0, "", 0, "011"}, {"fra", 0, "deu", 0, "011"}, {"spa", 0, "", 0, "101"},
        {"eng", 9, "", 0, "101"}, {"spa", 0, "eng", 3, "100"},
    };
    for (const auto& step : steps) {
        EXPECT_TRUE(mFilter.SetLanguageFilter(step.pri, step.priType, step.sec, step.secType));
        std::string blocked;
        for (const unsigned pid : {0x34u, 0x35u, 0x36u}) blocked += Row(pid).block ? '1' : '0';
        EXPECT_EQ(blocked, step.blocked) << step.pri << step.priType << step.sec << step.secType;
    }
}
