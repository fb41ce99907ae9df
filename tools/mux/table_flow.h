/// The tables of one PID, sent over and over.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "flow.h"
#include "tables.h"

namespace mux {

/// Sends each edition of a table a whole number of times, at least once, at even distances that the table's period
/// bounds, so that a stream which is played again and again repeats its tables evenly over the seam too. A table's
/// packets aren't sent at once, but a fiftieth of the PID's shortest period apart. The last sections are spread over as
/// many packets as make the PID's number of packets a multiple of 16: the continuity_counter goes on over the seam.
class TableFlow : public Flow {
 public:
    /// REQUIRES: all tables have the PID `pid`, and outlive the flow.
    /// \param length   of the stream
    /// \param stagger  number of the flow; different flows begin at different moments
    TableFlow(std::uint16_t pid, std::span<const Table* const> tables, Packing packing, Ticks length,
              std::size_t stagger);

    Ticks Due() const override;
    Packet Take(Ticks pcr) override;
    std::size_t Remaining() const override { return mTotal - mTaken; }

 private:
    /// One sending of a table.
    struct Sending {
        Ticks due;
        const std::vector<Section>* sections;
        bool apart = false;     ///< the last section begins a packet, whatever the packing
        std::size_t extra = 0;  ///< packets more than the last section needs
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
    std::size_t mNext = 0;         ///< sending that Load() takes
    std::vector<Packet> mPackets;  ///< of the sending in progress
    std::size_t mAt = 0;           ///< next of mPackets
    Ticks mDue = kNever;           ///< of that packet
    Ticks mPace = 0;               ///< from one packet of the PID to the next, at least
    std::uint8_t mContinuity = 0;
    std::size_t mTotal = 0;
    std::size_t mTaken = 0;
};

}  // namespace mux
