// An elementary stream as PES packets in transport packets, evenly over the length of the multiplex; and its clock.
#include <bitstream/mpeg/pes.h>
#include <bitstream/mpeg/ts.h>

#include <algorithm>

#include "flow.h"

namespace mux {
namespace {

constexpr std::size_t kPesHead = PES_HEADER_SIZE_PTS;

// Longest interval between PCRs: half the limit of ISO/IEC 13818-1, 2.7.2, less a margin for occupied slots.
constexpr Ticks kPcrPeriod = 40 * kTicksPerMillisecond;

// Margin from the arrival of a unit's last byte to its decoding: 90 kHz.
constexpr std::int64_t kMargin = 20 * 90;

std::int64_t To90kHz(Ticks ticks) { return (ticks + 299) / 300; }

std::size_t PacketsOf(const AccessUnit& unit) {
    const std::size_t field = kPacketPayload - RoomFor({.randomAccess = unit.randomAccess});
    return PacketsFor(kPesHead + unit.size + field);
}

}  // namespace

EsFlow::EsFlow(const StreamPlan& plan, ElementaryStream stream, Ticks length, std::minstd_rand* scrambler)
    : Flow(Urgency::kStream),
      mPid(plan.pid),
      mStreamId(plan.streamId),
      mStream(std::move(stream)),
      mLength(length - kSeamGuard),
      mScrambler(scrambler) {
    CountPackets();
    for (std::size_t i = 0, sent = 0; i < mStream.units.size(); ++i) {
        sent += PacketsOf(mStream.units[i]) + mExtra[i];
        const Ticks arrived = mLength / static_cast<Ticks>(mTotal) * static_cast<Ticks>(sent);
        mNeededDelay = std::max(mNeededDelay, To90kHz(arrived) - TimeOf(i) + kMargin);
    }
    mDelay = mNeededDelay;
}

void EsFlow::CountPackets() {
    const auto& units = mStream.units;
    for (const AccessUnit& unit : units) mTotal += PacketsOf(unit);
    mExtra.assign(units.size(), 0);
    // At most double the packets of a unit, so that the rate stays even.
    std::size_t missing = (16 - mTotal % 16) % 16;
    for (std::size_t i = units.size(); i > 0 && missing > 0; --i) {
        const std::size_t extra = std::min(missing, PacketsOf(units[i - 1]));
        mExtra[i - 1] = static_cast<std::uint8_t>(extra);
        mTotal += extra;
        missing -= extra;
    }
}

Ticks EsFlow::Due() const {
    if (mTaken == mTotal) return kNever;
    return static_cast<Ticks>(mTaken) * (mLength / static_cast<Ticks>(mTotal));
}

void EsFlow::LoadUnit() {
    const AccessUnit& unit = mStream.units[mUnit];
    mPes.resize(kPesHead + unit.size);
    std::uint8_t* const head = mPes.data();
    pes_init(head);
    pes_set_streamid(head, mStreamId);
    // PES_packet_length may be 0, unspecified, for video only.
    const bool video = mStreamId == kStreamIdVideo;
    pes_set_length(head, static_cast<std::uint16_t>(video ? 0 : mPes.size() - PES_HEADER_SIZE));
    pes_set_headerlength(head, PES_HEADER_SIZE_PTS - PES_HEADER_SIZE_NOPTS);
    pes_set_dataalignment(head);
    pes_set_pts(head, static_cast<std::uint64_t>(TimeOf(mUnit) + mDelay) & ((std::uint64_t{1} << 33) - 1));
    mStream.read(unit, std::span(mPes).subspan(kPesHead));
    mAt = 0;
    mPacketsLeft = PacketsOf(unit) + mExtra[mUnit];
}

Packet EsFlow::Take(Ticks) {
    const bool first = mPacketsLeft == 0;
    if (first) LoadUnit();
    const PacketShape shape{mPid, first, first && mStream.units[mUnit].randomAccess};
    const std::size_t rest = mPes.size() - mAt;
    const bool stretched = mExtra[mUnit] > 0;
    const std::size_t size = std::min(stretched ? (rest + mPacketsLeft - 1) / mPacketsLeft : rest, RoomFor(shape));
    Packet packet = MakePacket(shape, OctetView(mPes).subspan(mAt, size));
    mAt += size;
    if (--mPacketsLeft == 0) ++mUnit;
    ts_set_cc(packet.data(), mTaken++ & 15);
    if (mScrambler != nullptr) {
        ts_set_scrambling(packet.data(), 2);  // even key
        for (auto byte = packet.end() - static_cast<std::ptrdiff_t>(size); byte != packet.end(); ++byte) {
            *byte = static_cast<std::uint8_t>(*byte ^ (*mScrambler)());
        }
    }
    return packet;
}

PcrFlow::PcrFlow(const EsFlow& carrier, Ticks length) : Flow(Urgency::kClock), mCarrier(carrier), mLength(length) {
    mTotal = static_cast<std::size_t>((length + kPcrPeriod - 1) / kPcrPeriod);
}

Ticks PcrFlow::Due() const {
    if (mTaken == mTotal) return kNever;
    return static_cast<Ticks>(mTaken) * mLength / static_cast<Ticks>(mTotal);
}

Packet PcrFlow::Take(Ticks pcr) {
    Packet packet;
    std::uint8_t* const bytes = packet.data();
    ts_init(bytes);
    ts_set_pid(bytes, mCarrier.Pid());
    ts_set_adaptation(bytes, kPacketPayload - 1);
    // A packet without payload repeats the counter (2.4.3.3).
    ts_set_cc(bytes, mCarrier.LastContinuity());
    // The clock restarts with the stream, also each time the file is repeated.
    if (mTaken++ == 0) tsaf_set_discontinuity(bytes);
    tsaf_set_pcr(bytes, static_cast<std::uint64_t>(pcr / 300) & ((std::uint64_t{1} << 33) - 1));
    tsaf_set_pcrext(bytes, static_cast<std::uint16_t>(pcr % 300));
    return packet;
}

}  // namespace mux
