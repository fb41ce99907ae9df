// The player's status block, and the CPU load.
#include <gtest/gtest.h>

#include "core/sharedmem.h"
#include "core/statistics.h"
#include "fast_machine.h"
#include "status_block.h"

TEST(SharedMem, ReadsWhatThePlayerWrites) {
    board::StatusBlock block;
    SharedMem& shared = *SharedMem::Self();
    struct Case {
        std::uint32_t type;
        int video, audio;
    };
    const Case cases[] = {{0, 2, 3},  {1, 0, 0},  {5, 0, 0},  {6, 0, 2},  {7, 0, 1},  {8, 0, 3},         {14, 0, 3},
                          {15, 2, 3}, {21, 2, 3}, {22, 1, 3}, {25, 1, 3}, {26, 2, 3}, {0xFFFFFFFF, 2, 3}};
    for (const Case& step : cases) {
        block.VideoType(step.type);
        block.AudioType(step.type);
        EXPECT_EQ(shared.GetVideoTypeReceiver(), step.video) << step.type;
        EXPECT_EQ(shared.GetAudioTypeReceiver(), step.audio) << step.type;
    }
    block.TunerStrength(4);
    block.Programme(0x3c4d);
    EXPECT_EQ(shared.GetSignalStrengthTransmitter(), 4);
    EXPECT_EQ(Statistics::Self()->SignalStrength(), 4) << "the status reply takes it from there";
    EXPECT_EQ(shared.GetProgramReceivedReceiver(), 0x3c4d);
}

TEST(SharedMem, KeepsTheRemotesCodeWithItsComplement) {
    board::StatusBlock block;
    struct Case {
        std::uint16_t code;
        std::uint32_t word;
        int back;
    };
    const Case cases[] = {
        {0x6E, 0x916E, 0x6E}, {0, 0xFF00, 0}, {0xFF, 0x00FF, 0xFF}, {0x100, 0x100, 0}, {0x1234, 0x1234, 0x34}};
    for (const Case& step : cases) {
        SharedMem::Self()->IrModeCode(step.code);
        EXPECT_EQ(block.IrSystemCode(), step.word) << step.code;
        EXPECT_EQ(SharedMem::Self()->IrModeCode(), step.back) << step.code;
    }
}

TEST(SharedMem, MakesTheBlockWhenItIsFirst) {
    SharedMem::Self()->IrModeCode(1);
    const board::StatusBlock block;  // attaches the one that is there
    EXPECT_EQ(block.IrSystemCode(), 0xFE01u);
    EXPECT_EQ(block.TunerStrength(), 0);
}

TEST(SharedMem, WithoutABlockEverythingIsZero) {
    const board::StatusBlock tooSmall(board::StatusBlock::Segment::kTooSmall);
    SharedMem& shared = *SharedMem::Self();
    shared.IrModeCode(5);
    EXPECT_EQ(shared.IrModeCode(), 0);
    EXPECT_EQ(shared.GetSignalStrengthTransmitter(), 0);
    EXPECT_EQ(shared.GetProgramReceivedReceiver(), 0);
    EXPECT_EQ(shared.GetVideoTypeReceiver(), 0);
    EXPECT_EQ(shared.GetAudioTypeReceiver(), 0);
}

TEST(SharedMem, MeasuresTheLoadOfTheSecondItWaits) {
    fast_machine::SetSpeed(4);
    fast_machine::TakeSleeps();
    const int load = SharedMem::Self()->GetCpuUtilization();
    EXPECT_TRUE(load >= 0 && load <= 100) << load;
    EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>{1'000'000});
    fast_machine::SetSpeed(1'000'000);
    EXPECT_GE(SharedMem::Self()->GetCpuUtilization(), 0) << "no tick in the time";
}
