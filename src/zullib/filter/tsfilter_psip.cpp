// The tables of ATSC A/65: MGT, VCT, STT, EIT and ETT, from complete sections to PID rows, store and clock.
// A reserved bit that isn't set is only logged, except in the EIT.
#include <cstring>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/eit.h"
#include "psip/ett.h"
#include "psip/mgt.h"
#include "psip/multiplestring.h"
#include "psip/stt.h"
#include "psip/tableids.h"
#include "psip/vct.h"

namespace {

constexpr int kCallerVct = 3;
constexpr int kCallerMgt = 4;

constexpr unsigned kCutsPerLine = 512;

constexpr bool AllSet(std::uint8_t byte, unsigned mask) { return (byte & mask) == mask; }

/// What the MGT's table types mean for the rows of their PIDs (A/65, table 6.3). Types without a row are reserved.
struct TableTypes {
    std::uint16_t first, last;
    PidTypeEnum type;
    bool ignored;  ///< not analysed, and not part of the whole multiplex
};
constexpr TableTypes kTableTypes[] = {
    {0x0000, 0x0003, ePidVct, false},  // TVCT and CVCT, current and next
    {0x0004, 0x0004, ePidEtt, false},  // channel ETT
    {0x0005, 0x0005, ePidDcc, false},  // DCCSCT
    {0x0100, 0x017F, ePidEit, false},  // EIT-0 to EIT-127
    {0x0200, 0x027F, ePidEtt, false},  // event ETT-0 to ETT-127
    {0x0301, 0x03FF, ePidRrt, false},  // RRT, rating regions 1 to 255
    {0x0400, 0x0FFF, ePidNone, true},  // user private
    {0x1400, 0x14FF, ePidDcc, false},  // DCCT
};

constexpr bool RangesAscend() {
    for (std::size_t i = 0; i < std::size(kTableTypes); ++i) {
        if (kTableTypes[i].first > kTableTypes[i].last) return false;
        if (i > 0 && kTableTypes[i - 1].last >= kTableTypes[i].first) return false;
    }
    return true;
}
static_assert(RangesAscend());

void MarkRow(PacketIdMapType& row, std::uint16_t tableType) {
    row.type = ePidNone;
    for (const TableTypes& types : kTableTypes) {
        if (tableType < types.first || tableType > types.last) continue;
        row.type = types.type;
        if (types.ignored) row.status = ePidIgnored;
        return;
    }
    LOG("Mgt: Invalid table_type received: %x\n", tableType);
    row.status = ePidIgnored;
}

}  // namespace

bool TsFilter::AnalyzeSectionMgt(Bytes section) {
    Bytes loop = WithoutCrc(section);
    const auto head = TakeFront(loop, kMgtHead);
    if (!head) return true;
    if (!AllSet((*head)[1], 0xF0)) LOG("Mgt: reserved not chking: pkt[%d] %.2x mask 0x30\n", 1, (*head)[1]);
    for (unsigned tables = Be16(*head, 9); tables > 0; --tables) {
        const auto entry = TakeMgtEntry(loop);
        if (!entry) {
            LOG_SOMETIMES(kCutsPerLine, "Mgt: entry cut\n");
            break;
        }
        const Bytes fixed = entry->fixed;
        if (!AllSet(fixed[2], 0xE0)) LOG("Mgt: reserved (2) byte is %.2x, mask 0xE0\n", fixed[2]);
        if (!AllSet(fixed[4], 0xE0)) LOG("Mgt: reserved (3) byte is %.2x, mask 0xE0\n", fixed[4]);
        if (!AllSet(fixed[9], 0xF0)) LOG("Mgt: reserved (4) byte is %.2x, mask 0xF0\n", fixed[9]);
        if (!entry->descriptors.empty()) AnalyzeDescriptor(entry->descriptors, 0, kCallerMgt);
        MarkRow(mPacketIdMap[entry->pid], entry->tableType);
    }
    return true;
}

