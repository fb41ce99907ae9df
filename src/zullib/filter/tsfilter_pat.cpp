// PAT analysis (ISO/IEC 13818-1, 2.4.4.3): programmes for the PID table and the store, and each stream's private PAT.
#include "core/log.h"
#include "core/statistics.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/pat.h"

namespace {

constexpr unsigned kAnalysisPeriod = 128;  ///< in PATs: one of each period, at kAnalysisPlace, is analysed again
constexpr unsigned kAnalysisPlace = 15;

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
        for (Streamer* streamer : streams) streamer->SendPrivatePat();  // at the rate of the broadcast's
    }
    const bool again = ++mPatVersionCounter % kAnalysisPeriod == kAnalysisPlace;
    // A command may have asked for a full analysis in the meantime: don't overwrite that.
    mPatVersion.compare_exchange_strong(versionBefore, again ? -1 : version, std::memory_order_relaxed);
    return true;
}

/// Reports every programme, and rebuilds the private PAT of every stream.
void TsFilter::AnalyzePatInFull(Bytes section, const StreamerList& streams) {
    LOG("Re-AnalyzeSectionPat\n");
    mpStatistics->mPatCounter.fetch_add(1, std::memory_order_relaxed);
    for (Streamer* streamer : streams) streamer->OwnPat().Begin(section);

    Bytes loop = section;
    const auto head = TakePatHead(loop);
    if (!head) return;
    loop = WithoutCrc(loop);
    std::size_t offset = kPatHeadSize;
    while (const auto entry = TakePatEntry(loop)) {
        AnalyzePatEntry(*entry, offset, head->transportStreamId, streams);
        offset += kPatEntrySize;
    }
    if (mMyType != 'T') return;
    for (Streamer* streamer : streams) streamer->OwnPat().Finish(mPatContinuity);
}

/// \param offset  of the entry in the section
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
        streamer->OwnPat().Blank(offset);
    }
}
