// Faults of single packets.
#include "packet_faults.h"

#include <bitstream/mpeg/psi/psi.h>
#include <bitstream/mpeg/ts.h>

#include <algorithm>
#include <string>

#include "error.h"

namespace mux {
namespace {

// Of this many packets that could have a fault the seed chooses one.
constexpr std::uint32_t kChoice = 8;

bool IsOfPackets(const Fault& fault) {
    return fault.kind == FaultKind::kCcGap || fault.kind == FaultKind::kDuplicate || fault.kind == FaultKind::kCrc ||
           fault.kind == FaultKind::kLongSection;
}

bool IsNull(const Packet& packet) { return ts_get_pid(packet.data()) == kPidNull; }

}  // namespace

PacketFaults::PacketFaults(std::span<const Fault> faults, std::uint64_t seed, std::set<std::uint16_t> sectionPids,
                           unsigned rate)
    : mRandom(static_cast<std::minstd_rand::result_type>(seed)), mSectionPids(std::move(sectionPids)), mRate(rate) {
    for (const Fault& fault : faults) {
        if (IsOfPackets(fault)) mPending.push_back({fault, static_cast<std::uint32_t>(mRandom() % kChoice)});
    }
}

void PacketFaults::Pass(Packet& packet) {
    const std::uint64_t milliseconds = mPackets++ * kPacketSize * 8 * 1000 / mRate;
    for (Pending& pending : mPending) {
        if (pending.done || pending.fault.at > milliseconds) continue;
        pending.done = Apply(pending, packet);
        if (pending.done) return;
    }
}

bool PacketFaults::Apply(Pending& pending, Packet& packet) {
    if (pending.copied) return Duplicate(pending, packet);
    if (IsNull(packet) || !ts_has_payload(packet.data())) return false;
    const bool ofSection = pending.fault.kind == FaultKind::kCrc || pending.fault.kind == FaultKind::kLongSection;
    const std::size_t section = ofSection ? FindSection(packet) : 0;
    if (ofSection && section == 0) return false;
    if (pending.skip > 0) {
        --pending.skip;
        return false;
    }
    if (ofSection) return Damage(pending.fault, packet, section);
    if (pending.fault.kind == FaultKind::kDuplicate) return Duplicate(pending, packet);
    ts_pad(packet.data());
    return true;
}

// A duplicate directly follows its packet as far as the PID goes: when another one of the PID comes first, that one is
// doubled instead.
bool PacketFaults::Duplicate(Pending& pending, Packet& packet) {
    if (pending.copied && IsNull(packet)) {
        packet = *pending.copied;
        return true;
    }
    const bool same = !pending.copied || ts_get_pid(packet.data()) == ts_get_pid(pending.copied->data());
    if (same && ts_has_payload(packet.data())) pending.copied = packet;
    return false;
}

// Where the first section begins that does so in this packet, with its head whole; 0 when none does.
std::size_t PacketFaults::FindSection(const Packet& packet) const {
    if (!mSectionPids.contains(ts_get_pid(packet.data())) || !ts_get_unitstart(packet.data())) return 0;
    const std::size_t payload =
        TS_HEADER_SIZE + (ts_has_adaptation(packet.data()) ? 1u + ts_get_adaptation(packet.data()) : 0u);
    if (payload >= kPacketSize) return 0;
    const std::size_t section = payload + 1 + packet[payload];
    return section + PSI_HEADER_SIZE_SYNTAX1 < kPacketSize ? section : 0;
}

bool PacketFaults::Damage(const Fault& fault, Packet& packet, std::size_t section) {
    std::uint8_t* const head = packet.data() + section;
    if (fault.kind == FaultKind::kLongSection) {
        psi_set_length(head, 0xFFF);
        return true;
    }
    // Behind the head, so that it is the CRC_32 alone that tells.
    const std::size_t end = std::min(section + PSI_HEADER_SIZE + psi_get_length(head), kPacketSize);
    const std::size_t body = section + PSI_HEADER_SIZE_SYNTAX1;
    packet[body + mRandom() % (end - body)] ^= static_cast<std::uint8_t>(1u << (mRandom() >> 8) % 8);
    return true;
}

void PacketFaults::Finish() const {
    for (const Pending& pending : mPending) {
        if (pending.done) continue;
        throw Error("fault " + std::string(NameOf(pending.fault.kind)) + ": the stream has no packet for it");
    }
}

}  // namespace mux
