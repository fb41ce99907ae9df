// The clock of the broadcast against the C library's calendar.
#include "core/broadcasttime.h"

#include <gtest/gtest.h>

#include <ctime>
#include <random>
#include <string>

#include "core/log.h"

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

TEST_F(TimeTest, IsAtTheEpochBeforeTheFirstStt) {
    EXPECT_EQ(mTime.GetSystemTime(), 0u);
    EXPECT_STREQ(mTime.GetMjdDateTime(0, nullptr), "acd4 0000");
}

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
    const struct {
        std::uint32_t systemTime;
        const char* logged;
    } kSteps[] = {
        {kMidnight + 60, ""},
        {kMidnight + 61, "ZUL: Got Systime: 0x4d3f644f (e76c 0001), GpsUtc 0x12, daylight 0x6000\n"},
        {kMidnight + 121, ""},
        {kMidnight + 122, "ZUL: Got Systime: 0x4d3f648c (e76c 0002), GpsUtc 0x12, daylight 0x6000\n"},
        {kMidnight + 119, "ZUL: Got Systime: 0x4d3f6489 (e76c 0001), GpsUtc 0x12, daylight 0x6000\n"},
        {kMidnight + 122, ""},
    };
    mTime.SetTime(kMidnight - 600, 18, 0);
    mTime.SetTime(kMidnight, 18, 0);
    global_debug_flag = 1;
    for (const auto& [systemTime, logged] : kSteps) {
        testing::internal::CaptureStdout();
        mTime.SetTime(systemTime, 18, 0x6000);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), logged) << systemTime - kMidnight;
    }
    global_debug_flag = 0;
}

}  // namespace
