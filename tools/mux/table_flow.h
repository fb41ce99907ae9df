/// The tables of one PID, sent repeatedly.
#pragma once

#include <span>
#include <vector>

#include "flow.h"
#include "tables.h"

namespace mux {

/// Sends each edition of a table a whole number of times, at least once, at equal intervals of at most the table's
/// period, so that a repeated stream keeps the interval across its seam. The packets of a table are spaced by a
/// fiftieth of the PID's shortest period. The last sections are spread over extra packets, so that the number of
/// packets of the PID is a multiple of 16 and the continuity_counter continues across the seam.
class TableFlow : public Flow {
 public:
    /// REQUIRES: all tables have the PID `pid`, and outlive the flow.
    /// \param length   of the stream
    /// \param stagger  number of the flow; different flows start at different times
    TableFlow(std::uint16_t pid, std::span<const Table* const> tables, Packing packing, Ticks length,
              std::size_t stagger);

    Ticks Due() const override;
    Packet Take(Ticks pcr) override;

 private:
    /// One transmission of a table.
    struct Sending {
        Ticks due;
        const std::vector<Section>* sections;
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
    std::vector<Packet> mPackets;  ///< of the current transmission
    std::size_t mAt = 0;           ///< next of mPackets
    Ticks mDue = kNever;           ///< of that packet
    Ticks mPace = 0;               ///< least time between packets of the PID
    std::uint8_t mContinuity = 0;
};

}  // namespace mux
