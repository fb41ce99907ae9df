// Modified Julian Dates and texts of moments.
#include "protocol/moment.h"

#include <fmt/chrono.h>

#include <ctime>

#include "output/escape.h"

namespace zulctl {

namespace {

/// Day 0 of the Modified Julian Date is 17 November 1858.
constexpr std::chrono::sys_days kMjdEpoch = std::chrono::year{1858} / std::chrono::November / 17;
constexpr std::uint32_t kLargestDay = 0xFFFFF;

std::tm Calendar(Minutes moment) { return fmt::gmtime(std::chrono::seconds(moment.time_since_epoch()).count()); }

}  // namespace

std::optional<Minutes> MomentOf(std::uint32_t day, std::uint32_t hhmm) {
    if (day > kLargestDay || hhmm / 100 > 23 || hhmm % 100 > 59) return std::nullopt;
    return kMjdEpoch + std::chrono::days(day) + std::chrono::hours(hhmm / 100) + std::chrono::minutes(hhmm % 100);
}

MjdTime MjdOf(Minutes moment) {
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const auto minutes = (moment - day).count();
    return {static_cast<std::uint32_t>((day - kMjdEpoch).count()),
            static_cast<std::uint32_t>(minutes / 60 * 100 + minutes % 60)};
}

Minutes LocalClock(Minutes moment) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    std::tm local{};
    localtime_r(&seconds, &local);
    return moment + std::chrono::minutes(local.tm_gmtoff / 60);
}

std::string ClockText(Minutes moment) { return fmt::format("{:%H:%M}", Calendar(moment)); }

std::string DateText(Minutes moment) { return fmt::format("{:%F %H:%M}", Calendar(moment)); }

std::string UtcText(Minutes moment) { return UtcText(std::chrono::system_clock::time_point(moment)); }

}  // namespace zulctl
