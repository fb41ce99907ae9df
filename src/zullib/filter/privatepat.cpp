// The PAT of one stream: a copy of the broadcast's section, edited and cut into packets (ISO/IEC 13818-1, 2.4.3.2).
#include "filter/privatepat.h"

#include <cstring>

#include "psip/crc32.h"

namespace {

constexpr std::size_t kPacketHead = 4;

}  // namespace

void PrivatePat::Begin(Bytes section) {
    mSectionSize = std::min(section.size(), mSection.size());
    std::copy_n(section.begin(), mSectionSize, mSection.begin());
}

void PrivatePat::Blank(std::size_t offset) {
    mSection[offset] = mSection[offset + 1] = 0;
    mEdited = true;
}

void PrivatePat::Finish(int& continuity) {
    if (mEdited) {
        const std::size_t covered = mSectionSize - kCrcSize;
        PutBe32(mSection.data() + covered, crc32(mSection.data(), static_cast<std::uint32_t>(covered)));
    }
    constexpr std::size_t kPointerField = 1;
    static_assert(kMaxSection + kPointerField <= kMaxPackets * (kPacketSize - kPacketHead));
    mPackets.fill(0xFF);  // stuffing after the section
    std::uint8_t* packet = mPackets.data();
    Bytes rest(mSection.data(), mSectionSize);
    for (bool first = true; !rest.empty(); first = false) {
        continuity = (continuity + 1) % 16;
        packet[0] = kSyncByte;
        packet[1] = first ? 0x40 : 0x00;  // payload_unit_start_indicator, PID 0
        packet[2] = 0x00;
        packet[3] = static_cast<std::uint8_t>(0x10 + continuity);  // payload only
        std::size_t head = kPacketHead;
        if (first) packet[head++] = 0;  // pointer_field
        const Bytes piece = TakeAtMost(rest, kPacketSize - head);
        std::memcpy(packet + head, piece.data(), piece.size());
        packet += kPacketSize;
    }
    mPacketsSize = static_cast<std::size_t>(packet - mPackets.data());
}

Bytes PrivatePat::Next() {
    mContinuity = (mContinuity + 1) % 16;
    mPackets[3] = static_cast<std::uint8_t>((mPackets[3] & 0xF0) | mContinuity);
    return Bytes(mPackets).first(mPacketsSize);
}
