// Dumps to the log: PID table, languages and captions, section counters. Each copies under the lock and logs after it.
#include <cstring>
#include <vector>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "psip/tablecollector.h"

namespace {

/// A row of the PID table as a dump prints it.
struct DumpedRow {
    unsigned pid;
    std::int8_t status, type;
    std::uint8_t streamType;
    std::uint16_t transportId, programId, programMapPid;
    unsigned listAddress;
    int streams;
    std::uint32_t count;
    char audioLanguage[4];
    int audioLangType;
    char captionLanguage[4];
    bool block;
    int scrambling;
};

DumpedRow Copy(unsigned pid, const PacketIdMapType& row) {
    DumpedRow copy{pid,
                   row.status,
                   row.type,
                   row.streamType,
                   row.transportId,
                   row.programId,
                   row.programMapPid,
                   static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(row.streamers.get())),
                   row.streamers ? row.streamers->Count() : 0,
                   row.count,
                   "",
                   row.audioLangType,
                   "",
                   row.block,
                   row.scrambling};
    std::memcpy(copy.audioLanguage, row.audioLanguage, sizeof copy.audioLanguage);
    std::memcpy(copy.captionLanguage, row.captionLanguage, sizeof copy.captionLanguage);
    return copy;
}

}  // namespace

void TsFilter::DumpPids() {
    std::vector<DumpedRow> rows;
    {
        const platform::MutexLock lock(mMutex);
        for (unsigned pid = 0; pid < kPids; ++pid) {
            if (mPacketIdMap[pid].count > 0) rows.push_back(Copy(pid, mPacketIdMap[pid]));
        }
    }
    constexpr std::uint32_t kSeenForReal = 3;  // packets; fewer count as noise
    int bogus = 0;
    LOG("\n==== List Of Programs ===\n");
    for (const DumpedRow& row : rows) {
        if (row.count < kSeenForReal) {
            ++bogus;
            continue;
        }
        LOG("PID %.4x, Status %d, Typ %d, strTyp 0x%.2x, TSid 0x%.4x, PrId 0x%.4x PMapPid 0x%.4x, strmrs 0x%.8x (%d), "
            "cnt %d \tAL %s CL %s blk %d scr %d\n",
            row.pid, row.status, row.type, row.streamType, row.transportId, row.programId, row.programMapPid,
            row.listAddress, row.streams, static_cast<int>(row.count), row.audioLanguage, row.captionLanguage,
            row.block, row.scrambling);
    }
    LOG("\nTotal %d unique PIDs found; %d of them bogus\n", static_cast<int>(rows.size()), bogus);
    LOG("\n=========================\n");
}

void TsFilter::DumpLanguagesAndCaptions() {
    std::vector<DumpedRow> rows;
    {
        const platform::MutexLock lock(mMutex);
        for (unsigned pid = 1; pid < kPids; ++pid) {
            const PacketIdMapType& row = mPacketIdMap[pid];
            if (row.audioLanguage[0] != '\0' || row.captionLanguage[0] != '\0') rows.push_back(Copy(pid, row));
        }
    }
    LOG("\n===== Languages =====\n");
    for (const DumpedRow& row : rows) {
        if (row.audioLanguage[0] == '\0') continue;
        LOG("Languages: prog 0x%x pid 0x%x streamType 0x%x, lang %s type %.2x\n", row.programId, row.pid,
            row.streamType, row.audioLanguage, static_cast<unsigned>(row.audioLangType));
    }
    LOG("\n===================\n");
    LOG("\n===== Captions ====\n");
    for (const DumpedRow& row : rows) {
        if (row.captionLanguage[0] == '\0') continue;
        LOG("Subtitles: prog 0x%x pid 0x%x streamType 0x%x, lang %s\n", row.programId, row.pid, row.streamType,
            row.captionLanguage);
    }
    LOG("\n===================\n");
}

void TsFilter::DumpCollectionStats() {
    std::vector<PsipSection::Stats> sections;
    {
        const platform::MutexLock lock(mMutex);
        sections = mpTableCollector->GetStats();
    }
    TableCollector::PrintStats(sections);
}
