/// An elementary stream as PES packets (ISO/IEC 13818-1, 2.4.3.6), and the clock of its programme.
#pragma once

#include <random>

#include "elementary_stream.h"
#include "flow.h"

namespace mux {

/// Sends an elementary stream at a constant rate over the whole length of the multiplex, one access unit a PES packet.
/// The last units are spread over extra packets, so that the number of packets is a multiple of 16.
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
    std::uint8_t LastContinuity() const { return (mContinuity + 15) & 15; }

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
    std::uint8_t mContinuity = 0;
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

}  // namespace mux
