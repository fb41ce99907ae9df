/// Moments of the broadcast: Modified Julian Dates, and how they are shown.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace zulctl {

/// A moment of the broadcast, to the minute.
using Minutes = std::chrono::sys_time<std::chrono::minutes>;
/// \param day  Modified Julian Date, up to 0x1FFFF   \param hhmm  hours * 100 + minutes, up to 2359
std::optional<Minutes> MomentOf(std::uint32_t day, std::uint32_t hhmm);
/// \return "d3a4,1930": the Modified Julian Date in hexadecimal, hours and minutes in UTC
std::string MjdText(Minutes moment);
/// \return what the clock of this machine's time zone shows at a moment; as a moment, for the texts below
Minutes LocalClock(Minutes moment);
/// \return "19:30"
std::string ClockText(Minutes moment);
/// \return "2026-03-01 19:30"
std::string DateText(Minutes moment);

}  // namespace zulctl
