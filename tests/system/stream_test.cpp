// What a transmitter sends after UNIT requests, compared packet by packet with what its tuner played.
#include <gtest/gtest.h>

#include <algorithm>

#include "evidence.h"

namespace board {
namespace {

constexpr std::size_t kEnough = 400'000;  ///< bytes of a stream to judge, some seconds of it

class Streams : public Transmission {
 protected:
    /// A stream is whole when every packet of its PIDs is there, and its PAT lists each programme of the broadcast in
    /// its place, with its PID and its own number or, unless it is in `carried`, 0.
    void ExpectWhole(const Evidence& evidence, const std::set<int>& carried) {
        ASSERT_FALSE(evidence.pats.empty());
        PatEntries expected;
        for (const auto& programme : multiplex.programmes) {
            expected.emplace_back(carried.contains(programme.number) ? programme.number : 0, programme.pmtPid);
        }
        for (const auto& pat : evidence.pats) EXPECT_EQ(pat, expected);
        EXPECT_EQ(Difference(evidence.pids, played), "");
        EXPECT_EQ(evidence.report.continuityErrors, 0u);
        EXPECT_EQ(evidence.report.syncLosses, 0u);
        EXPECT_FALSE(evidence.Has(0x1FFF));
        EXPECT_TRUE(evidence.Has(0x1FFB));
        for (const auto& programme : multiplex.programmes) {
            for (const int pid : PidsOf(programme)) {
                EXPECT_EQ(evidence.Has(pid), carried.contains(programme.number)) << "PID " << pid;
            }
        }
    }
};

TEST_F(Streams, OfOneProgrammeCarryItAlone) {
    const Evidence evidence = group.Collect(kEnough);
    ExpectWhole(evidence, {1});
    EXPECT_EQ(evidence.datagramSizes, std::set<std::size_t>{1316});
    const auto patsPerPicture = [video = multiplex.programmes[0].video->pid](const PacketsByPid& pids) {
        return static_cast<double>(pids.at(0).size()) / static_cast<double>(pids.at(video).size());
    };
    EXPECT_NEAR(patsPerPicture(evidence.pids) / patsPerPicture(SortPackets(played)), 1, 0.25)
        << "the PAT comes as often as the broadcast's";
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 1 0 239.1.1.1:5001 0:1:ff:[0001] F:ATSC "));
    EXPECT_EQ(board.Ask("UNIT0"), "OK\r\n");
    EXPECT_TRUE(group.IsSilent());
}

TEST_F(Streams, OfAWholeChannelCarryAllButNullPackets) {
    for (const std::string request : {"UNIT1,239.1.1.1,5001,7", "UNIT2,239.1.1.1,5001,7,4d,1"}) {
        EXPECT_EQ(board.Ask(request), "OK\r\n");
        ExpectWhole(group.Collect(2 * kEnough), {1, 2, 3});
    }
    // UNIT2 drops the programmes when the third comma is among the first 48 characters; this one is the 49th.
    EXPECT_EQ(board.Ask("UNIT2,239.1.1.1," + std::string(32, '0') + "5001,7,4d,1"), "OK\r\n");
    ExpectWhole(group.Collect(kEnough), {1});
}

TEST_F(Streams, RunBesideEachOtherUntilEachIsStopped) {
    GroupListener second("239.1.1.2", 5001);
    EXPECT_EQ(board.Ask("UNIT4,1,239.1.1.1,5001,7,4d,1"), "OK\r\n");
    EXPECT_EQ(board.Ask("UNIT4,2,239.1.1.2,5001,7,4d,2,4d,3"), "OK\r\n");
    ExpectWhole(group.Collect(kEnough), {1});
    ExpectWhole(second.Collect(kEnough), {2, 3});
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"),
                           "STATUS 1 1 239.1.1.1:5001 0:1:ff:[0001] 1 2 239.1.1.2:5001 0:1:ff:[0002:0003] F:ATSC "));
    EXPECT_EQ(board.Ask("UNIT5,1"), "OK\r\n");
    EXPECT_TRUE(group.IsSilent());
    ExpectWhole(second.Collect(kEnough), {2, 3});
    EXPECT_EQ(board.Ask("UNIT4,2,239.1.1.1,5001,7,4d,1"), "OK\r\n") << "the slot serves another group";
    ExpectWhole(group.Collect(kEnough), {1});
    EXPECT_TRUE(second.IsSilent());
}

TEST_F(Streams, SendDatagramsOfTheSizeThatWasAskedFor) {
    const struct {
        const char* request;
        std::size_t size;
    } rows[] = {{"MCASTPACKETSIZE2000", 1880}, {"MCASTPACKETSIZE188", 188}, {"MCASTPACKETSIZE32768", 32712}};
    for (const auto& row : rows) {
        EXPECT_EQ(board.Ask(row.request), "OK\r\n");
        group.Collect(2 * 32712);  // what was on the way
        EXPECT_EQ(group.Collect(kEnough).datagramSizes, std::set<std::size_t>{row.size}) << row.request;
    }
    EXPECT_EQ(board.Ask("MCASTPACKETSIZE32769"), "KO\r\n");
    ExpectWhole(group.Collect(kEnough), {1});
}

TEST_F(Streams, GoOnThroughALossOfSignal) {
    ExpectWhole(group.Collect(kEnough), {1});
    board->TheTuner().Put(7, {"/mnt/seven.ts", 0});
    for (int turn = 0; turn < 9 && !group.IsSilent();) ++turn;  // what was on the way is gone
    EXPECT_TRUE(group.IsSilent());
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 1 0 239.1.1.1:5001 0:0:00:[0001] "));
    board->TheTuner().Put(7, {"/mnt/seven.ts", 5});
    group.Collect(kEnough / 4);  // with the seam
    ExpectWhole(group.Collect(kEnough), {1});
}

}  // namespace
}  // namespace board
