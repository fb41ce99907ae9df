// PAT analysis (ISO/IEC 13818-1, 2.4.4.3): programmes for the PID table and the store, and the PAT of each stream's
// own, in which the programmes that the stream doesn't carry are blanked.
#include <algorithm>
#include <cstring>

#include "core/log.h"
#include "core/statistics.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/crc32.h"
#include "psip/pat.h"

namespace {

constexpr unsigned kAnalysisPeriod = 128;  ///< one PAT in so many is analysed again, at this place in the period:
constexpr unsigned kAnalysisPlace = 15;

constexpr std::size_t kMaxPacketized = 6 * kPacketSize;  ///< what a section of the largest accepted size takes
static_assert(kMaxPacketized <= Streamer::kPrivatePatSize);

const StreamerList kNoStreams;

}  // namespace

bool TsFilter::AnalyzeSectionPat(unsigned char* sectionPtr) {
    const platform::MutexLock lock(mMutex);
    return AnalyzePat(WholeSection(sectionPtr));
}

bool TsFilter::AnalyzePat(Bytes section) {
    const std::size_t sectionLength = SectionLength(section);
    if (sectionLength > kMaxPsiSectionLength) {
        LOG("PAT: Bad section length: %d > 1021\n", static_cast<int>(sectionLength));
        return false;
    }
    Bytes rest = section;
    const auto head = TakePatHead(rest);
    if (!head) {
        LOG("PAT: section cut\n");
        return false;
    }
    const int version = head->version;
    int versionBefore = mPatVersion.load(std::memory_order_relaxed);
    const StreamerList* const list = mPacketIdMap[kPatPid].streamers.get();
    const StreamerList& streams = list != nullptr ? *list : kNoStreams;
    if (version != versionBefore) {
        AnalyzePatInFull(section, streams);
    } else if (mMyType == 'T') {
        SendPrivatePats(streams);
    }
    const bool again = ++mPatVersionCounter % kAnalysisPeriod == kAnalysisPlace;
    // A command that asked for a full analysis in the meantime must not be lost.
    mPatVersion.compare_exchange_strong(versionBefore, again ? -1 : version, std::memory_order_relaxed);
    return true;
}

/// Reports every programme, and builds the private PAT of every stream anew.
void TsFilter::AnalyzePatInFull(Bytes section, const StreamerList& streams) {
    LOG("Re-AnalyzeSectionPat\n");
    mpStatistics->mPatCounter.fetch_add(1, std::memory_order_relaxed);
    for (Streamer* streamer : streams) streamer->SetPrivatePat(section.data(), static_cast<int>(section.size()));

    Bytes loop = section;
    const auto head = TakePatHead(loop);
    if (!head) return;
    loop = WithoutCrc(loop);
    std::size_t offset = kPatHeadSize;
    while (const auto entry = TakePatEntry(loop)) {
        AnalyzePatEntry(*entry, offset, head->transportStreamId, streams);
        offset += kPatEntrySize;
    }
    if (mMyType == 'T') FinishPrivatePats(section.size(), streams);
}

/// \param offset  of the entry in the section, and so in each stream's copy of it
void TsFilter::AnalyzePatEntry(const PatEntry& entry, std::size_t offset, std::uint16_t transportId,
                               const StreamerList& streams) {
    const std::uint16_t program_number = entry.programNumber;
    const std::uint16_t program_map_pid = entry.pid;
    PacketIdMapType& row = mPacketIdMap[program_map_pid];
    if (program_number != 0) {
        if (row.transportId == 0) {
            LOG("Pat: transport_stream_id %x, program_number %x, program_map_pid %x\n", transportId, program_number,
                program_map_pid);
        }
        row.channelId = static_cast<std::uint8_t>(mpTunerManager->GetCurrentChannel());
        row.type = ePidPmt;
        row.status = ePidUnknown;
        row.programMapPid = program_map_pid;
        row.transportId = transportId;
        row.programId = program_number;
        mpTunerManager->AddProgramToScanResults(transportId, program_number);
    } else {
        row.type = ePidNone;
    }
    if (mMyType != 'T') return;
    for (Streamer* streamer : streams) {
        if (row.streamers && row.streamers->Contains(streamer)) {
            LOG("Found a match, this PMT is streamed\n");
            continue;
        }
        if (!streamer->mpPrivatePatBuffer) continue;
        streamer->mpPrivatePatBuffer[offset] = 0;
        streamer->mpPrivatePatBuffer[offset + 1] = 0;
        streamer->mPrivatePatCrcInvalid = true;
    }
}

/// Turns the edited copies of the section into packets, which are what the streams keep.
/// \param sectionSize  kPatHeadSize bytes and more
void TsFilter::FinishPrivatePats(std::size_t sectionSize, const StreamerList& streams) {
    for (Streamer* streamer : streams) {
        std::uint8_t* const buffer = streamer->mpPrivatePatBuffer.get();
        if (buffer == nullptr) continue;
        if (streamer->mPrivatePatCrcInvalid) {
            const std::size_t covered = sectionSize - kCrcSize;
            PutBe32(buffer + covered, crc32(buffer, static_cast<std::uint32_t>(covered)));
        }
        std::uint8_t packetized_buffer[kMaxPacketized];
        const int packetized_len =
            PacketizeSection(kPatPid, &mPatContinuity, Bytes(buffer, sectionSize), packetized_buffer);
        streamer->SetPrivatePat(packetized_buffer, packetized_len);
    }
}

/// Sends each stream its PAT, at the rate of the broadcast's.
void TsFilter::SendPrivatePats(const StreamerList& streams) {
    for (Streamer* streamer : streams) {
        std::uint8_t* const buffer = streamer->mpPrivatePatBuffer.get();
        if (buffer == nullptr) continue;
        streamer->mPrivatePatContinuity = (streamer->mPrivatePatContinuity + 1) % 16;
        buffer[3] = static_cast<std::uint8_t>((buffer[3] & 0xF0) | streamer->mPrivatePatContinuity);
        streamer->Stream(buffer, streamer->mPrivatePatBufferLen);
    }
}

/// Cuts a section into transport packets, with payload only and the last filled up with 0xFF.
/// \param packetized_buffer  room for kMaxPacketized bytes
/// \return bytes written, 0 for an empty section or on failure
int TsFilter::PacketizeSection(std::uint16_t pid, int* continuity, Bytes section, std::uint8_t* packetized_buffer) {
    constexpr std::size_t kHead = 4;
    if (pid >= kPids || section.size() > kMaxPsiSectionLength + kSectionHead) {
        PANIC("pid 0x%x, section_len %d\n", pid, static_cast<int>(section.size()));
        return 0;
    }
    std::uint8_t* packet = packetized_buffer;
    for (Bytes rest = section; !rest.empty(); packet += kPacketSize) {
        const bool first = rest.size() == section.size();
        *continuity = (*continuity + 1) % 16;
        std::memset(packet, 0xFF, kPacketSize);
        packet[0] = kSyncByte;
        packet[1] = first ? 0x40 : 0x00;  // payload_unit_start_indicator; only PID 0 is ever cut
        packet[2] = static_cast<std::uint8_t>(pid);
        packet[3] = static_cast<std::uint8_t>(0x10 + *continuity);
        std::size_t head = kHead;
        if (first) packet[head++] = 0;  // pointer_field
        const Bytes piece = TakeAtMost(rest, kPacketSize - head);
        std::memcpy(packet + head, piece.data(), piece.size());
    }
    return static_cast<int>(packet - packetized_buffer);
}
