// What a board restores after a loss of power, and its behaviour when the disk fails.
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
