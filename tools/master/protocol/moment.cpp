// Modified Julian Dates and texts of moments.
#include "protocol/moment.h"

#include <fmt/chrono.h>

#include <ctime>

namespace zulctl {

namespace {

/// Day 0 of the Modified Julian Date is 17 November 1858.
constexpr std::chrono::sys_days kMjdEpoch = std::chrono::year{1858} / std::chrono::November / 17;
/// In the year 2217: broadcasts count seconds from 1980 in 32 bits, and the system's clock ends in 2262.
constexpr std::uint32_t kLargestDay = 0x1FFFF;

}  // namespace

std::optional<Minutes> MomentOf(std::uint32_t day, std::uint32_t hhmm) {
    if (day > kLargestDay || hhmm / 100 > 23 || hhmm % 100 > 59) return std::nullopt;
    return kMjdEpoch + std::chrono::days(day) + std::chrono::hours(hhmm / 100) + std::chrono::minutes(hhmm % 100);
}

std::string MjdText(Minutes moment) {
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::hh_mm_ss time(moment - day);
    return fmt::format("{:x},{:02}{:02}", (day - kMjdEpoch).count(), time.hours().count(), time.minutes().count());
}

Minutes LocalClock(Minutes moment) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    std::tm local{};
    localtime_r(&seconds, &local);
    return moment + std::chrono::minutes(local.tm_gmtoff / 60);
}

std::string ClockText(Minutes moment) { return fmt::format("{:%H:%M}", fmt::gmtime(moment)); }

std::string DateText(Minutes moment) { return fmt::format("{:%F %H:%M}", fmt::gmtime(moment)); }

}  // namespace zulctl
