/// The parts of a multiplex: flows of packets, each with its own schedule.
#pragma once

#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <vector>

#include "elementary_stream.h"
#include "packetizer.h"
#include "tables.h"

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

/// Sends an elementary stream at a constant rate over the whole length of the multiplex, one access unit a PES packet
/// (ISO/IEC 13818-1, 2.4.3.6). The last units are spread over extra packets, so that the number of packets is a
/// multiple of 16.
class EsFlow : public Flow {
 public:
    /// \param scrambler  randomises and marks the payloads when it isn't null; it must outlive the flow
    /// REQUIRES: the stream has a unit.
    EsFlow(const StreamPlan& plan, ElementaryStream stream, Ticks length, std::minstd_rand* scrambler);

    std::uint16_t Pid() const { return mPid; }

    /// Least presentation delay, in 90 kHz units, at which each unit arrives in time.
    std::int64_t NeededDelay() const { return mNeededDelay; }

    /// Sets the presentation delay. REQUIRES: no packet has been taken; delay is at least NeededDelay().
    void SetDelay(std::int64_t delay) { mDelay = delay; }

    Ticks Due() const override;
    Packet Take(Ticks pcr) override;

    /// continuity_counter of the packet last taken.
    std::uint8_t LastContinuity() const { return (mTaken - 1) & 15; }

 private:
    void CountPackets();
    void LoadUnit();
    /// Decoding and presentation time of a unit, 90 kHz, without the delay.
    std::int64_t TimeOf(std::size_t unit) const { return static_cast<std::int64_t>(unit) * UnitTime(mStreamId); }

    const std::uint16_t mPid;
    const std::uint8_t mStreamId;
    const ElementaryStream mStream;
    const Ticks mLength;
    std::minstd_rand* const mScrambler;
    std::int64_t mNeededDelay = 0;
    std::int64_t mDelay = 0;
    std::vector<std::uint8_t> mExtra;  ///< for each of the last units: packets beyond what it needs
    std::size_t mUnit = 0;             ///< unit that LoadUnit() takes
    Octets mPes;                       ///< PES packet in progress
    std::size_t mAt = 0;               ///< next byte of mPes
    std::size_t mPacketsLeft = 0;      ///< of mPes
};

/// The clock of a programme: packets with a PCR and no payload, on the PID of its first stream.
class PcrFlow : public Flow {
 public:
    /// REQUIRES: `carrier` outlives the flow.
    PcrFlow(const EsFlow& carrier, Ticks length);

    Ticks Due() const override;
    Packet Take(Ticks pcr) override;

 private:
    const EsFlow& mCarrier;
    const Ticks mLength;
};

/// Sends each edition of the tables of one PID a whole number of times, at least once, at equal intervals of at most
/// the table's period, so that a repeated stream keeps the interval across its seam. The packets of a table are spaced
/// by a fiftieth of the PID's shortest period. The last sections are spread over extra packets, so that the number of
/// packets of the PID is a multiple of 16 and the continuity_counter continues across the seam.
class TableFlow : public Flow {
 public:
    /// REQUIRES: all tables have the PID `pid`, and outlive the flow.
    /// \param length   of the stream
    /// \param stagger  number of the flow; different flows start at different times
    TableFlow(std::uint16_t pid, std::span<const Table* const> tables, Packing packing, Ticks length,
              std::size_t stagger);

    Ticks Due() const override { return mDue; }
    Packet Take(Ticks pcr) override;

 private:
    /// One transmission of a table.
    struct Sending {
        Ticks due;
        std::span<const Section> sections;
        bool apart = false;     ///< the last section starts a packet, whatever the packing
        std::size_t extra = 0;  ///< packets beyond what the last section needs
    };

    void Plan(const Table& table, double phase);
    void Stretch();
    void ChoosePace(Ticks slowest);
    std::vector<Packet> Packetise(const Sending& sending) const;
    void Load();

    const std::uint16_t mPid;
    const Packing mPacking;
    const Ticks mLength;
    std::vector<Sending> mSendings;
    std::size_t mNext = 0;         ///< next transmission for Load()
    std::vector<Packet> mPackets;  ///< of the current transmission, continuity counters 0
    std::size_t mAt = 0;           ///< next of mPackets
    Ticks mDue = kNever;           ///< of that packet
    Ticks mPace = 0;               ///< least time between packets of the PID
};

}  // namespace mux
