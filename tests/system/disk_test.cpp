// What a board remembers over a loss of power, and what it does when its disk refuses.
#include <gtest/gtest.h>

#include <fstream>

#include "evidence.h"
#include "live_board.h"

namespace board {
namespace {

constexpr std::size_t kEnough = 100'000;
constexpr const char* kStartupItem = "/mnt/hd1/zul_def_startup";

LiveOptions WithChannel() { return {.band = {{7, {"/mnt/seven.ts", 5}}}}; }

TEST(Disk, TheLastStreamAndTheTunerModeComeBackAfterALossOfPower) {
    const auto played = WriteStream("/mnt/seven.ts", SmallMultiplex());
    ASSERT_TRUE(LiveOnce([] {
        LiveBoard board('T', WithChannel());
        ASSERT_TRUE(board.Start());
        EXPECT_EQ(board.Ask("TUNERMODE2"), "OK\r\n");
        EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,7,4d,2\r\n"), "OK\r\n");
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
    EXPECT_TRUE(StartsWith(board.Ask("STATUS"), "STATUS 0 0 0.0.0.0:0 "));
}

/// A disk that refuses in one way, and what a request that saves answers then.
struct Refusal {
    const char* name;
    void (*refuse)(LiveBoard& board);
    const char* unitReply;
    const char* tunerModeReply;
};

void FillTheDisk(LiveBoard& board) {
    board->Daemon().Set(Fault::kNone);
    ASSERT_EQ(std::system("mount -o remount,rw,bind /mnt/hd1 && ! dd if=/dev/zero of=/mnt/hd1/filler bs=4k 2>/dev/null;"
                          "mount -o remount,ro,bind /mnt/hd1"),
              0);
}

class RefusingDisk : public testing::TestWithParam<Refusal> {};

INSTANTIATE_TEST_SUITE_P(
    Disk, RefusingDisk,
    testing::Values(
        Refusal{"StaysReadOnly", [](LiveBoard& b) { b->Daemon().Set(Fault::kLying); }, "OK\r\n", "KO\r\n"},
        Refusal{"HasASilentDaemon", [](LiveBoard& b) { b->Daemon().Set(Fault::kSilent); }, "OK\r\n", "KO\r\n"},
        Refusal{"HasADaemonWithAFullQueue", [](LiveBoard& b) { b->Daemon().Set(Fault::kFull); }, "OK\r\n", "KO\r\n"},
        Refusal{"IsFull", FillTheDisk, "OK\r\n", "OK\r\n"}),
    [](const auto& refusal) { return refusal.param.name; });

TEST_P(RefusingDisk, CostsTheSavedItemAndNothingElse) {
    const auto played = WriteStream("/mnt/seven.ts", SmallMultiplex());
    GroupListener group("239.1.1.1", 5001);
    LiveBoard board('T', WithChannel());
    ASSERT_TRUE(board.Start());
    GetParam().refuse(board);
    EXPECT_EQ(board.Ask("UNIT1,239.1.1.1,5001,7,4d,1"), GetParam().unitReply);
    EXPECT_NE(FileText(kStartupItem), "UNIT1,239.1.1.1,5001,7,4d,1");
    EXPECT_EQ(board.Ask("TUNERMODE1"), GetParam().tunerModeReply);
    EXPECT_EQ(Difference(group.Collect(kEnough).pids, played), "");
    EXPECT_EQ(board.Ask("VERS"), "VERS0.82.14OK\r\n");
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
