// Transport packets: sections aligned or contiguous, payloads stuffed by adaptation fields.
#include "packetizer.h"

#include <bitstream/mpeg/psi/psi.h>
#include <bitstream/mpeg/ts.h>

#include <algorithm>

namespace mux {
namespace {

// adaptation_field_length, and the flags after it.
constexpr std::size_t kAdaptationHead = 2;

std::size_t PacketsFor(std::size_t payload) { return (payload + kPacketPayload - 1) / kPacketPayload; }

// Contiguous sections. Stuffing bytes fill the last packet (2.4.4).
std::vector<Packet> PacketiseDense(std::span<const Section> sections, std::uint16_t pid) {
    std::vector<Packet> packets;
    std::uint8_t used = 0;
    for (const Section& section : sections) {
        std::uint16_t done = 0;
        while (done < section.size()) {
            if (used == 0) packets.emplace_back();
            psi_split_section(packets.back().data(), &used, section.data(), &done);
            ts_set_pid(packets.back().data(), pid);
            if (used == kPacketSize) used = 0;
        }
    }
    if (used != 0) psi_split_end(packets.back().data(), &used);
    return packets;
}

}  // namespace

std::size_t RoomFor(const PacketShape& shape) { return kPacketPayload - (shape.randomAccess ? kAdaptationHead : 0); }

Packet MakePacket(const PacketShape& shape, OctetView payload) {
    Packet packet;
    std::uint8_t* const bytes = packet.data();
    ts_init(bytes);
    ts_set_pid(bytes, shape.pid);
    ts_set_payload(bytes);
    if (shape.unitStart) ts_set_unitstart(bytes);
    if (payload.size() < kPacketPayload) {
        ts_set_adaptation(bytes, static_cast<std::uint8_t>(kPacketPayload - 1 - payload.size()));
        if (shape.randomAccess) tsaf_set_randomaccess(bytes);
    }
    std::copy(payload.begin(), payload.end(), packet.end() - static_cast<std::ptrdiff_t>(payload.size()));
    return packet;
}

std::vector<Packet> PacketiseSection(const Section& section, std::uint16_t pid, std::size_t extra) {
    if (extra == 0) return PacketiseDense({&section, 1}, pid);
    Octets payload{0};  // pointer_field
    payload.insert(payload.end(), section.begin(), section.end());
    std::vector<Packet> packets;
    std::size_t at = 0;
    for (std::size_t left = PacketsFor(payload.size()) + extra; left > 0; --left) {
        const std::size_t size = (payload.size() - at + left - 1) / left;
        packets.push_back(MakePacket({.pid = pid, .unitStart = at == 0}, OctetView(payload).subspan(at, size)));
        at += size;
    }
    return packets;
}

std::size_t RoomToStretch(const Section& section) {
    const std::size_t payload = section.size() + 1;
    return payload - PacketsFor(payload);
}

std::vector<Packet> PacketiseSections(std::span<const Section> sections, std::uint16_t pid, Packing packing) {
    if (packing == Packing::kDense) return PacketiseDense(sections, pid);
    std::vector<Packet> packets;
    for (const Section& section : sections) {
        const auto more = PacketiseSection(section, pid);
        packets.insert(packets.end(), more.begin(), more.end());
    }
    return packets;
}

void NumberPackets(std::span<Packet> packets, std::uint8_t& continuity) {
    for (Packet& packet : packets) {
        ts_set_cc(packet.data(), continuity);
        continuity = (continuity + 1) & 15;
    }
}

}  // namespace mux