bool TsFilter::AnalyzeSectionVct(Bytes section) {
    static char short_name[16];
    Bytes loop = WithoutCrc(section);
    const auto head = TakeFront(loop, kVctHead);
    if (!head) return true;
    const int tableId = (*head)[0];
    if (tableId != kTableTvct && tableId != kTableCvct) PANIC("BUG: %x", static_cast<unsigned>(tableId));
    if (!AllSet((*head)[1], 0xF0) || !AllSet((*head)[5], 0xC0)) {
        LOG("Vct: reserved not chking: pkt[1] %.2x mask 0x30, pkt[4] %.2x mask 0xC0\n", (*head)[1], (*head)[5]);
    }
    const std::uint16_t transport_stream_id = Be16(*head, 3);
    const unsigned flagsMask = tableId == kTableTvct ? 0x0D : 0x01;
    for (int channels = (*head)[9]; channels > 0; --channels) {
        const auto curbyte = static_cast<int>(section.size() - kCrcSize - loop.size());
        const auto channel = TakeVctChannel(loop);
        if (!channel) {
            LOG_SOMETIMES(kCutsPerLine, "Vct: channel cut\n");
            break;
        }
        const Bytes fixed = channel->fixed;
        std::memcpy(short_name, channel->shortName.data(), channel->shortName.size());
        short_name[14] = short_name[15] = 0;
        if (!AllSet(fixed[14], 0xF0)) {
            LOG("Reserved not checking out! (1) pkt[curbyte] 0x%.2x mask 0xF0, tableId 0x%x\n", fixed[14],
                static_cast<unsigned>(tableId));
        }
        if (!AllSet(fixed[26], flagsMask)) {
            LOG("Vct: Reserved not checking (2) curbyte 0x%.2x should be 0x%.2x\n", fixed[26], flagsMask);
        }
        if (!AllSet(fixed[30], 0xFC)) {
            LOG("Reserved not checking out! (3) pkt[curbyte] 0x%.2x [%d ?= 39] mask 0xFC\n", fixed[30], curbyte + 30);
        }
        if (!channel->descriptors.empty()) AnalyzeDescriptor(channel->descriptors, 0, kCallerVct);
        mpTunerManager->SetPsipInfoForProgram(transport_stream_id, channel->programNumber, short_name,
                                              channel->majorNumber, channel->minorNumber, channel->modulationMode,
                                              channel->carrierFrequency, channel->channelTsid, channel->sourceId);
    }
    return true;
}

bool TsFilter::AnalyzeSectionStt(Bytes section) {
    Bytes body = WithoutCrc(section);
    if (const auto stt = TakeStt(body)) mpTime->SetTime(stt->systemTime, stt->gpsUtcOffset, stt->daylightSavings);
    return true;
}

bool TsFilter::AnalyzeSectionEit(Bytes section) {
    Bytes loop = WithoutCrc(section);
    const auto head = TakeFront(loop, kEitHead);
    if (!head) return true;
    if ((*head)[0] != kTableEit) PANIC("BUG: %.2x", (*head)[0]);
    if (!AllSet((*head)[1], 0xF0)) {
        LOG("Eit: ERROR reserved not chking: pkt[1] %.2x mask 0x30\n", (*head)[1]);
        return false;
    }
    const std::uint16_t source_id = Be16(*head, 3);
    bool silent = true;
    // An event without a title keeps the title of the one before it.
    std::uint8_t unicode_mode = 0;
    char* title_text = nullptr;
    int title_length = 0;
    for (int events = (*head)[9]; events > 0; --events) {
        const auto event = TakeEitEvent(loop);
        if (!event) {
            LOG_SOMETIMES(kCutsPerLine, "Eit: event cut\n");
            return false;
        }
        if (event->titleLength != 0) title_text = MultipleStringStructure(event->title, &title_length, &unicode_mode);
        const auto lengthField = TakeFront(loop, 2);
        if (!lengthField) {
            LOG_SOMETIMES(kCutsPerLine, "Eit: event cut\n");
            return false;
        }
        if (!AllSet((*lengthField)[0], 0xF0)) {
            LOG("Eit ERROR reserved 3 mismatch is %.2x should be 0xC0\n", (*lengthField)[0]);
            return false;
        }
        TakeAtMost(loop, Be16(*lengthField, 0) & 0x0FFFu);
        const auto filedLength = static_cast<std::uint8_t>(title_length);
        mpTunerManager->SetEventInfoForProgram(source_id, event->eventId, event->startTime, event->lengthInSeconds,
                                               filedLength, title_text, unicode_mode);
        // The text and the store report what they truncate.
        if (title_length >= kMaxText || filedLength > Event::kTitleSize) silent = false;
    }
    return silent;
}

bool TsFilter::AnalyzeSectionEtt(Bytes section) {
    Bytes text = WithoutCrc(section);
    const auto head = TakeEttHead(text);
    if (!head) return true;
    const Bytes fixed = head->fixed;
    if (fixed[0] != kTableEtt) {
        LOG("Ett: ERROR packet Id invalid: pkt[0] %.2x expected 0xCC\n", fixed[0]);
        return false;
    }
    if (!AllSet(fixed[1], 0xF0)) LOG("Eit: ERROR reserved not chking: pkt[1] %.2x mask 0x30\n", fixed[1]);
    int len = 0;
    std::uint8_t unicode_mode = 0;
    const char* const decoded = MultipleStringStructure(text, &len, &unicode_mode);
    mpTunerManager->SetExtendedText(head->etmIdHigh, head->etmIdLow, decoded, static_cast<std::uint32_t>(len),
                                    unicode_mode);
    return len < kMaxText;  // a longer text was truncated and reported
}
