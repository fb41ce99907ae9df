// From a packet to its section payload, and from a section to the analyser of its table.
#include <new>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/tablecollector.h"
#include "psip/tableids.h"

namespace {

constexpr std::uint8_t kUnitStart = 0x40;          ///< payload_unit_start_indicator, byte 1
constexpr std::uint8_t kScramblingControl = 0xC0;  ///< transport_scrambling_control, byte 3
constexpr std::uint8_t kHasAdaptation = 0x20;      ///< adaptation_field_control, byte 3
constexpr std::uint8_t kHasPayload = 0x10;
constexpr std::uint8_t kContinuity = 0x0F;      ///< continuity_counter, byte 3
constexpr std::uint8_t kCountedAlready = 0xF0;  ///< flag in the continuity of a packet's second piece

constexpr unsigned kHeadSize = 4;
constexpr unsigned kDropsPerLine = 512;

bool CarriesSections(const PacketIdMapType& row) {
    return row.type == ePidPat || row.type == ePidPmt || row.type == ePidEit || row.type == ePidEtt;
}

}  // namespace

unsigned int TsFilter::GetTsPayloadIndex(const unsigned char* packetPtr, std::uint16_t /*packetId*/) {
    if ((packetPtr[3] & kHasPayload) == 0) return 0;
    if ((packetPtr[3] & kHasAdaptation) == 0) return kHeadSize;
    return packetPtr[4] + kHeadSize + 1u;
}

bool TsFilter::AnalyzePacket(const unsigned char* packetPtr, std::uint16_t packetId) {
    unsigned payloadIndex = GetTsPayloadIndex(packetPtr, packetId);
    if (payloadIndex < kHeadSize || payloadIndex >= kPacketSize) {
        if (mPayloadIndexDrops++ % kDropsPerLine == 0)
            LOG("payloadIndex1 %u: DROP %u\n", payloadIndex, mPayloadIndexDrops);
        return false;
    }
    const bool unitStart = (packetPtr[1] & kUnitStart) != 0;
    unsigned pointer = 0;
    unsigned nextSectionPos = 0;
    if (unitStart) {
        pointer = packetPtr[payloadIndex];
        ++payloadIndex;
        nextSectionPos = pointer + payloadIndex;
        if (nextSectionPos >= kPacketSize - 1) {
            if (mNextSectionDrops++ % kDropsPerLine == 0) {
                LOG("Bad next sect: ptr_fld %u, pldIdx %u DROP %u\n", pointer, payloadIndex, mNextSectionDrops);
            }
            return false;
        }
    }
    PacketIdMapType& row = mPacketIdMap[packetId];
    if (row.scrambling == eNotKnown) row.scrambling = (packetPtr[3] & kScramblingControl) == 0 ? eClear : eScrambled;

    if (packetId != kPatPid && packetId != kPsipBasePid && !CarriesSections(row)) return true;
    const Bytes packet(packetPtr, kPacketSize);
    const Bytes payload = packet.subspan(payloadIndex);
    const std::uint8_t continuity = packetPtr[3] & kContinuity;
    if (pointer == 0) {
        AnalyzePayload(packetId, payload, unitStart, continuity);
        return true;
    }
    LOG("PSIP Remainder And New Section in pid 0x%x continuity %d: payloadLength %d, nextSessionPos %u\n", packetId,
        continuity, static_cast<int>(payload.size()), nextSectionPos);
    AnalyzePayload(packetId, payload, false, continuity);
    AnalyzePayload(packetId, packet.subspan(nextSectionPos), true, continuity | kCountedAlready);
    return true;
}

/// Collects a piece of payload, and analyses the section that it completes.
/// \param data        from the piece's first byte to the end of the packet
/// \param continuity  the packet's counter; kCountedAlready added for a packet's second piece
void TsFilter::AnalyzePayload(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity) {
    try {
        const Bytes section = mpTableCollector->CollectPsipSection(pid, data, startOfSection, continuity);
        if (!section.empty()) AnalyzeSection(section, pid);
    } catch (const std::bad_alloc&) {
        if (mLostForMemory++ % kDropsPerLine == 0) PANIC("No memory for tables: DROP %u", mLostForMemory);
    }
}

/// Passes a whole section to the analyser of its table; others are ignored.
void TsFilter::AnalyzeSection(Bytes section, std::uint16_t pid) {
    switch (section[0]) {
        case kTablePat: AnalyzePat(section); break;
        case kTablePmt: AnalyzePmt(section, pid); break;
        case kTableMgt: AnalyzeSectionMgt(section); break;
        case kTableTvct:
        case kTableCvct: AnalyzeSectionVct(section); break;
        case kTableEit: FileInGuide(section, &TsFilter::AnalyzeSectionEit); break;
        case kTableEtt: FileInGuide(section, &TsFilter::AnalyzeSectionEtt); break;
        case kTableStt: AnalyzeSectionStt(section); break;
        default: break;
    }
}

/// Files an EIT or ETT, unless the guide already holds its contents. With the log on, and where the analyser reports
/// something, each repetition is filed and reported again.
void TsFilter::FileInGuide(Bytes section, bool (TsFilter::*analyze)(Bytes)) {
    const auto print = FiledSections::PrintOf(section);
    const std::uint32_t changes = mpTunerManager->GuideChanges();
    if (mFiledSections.Hold(print, changes) && !LogIsWanted()) return;
    if ((this->*analyze)(section)) mFiledSections.Note(print, changes);
}
