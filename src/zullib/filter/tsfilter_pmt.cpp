// PMT analysis (ISO/IEC 13818-1, 2.4.4.8): which PID carries what of which programme.
#include <algorithm>

#include "core/log.h"
#include "core/statistics.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/pmt.h"

namespace {

/// Callers of AnalyzeDescriptor.
constexpr int kCallerStream = 0;
constexpr int kCallerProgram = 1;

constexpr unsigned kCutsPerLine = 512;

}  // namespace

bool TsFilter::AnalyzeSectionPmt(unsigned char* packetPtr, std::uint16_t packetId) {
    const platform::MutexLock lock(mMutex);
    const Bytes section = WholeSection(packetPtr);
    if (SectionLength(section) > kMaxPsiSectionLength) {
        LOG("PMT: Bad section length: %d > 1021\n", static_cast<int>(SectionLength(section)));
        return false;
    }
    return AnalyzePmt(section, packetId);
}

/// \param section   whole, cut to its own length
/// \param packetId  PID of the PMT, 0 on a receiver
bool TsFilter::AnalyzePmt(Bytes section, std::uint16_t packetId) {
    Bytes loop = WithoutCrc(section);
    const auto head = TakePmtHead(loop);
    if (!head) {
        LOG_SOMETIMES(kCutsPerLine, "PMT: section cut\n");
        return true;
    }
    if (!head->descriptors.empty()) AnalyzeDescriptor(head->descriptors, packetId, kCallerProgram);
    if (!loop.empty()) AnalyzePmtProgramInfoLoop(loop, packetId, head->programNumber);
    mpStatistics->mPmtCounter.fetch_add(1, std::memory_order_relaxed);
    return true;
}

/// Assigns the elementary streams of a programme; each once, until the table is cleaned.
/// \param packetMapPid  PID of the PMT, 0 on a receiver
bool TsFilter::AnalyzePmtProgramInfoLoop(Bytes loop, std::uint16_t packetMapPid, std::uint16_t program_number) {
    const PacketIdMapType& mapRow = mPacketIdMap[packetMapPid];
    while (const auto stream = TakeEsEntry(loop)) {
        if (stream->pid == 0) continue;
        PacketIdMapType& row = mPacketIdMap[stream->pid];
        if (row.status != ePidKnown) {
            row.streamType = stream->streamType;
            row.programId = program_number;
            row.transportId = mapRow.transportId;
            mpTunerManager->SetInfoForProgram(row.transportId, program_number, stream->streamType, row.scrambling);
            row.type = ePidElementary;
            row.status = ePidKnown;
        }
        if (!stream->descriptors.empty()) AnalyzeDescriptor(stream->descriptors, stream->pid, kCallerStream);
    }
    if (!loop.empty()) LOG_SOMETIMES(kCutsPerLine, "PMT: entry cut\n");
    return true;
}
