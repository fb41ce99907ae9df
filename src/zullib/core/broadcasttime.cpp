// The clock of the broadcast and its conversions (ATSC A/65, 6.1).
#include "core/broadcasttime.h"

#include <cstdio>

#include "core/log.h"
#include "platform/machine.h"

namespace {

constexpr std::uint32_t kEpochMjd = 44244;  ///< Modified Julian Date of 6 January 1980
constexpr std::uint32_t kDaySeconds = 86400;
constexpr std::uint32_t kLogInterval = 61;  ///< seconds of broadcast time between log lines

}  // namespace

Time* Time::Self() {
    static auto* const time = new Time;
    return time;
}

void Time::SetTime(std::uint32_t systemTime, std::uint8_t gpsUtcOffset, std::uint16_t daylightSaving) {
    static std::uint32_t prevSystime = 0;  // the filter's thread alone sets the time
    mSystemTime.store(systemTime, std::memory_order_relaxed);
    mGpsUtcOffset.store(gpsUtcOffset, std::memory_order_relaxed);
    mDaylightSavings.store(daylightSaving, std::memory_order_relaxed);
    if (systemTime - prevSystime < kLogInterval) return;
    prevSystime = systemTime;
    char text[kDateTimeSize];
    LOG("Got Systime: 0x%x (%s), GpsUtc 0x%x, daylight 0x%x\n", systemTime, GetMjdDateTime(systemTime, text),
        gpsUtcOffset, daylightSaving);
}

char* Time::GetMjdDateTime(std::uint32_t systime, char* buff) const {
    static char shared[kDateTimeSize];
    if (buff == nullptr) buff = shared;
    const std::uint32_t chosen = systime != 0 ? systime : GetSystemTime();
    const std::uint32_t utcSeconds = chosen - mGpsUtcOffset.load(std::memory_order_relaxed);
    const std::uint32_t secondsOfDay = utcSeconds % kDaySeconds;
    std::snprintf(buff, kDateTimeSize, "%x %.2u%.2u", utcSeconds / kDaySeconds + kEpochMjd, secondsOfDay / 3600,
                  secondsOfDay % 3600 / 60);
    return buff;
}

std::uint32_t Time::GetTodInMs() { return platform::Tick(); }

std::uint32_t Time::MjdToSystem(std::uint32_t date, std::uint32_t time) const {
    return (date - kEpochMjd) * kDaySeconds + time / 100 * 3600 + time % 100 * 60 +
           mGpsUtcOffset.load(std::memory_order_relaxed);
}

std::uint32_t Time::GetMjdDuration(std::uint32_t seconds) {
    const std::uint32_t rest = seconds % kDaySeconds;
    return rest / 3600 * 100 + rest % 3600 / 60;
}
