/// The parts of a multiplex: flows of packets, each with its own schedule.
#pragma once

#include <cstdint>
#include <limits>

#include "packetizer.h"

namespace mux {

/// Time in the stream, in cycles of the 27 MHz system clock, 0 at its first packet.
using Ticks = std::int64_t;
inline constexpr Ticks kTicksPerSecond = 27'000'000;
inline constexpr Ticks kTicksPerMillisecond = kTicksPerSecond / 1000;
inline constexpr Ticks kNever = std::numeric_limits<Ticks>::max();

/// Schedules end this much before the stream does, so that delayed packets still get a slot.
inline constexpr Ticks kSeamGuard = 5 * kTicksPerMillisecond;

/// Priority when several flows are due, highest first: the clock, video and sound, tables.
enum class Urgency { kClock, kStream, kTable };
inline constexpr std::size_t kUrgencies = 3;

class Flow {
 public:
    explicit Flow(Urgency urgency) : mUrgency(urgency) {}
    Flow(const Flow&) = delete;
    Flow& operator=(const Flow&) = delete;
    virtual ~Flow() = default;

    Urgency Class() const { return mUrgency; }

    /// \return when the next packet is due; kNever when there is none
    virtual Ticks Due() const = 0;

    /// The next packet. \param pcr  value of a PCR in this packet. REQUIRES: Due() isn't kNever.
    virtual Packet Take(Ticks pcr) = 0;

    /// \return packets not yet taken
    std::size_t Remaining() const { return mTotal - mTaken; }

 protected:
    std::size_t mTotal = 0;
    std::size_t mTaken = 0;

 private:
    const Urgency mUrgency;
};

}  // namespace mux
