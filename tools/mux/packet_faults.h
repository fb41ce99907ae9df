/// Faults of single packets, on their way to the sink.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <vector>

#include "fault.h"
#include "packetizer.h"

namespace mux {

/// Gives a stream those of the faults that are kCcGap, kDuplicate, kCrc or kLongSection: each once, in one of the first
/// packets that can have it from its moment on, no two in the same packet. The number of packets stays, and so do the
/// counters of all that comes later.
class PacketFaults {
 public:
    /// \param sectionPids  PIDs whose payload is sections
    /// \param rate         bits a second
    PacketFaults(std::span<const Fault> faults, std::uint64_t seed, std::set<std::uint16_t> sectionPids, unsigned rate);

    /// Changes the next packet of the stream, or doesn't.
    void Pass(Packet& packet);

    /// Throws Error naming a fault that no packet could have.
    void Finish() const;

 private:
    struct Pending {
        Fault fault;
        std::uint32_t skip;                 ///< packets that could have the fault and are passed over
        std::optional<Packet> copied = {};  ///< kDuplicate: what goes into the next null packet
        bool done = false;
    };

    bool Apply(Pending& pending, Packet& packet);
    bool Duplicate(Pending& pending, Packet& packet);
    bool Damage(const Fault& fault, Packet& packet, std::size_t section);
    std::size_t FindSection(const Packet& packet) const;

    std::minstd_rand mRandom;
    const std::set<std::uint16_t> mSectionPids;
    const unsigned mRate;
    std::vector<Pending> mPending;
    std::uint64_t mPackets = 0;
};

}  // namespace mux
