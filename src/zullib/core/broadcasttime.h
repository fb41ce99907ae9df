/// The clock of the broadcast (ATSC A/65, System Time Table).
#pragma once

#include <atomic>
#include <cstdint>

/// GPS time as broadcast, and its conversion to the Modified Julian Date text of the command protocol.
/// The board's own clock is used only for the tick. Set on the host's thread, read on any.
class Time {
 public:
    /// The one instance, made at the first call with all fields zero, never freed.
    static Time* Self();

    /// Stores the content of an STT; about once a minute of broadcast time it is logged.
    /// \param systemTime      GPS seconds since 6 January 1980, 00:00:00 UTC
    /// \param gpsUtcOffset    seconds between GPS and UTC
    /// \param daylightSaving  the table's field, kept as it is
    void SetTime(std::uint32_t systemTime, std::uint8_t gpsUtcOffset, std::uint16_t daylightSaving);

    /// \return GPS seconds of the last STT, 0 before the first
    std::uint32_t GetSystemTime() const { return mSystemTime.load(std::memory_order_relaxed); }

    static constexpr unsigned kDateTimeSize = 64;

    /// Writes a time as "%x %.2d%.2d": Modified Julian Date in hexadecimal, a blank, hours and minutes in UTC.
    /// \param systime  GPS seconds; 0 for the present broadcast time
    /// \param buff     room for kDateTimeSize bytes; null for a static buffer, for the command thread only
    /// \return the buffer written
    char* GetMjdDateTime(std::uint32_t systime, char* buff) const;

    /// The board's clock in ticks of 1/1024 second; only differences are meaningful.
    static std::uint32_t GetTodInMs();

    /// GPS seconds of a moment, the inverse of GetMjdDateTime, in unsigned 32 bits.
    /// \param date  Modified Julian Date
    /// \param time  hours x 100 + minutes, UTC
    std::uint32_t MjdToSystem(std::uint32_t date, std::uint32_t time) const;

    /// \return a length in seconds as hours x 100 + minutes, modulo one day
    static std::uint32_t GetMjdDuration(std::uint32_t seconds);

 private:
    Time() = default;

    std::atomic<std::uint32_t> mSystemTime{0};
    std::atomic<std::uint8_t> mGpsUtcOffset{0};
    std::atomic<std::uint16_t> mDaylightSavings{0};
};
