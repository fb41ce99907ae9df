// The tables of one PID: scheduled for the whole stream, then packetised one transmission at a time.
#include <bitstream/mpeg/psi/psi.h>
#include <bitstream/mpeg/ts.h>

#include <algorithm>
#include <cmath>

#include "flow.h"

namespace mux {
namespace {

// Packets of one PID are spaced by its shortest period divided by this, or closer where they would fill more than half
// the time.
constexpr Ticks kPaceParts = 50;

// Transmissions of different flows begin within this part of a period, which leaves half of it for their packets.
constexpr double kPhases = 0.4;

// The fractional parts of its multiples are spread evenly over 0 to 1, whatever their number.
constexpr double kGoldenRatio = 0.618'033'988'75;

// Bytes of a section's packets beside adaptation fields: it and its pointer_field.
std::size_t PayloadOf(const Section& section) { return section.size() + 1; }

// Adds contiguous sections, with a pointer_field where one starts. Stuffing bytes fill the last packet (2.4.4).
void AddContiguous(std::vector<Packet>& packets, std::span<const Section> sections) {
    std::uint8_t used = 0;
    for (const Section& section : sections) {
        for (std::uint16_t done = 0; done < section.size();) {
            if (used == 0) packets.emplace_back();
            psi_split_section(packets.back().data(), &used, section.data(), &done);
            if (used == kPacketSize) used = 0;
        }
    }
    if (used != 0) psi_split_end(packets.back().data(), &used);
}

// What the first packet of a spread section has, where bytes remain for the others: pointer_field, table_id, a byte of
// the length. Receivers may take a section that begins in the last byte of a packet for a damaged one.
constexpr std::size_t kFirstPiece = 3;

// Adds a section spread over more packets than it needs, with stuffing in adaptation fields.
void AddSpread(std::vector<Packet>& packets, const Section& section, std::size_t extra) {
    Octets payload{0};  // pointer_field
    payload.insert(payload.end(), section.begin(), section.end());
    std::size_t at = 0;
    for (std::size_t left = PacketsFor(payload.size()) + extra; left > 0; --left) {
        std::size_t size = (payload.size() - at + left - 1) / left;
        if (at == 0) size = std::max(size, std::min(kFirstPiece, payload.size() - (left - 1)));
        packets.push_back(MakePacket({.unitStart = at == 0}, OctetView(payload).subspan(at, size)));
        at += size;
    }
}

}  // namespace

TableFlow::TableFlow(std::uint16_t pid, std::span<const Table* const> tables, Packing packing, Ticks length,
                     std::size_t stagger)
    : Flow(Urgency::kTable), mPid(pid), mPacking(packing), mLength(length) {
    Ticks shortest = kNever;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        const double phase =
            static_cast<double>(i) / static_cast<double>(tables.size()) + static_cast<double>(stagger) * kGoldenRatio;
        Plan(*tables[i], phase - std::floor(phase));
        shortest = std::min<Ticks>(shortest, tables[i]->period * kTicksPerMillisecond);
    }
    std::ranges::stable_sort(mSendings, {}, &Sending::due);
    for (const Sending& sending : mSendings) mTotal += Packetise(sending).size();
    if (mTotal == 0) return;
    Stretch();
    ChoosePace(shortest / kPaceParts);
    Load();
}

// Halves the spacing until the last packet, after all that are queued before it, is due in time.
void TableFlow::ChoosePace(Ticks slowest) {
    std::vector<Ticks> counts;
    for (const Sending& sending : mSendings) counts.push_back(static_cast<Ticks>(Packetise(sending).size()));
    const auto end = [&] {
        Ticks free = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) free = std::max(free, mSendings[i].due) + counts[i] * mPace;
        return free;
    };
    mPace = std::min(slowest, mLength / static_cast<Ticks>(2 * mTotal));
    while (mPace > 0 && end() > mLength - kSeamGuard) mPace /= 2;
}

// Each edition is sent at least once, in the first part of its first period, so that its packets fit in the rest.
void TableFlow::Plan(const Table& table, double phase) {
    const Ticks longest = table.period * kTicksPerMillisecond;
    for (std::size_t i = 0; i < table.editions.size(); ++i) {
        const bool last = i + 1 == table.editions.size();
        const Ticks begin = table.editions[i].from * kTicksPerMillisecond;
        const Ticks end = last ? mLength : std::min(mLength, table.editions[i + 1].from * kTicksPerMillisecond);
        const std::vector<Section>& sections = table.editions[i].sections;
        if (begin >= end || sections.empty()) continue;
        const Ticks times = (end - begin + longest - 1) / longest;
        const double period = static_cast<double>(end - begin) / static_cast<double>(times);
        for (Ticks k = 0; k < times; ++k) {
            const auto due = static_cast<Ticks>((phase * kPhases + static_cast<double>(k)) * period);
            mSendings.push_back({begin + due, sections});
        }
    }
}

// Adds packets from the end backwards: first one to each transmission, so as not to crowd the end; then, where there
// are too few, as many as their last sections can be spread over.
void TableFlow::Stretch() {
    for (const std::size_t most : {std::size_t{1}, std::size_t{15}}) {
        for (std::size_t i = mSendings.size(); i > 0 && mTotal % 16 != 0; --i) {
            Sending& sending = mSendings[i - 1];
            mTotal -= Packetise(sending).size();
            sending.apart = true;
            sending.extra = 0;
            mTotal += Packetise(sending).size();
            const std::size_t payload = PayloadOf(sending.sections.back());
            sending.extra = std::min({(16 - mTotal % 16) % 16, most, payload - PacketsFor(payload)});
            mTotal += sending.extra;
        }
    }
}

std::vector<Packet> TableFlow::Packetise(const Sending& sending) const {
    std::vector<Packet> packets;
    for (auto rest = sending.sections; !rest.empty();) {
        const bool single = mPacking == Packing::kAligned || rest.size() == 1;
        const std::size_t run = single ? 1 : rest.size() - (sending.apart ? 1 : 0);
        if (rest.size() == 1 && sending.extra > 0) {
            AddSpread(packets, rest.front(), sending.extra);
        } else {
            AddContiguous(packets, rest.first(run));
        }
        rest = rest.subspan(run);
    }
    for (Packet& packet : packets) ts_set_pid(packet.data(), mPid);
    return packets;
}

void TableFlow::Load() {
    if (mNext == mSendings.size()) {
        mDue = kNever;
        return;
    }
    const Sending& sending = mSendings[mNext++];
    mPackets = Packetise(sending);
    mDue = mDue == kNever ? sending.due : std::max(sending.due, mDue + mPace);
    mAt = 0;
}

Packet TableFlow::Take(Ticks) {
    Packet packet = mPackets[mAt++];
    ts_set_cc(packet.data(), mTaken++ & 15);
    if (mAt == mPackets.size()) {
        Load();
    } else {
        mDue += mPace;
    }
    return packet;
}

}  // namespace mux
