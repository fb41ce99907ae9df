// PMT analysis (ISO/IEC 13818-1, 2.4.4.8): which PID carries what of which programme.
#include <algorithm>

#include "core/log.h"
#include "core/statistics.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/pmt.h"

namespace {

constexpr std::size_t kMaxSectionLength = 1021;
constexpr std::size_t kPmtHead = 12;

/// Who hands a descriptor loop over.
constexpr int kCallerStream = 0;
constexpr int kCallerProgram = 1;

constexpr unsigned kCutsPerLine = 512;

}  // namespace

bool TsFilter::AnalyzeSectionPmt(unsigned char* packetPtr, int packetId) {
    const platform::MutexLock lock(mMutex);
    const Bytes section = WholeSection(packetPtr);
    if (SectionLength(section) > kMaxSectionLength) {
        LOG("PMT: Bad section length: %d > 1021\n", static_cast<int>(SectionLength(section)));
        return false;
    }
    return AnalyzePmt(section, packetId);
}

/// \param section   bytes 3-4 program_number, 10-11 program_info_length (12 bits), 12- program info, then the streams
/// \param packetId  PID of the PMT, 0 on a receiver
bool TsFilter::AnalyzePmt(Bytes section, int packetId) {
    Bytes loop = WithoutCrc(section);
    const auto head = TakeFront(loop, kPmtHead);
    if (!head) {
        LOG_SOMETIMES(kCutsPerLine, "PMT: section cut\n");
        return true;
    }
    const std::uint16_t program_number = Be16(*head, 3);
    const Bytes programInfo = TakeAtMost(loop, Be16(*head, 10) & 0x0FFFu);
    if (!programInfo.empty()) AnalyzeDescriptor(programInfo, static_cast<std::uint16_t>(packetId), kCallerProgram);
    if (!loop.empty()) AnalyzePmtProgramInfoLoop(loop, packetId, program_number);
    mpStatistics->mPmtCounter.fetch_add(1, std::memory_order_relaxed);
    return true;
}

/// Settles the elementary streams of a programme: each once, until the table is cleaned.
/// \param packetMapPid  PID of the PMT, 0 on a receiver
bool TsFilter::AnalyzePmtProgramInfoLoop(Bytes loop, int packetMapPid, std::uint16_t program_number) {
    const PacketIdMapType& mapRow = mPacketIdMap[static_cast<unsigned>(packetMapPid)];
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
