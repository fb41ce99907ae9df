// The module's state of the board: the broadcast's clock, its counters, the player's status block and the load.
#include <gtest/gtest.h>

#include <ctime>
#include <random>

#include "core/broadcasttime.h"
#include "core/sharedmem.h"
#include "core/statistics.h"
#include "fast_machine.h"
#include "status_block.h"
#include "support/output.h"

namespace {

constexpr std::int64_t kUnixTimeOfGpsEpoch = 315964800;  // 1980-01-06 00:00:00 UTC
constexpr std::int64_t kMjdOfUnixEpoch = 40587;
/// Last GPS second that the library's calendar knows: a time_t of 32 bits ends in 2038.
constexpr std::uint32_t kLast = sizeof(std::time_t) > 4 ? 0xFFFFFFFFu : 0x7FFFFFFFu - kUnixTimeOfGpsEpoch;

class TimeTest : public testing::Test {
 protected:
    TimeTest() { global_debug_flag = 0; }

    std::string Text(std::uint32_t systime) {
        char text[Time::kDateTimeSize];
        return mTime.GetMjdDateTime(systime, text);
    }

    Time& mTime = *Time::Self();
};

TEST_F(TimeTest, TextAndItsReverseAgreeWithTheCalendar) {
    std::mt19937 random(2);
    for (int round = 0; round < 2000; ++round) {
        const auto offset = static_cast<std::uint8_t>(round < 1000 ? 18 : random());
        const std::uint32_t gps =
            round == 0 ? 86400u + offset : static_cast<std::uint32_t>(256 + random() % (kLast - 255));
        mTime.SetTime(gps, offset, 0xA5C0);
        const auto utc = static_cast<std::time_t>(gps - offset + kUnixTimeOfGpsEpoch);
        std::tm calendar{};
        gmtime_r(&utc, &calendar);
        char expected[32];
        const auto date = static_cast<unsigned>(utc / 86400 + kMjdOfUnixEpoch);
        std::snprintf(expected, sizeof expected, "%x %02d%02d", date, calendar.tm_hour, calendar.tm_min);
        ASSERT_EQ(Text(gps), expected) << gps << " - " << int{offset};
        ASSERT_EQ(Text(0), expected) << "0 is the present time";
        const auto hoursAndMinutes = static_cast<unsigned>(calendar.tm_hour * 100 + calendar.tm_min);
        ASSERT_EQ(mTime.MjdToSystem(date, hoursAndMinutes), gps - static_cast<unsigned>(calendar.tm_sec)) << expected;
    }
}

TEST_F(TimeTest, DurationsAreHoursAndMinutesOfOneDay) {
    const struct {
        std::uint32_t seconds, expected;
    } kCases[] = {{0, 0},      {59, 0},       {60, 1},    {3599, 59},  {3600, 100},
                  {5400, 130}, {86399, 2359}, {86400, 0}, {90061, 101}};
    for (const auto& [seconds, expected] : kCases) EXPECT_EQ(Time::GetMjdDuration(seconds), expected) << seconds;
}

TEST_F(TimeTest, IsLoggedOnceAMinuteAndWhenItGoesBack) {
    constexpr std::uint32_t kMidnight = 86400 * 15000 + 18;
    mTime.SetTime(kMidnight - 600, 18, 0);
    mTime.SetTime(kMidnight, 18, 0);
    for (const auto& row :
         {std::pair{60u, false}, {61u, true}, {121u, false}, {122u, true}, {119u, true}, {122u, false}}) {
        EXPECT_EQ(LogLines([&] { mTime.SetTime(kMidnight + row.first, 18, 0x6000); }).size(), row.second) << row.first;
    }
}

}  // namespace

TEST(Statistics, TheReportTellsRatesSinceTheLastOrTheReset) {
    Statistics& statistics = *Statistics::Self();
    fast_machine::SetTick(100000);
    statistics.Reset();
    for (const unsigned id : {0u, 254u, 255u, 300u}) statistics.AddGoodSections(id);
    for (const unsigned id : {0u, 254u}) statistics.AddDroppedSections(id);
    statistics.mPatCounter += 5;
    statistics.mPmtCounter += 12;
    for (const auto& [tick, rates] : {std::pair{102000u, "PAT 2.500000/s, PMT 6.000000/s"},
                                      {103000u, "PAT 0.000000/s, PMT 0.000000/s"},
                                      {103000u, "PAT 0.000000/s, PMT 0.000000/s"}}) {
        fast_machine::SetTick(tick);
        const std::string report = Printed([&] { statistics.DumpStats(); });
        EXPECT_NE(report.find(rates), std::string::npos) << report;
        EXPECT_NE(report.find("\nSECTION 0x0: good 1, dropped 1\nSECTION 0xfe: good 1, dropped 1\n=="),
                  std::string::npos)
            << report;
    }
}

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
    const board::StatusBlock block;  // attaches the existing one
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
