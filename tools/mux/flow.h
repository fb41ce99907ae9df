/// What a multiplex is woven from: flows of packets, each with its own moments.
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

/// All times are planned this much before the stream's end, so that what is late at the seam still gets its slot.
inline constexpr Ticks kSeamGuard = 5 * kTicksPerMillisecond;

/// Who goes first when several flows are due: the clock, whose packets must not be late; then pictures and sound;
/// tables can wait.
enum class Urgency { kClock, kStream, kTable };
inline constexpr std::size_t kUrgencies = 3;

class Flow {
 public:
    explicit Flow(Urgency urgency) : mUrgency(urgency) {}
    Flow(const Flow&) = delete;
    Flow& operator=(const Flow&) = delete;
    virtual ~Flow() = default;

    Urgency Class() const { return mUrgency; }

    /// When the next packet is to leave; kNever when there is none.
    virtual Ticks Due() const = 0;

    /// The next packet. \param pcr  clock value that a PCR in this packet has to tell. REQUIRES: Due() isn't kNever.
    virtual Packet Take(Ticks pcr) = 0;

    /// Packets that are still to come.
    virtual std::size_t Remaining() const = 0;

 private:
    const Urgency mUrgency;
};

}  // namespace mux
