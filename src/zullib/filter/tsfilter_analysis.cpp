// From a packet to its section payload, and from a section to the analyser of its table.
#include "core/log.h"
#include <new>
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/tablecollector.h"

namespace {

constexpr std::uint8_t kUnitStart = 0x40;          ///< payload_unit_start_indicator, byte 1
constexpr std::uint8_t kScramblingControl = 0xC0;  ///< transport_scrambling_control, byte 3
constexpr std::uint8_t kHasAdaptation = 0x20;      ///< adaptation_field_control, byte 3
constexpr std::uint8_t kHasPayload = 0x10;
constexpr std::uint8_t kContinuity = 0x0F;      ///< continuity_counter, byte 3
constexpr std::uint8_t kCountedAlready = 0xF0;  ///< added to the continuity of a packet's second piece

constexpr unsigned kHeadSize = 4;
constexpr unsigned kDropsPerLine = 512;

bool CarriesSections(const PacketIdMapType& row) {
    return row.type == ePidPat || row.type == ePidPmt || row.type == ePidEit || row.type == ePidEtt;
}

}  // namespace

unsigned int TsFilter::GetTsPayloadIndex(const unsigned char* packetPtr, int /*packetId*/) {
    if ((packetPtr[3] & kHasPayload) == 0) return 0;
    if ((packetPtr[3] & kHasAdaptation) == 0) return kHeadSize;
    return packetPtr[4] + kHeadSize + 1u;
}

bool TsFilter::AnalyzePacket(const unsigned char* packetPtr, int packetId) {
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
    PacketIdMapType& row = mPacketIdMap[static_cast<unsigned>(packetId)];
    if (row.scrambling == eNotKnown) row.scrambling = (packetPtr[3] & kScramblingControl) == 0 ? eClear : eScrambled;

    if (packetId != kPatPid && packetId != kPsipBasePid && !CarriesSections(row)) return true;
    const Bytes packet(packetPtr, kPacketSize);
    const Bytes payload = packet.subspan(payloadIndex);
    const auto pid = static_cast<std::uint16_t>(packetId);
    const std::uint8_t continuity = packetPtr[3] & kContinuity;
    if (pointer == 0) {
        CollectPsipSection(pid, payload, unitStart, continuity);
        return true;
    }
    LOG("PSIP Remainder And New Section in pid 0x%x continuity %d: payloadLength %d, nextSessionPos %u\n", packetId,
        continuity, static_cast<int>(payload.size()), nextSectionPos);
    CollectPsipSection(pid, payload, false, continuity);
    CollectPsipSection(pid, packet.subspan(nextSectionPos), true, continuity | kCountedAlready);
    return true;
}

/// Files an EIT or ETT, unless the guide holds what is in it. With the log on, and where filing reports something, each
/// repetition is filed, and told, anew.
void TsFilter::FileInGuide(Bytes section, bool (TsFilter::*analyze)(Bytes)) {
    const auto print = FiledSections::PrintOf(section);
    const std::uint32_t changes = mpTunerManager->GuideChanges();
    if (mFiledSections.Hold(print, changes) && !LogIsWanted()) return;
    const unsigned reports = report_count.load(std::memory_order_relaxed);
    (this->*analyze)(section);
    if (report_count.load(std::memory_order_relaxed) == reports) mFiledSections.Note(print, changes);
}

bool TsFilter::CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity) {
    try {
        FileSection(pid, data, startOfSection, continuity);
    } catch (const std::bad_alloc&) {
        if (mLostForMemory++ % kDropsPerLine == 0) PANIC("No memory for tables: DROP %u", mLostForMemory);
    }
    return true;
}

void TsFilter::FileSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity) {
    int tableId = -1;
    const Bytes section = mpTableCollector->CollectPsipSection(pid, data, startOfSection, continuity, &tableId);
    if (section.empty()) return;
    switch (tableId) {
        case 0x00: AnalyzePat(section); break;
        case 0x02: AnalyzePmt(section, pid); break;
        case 0xC0:  // Program Information Message
        case 0xC1:  // Program Name Message
        case 0xC2:  // Network Information Message
        case 0xC3:  // Network Text Message
        case 0xC4:  // Virtual Channel Message
        case 0xC5:  // System Time Message
            break;  // known, and nothing in them is used
        case 0xC7: AnalyzeSectionMgt(section); break;
        case 0xC8:
        case 0xC9: AnalyzeSectionVct(section); break;
        case 0xCB: FileInGuide(section, &TsFilter::AnalyzeSectionEit); break;
        case 0xCC: FileInGuide(section, &TsFilter::AnalyzeSectionEtt); break;
        case 0xCD: AnalyzeSectionStt(section); break;
        default: break;
    }
}
