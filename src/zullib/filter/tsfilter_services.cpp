// Services around the data path: audio languages, datagram size, and what the bench wants to see.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/log.h"
#include "core/systemmanager.h"
#include "filter/tsfilter.h"
#include "platform/machine.h"
#include "psip/tablecollector.h"

namespace {

constexpr const char* kPacketSizeFile = "/mnt/hd1/zul_packet_size";
constexpr const char* kSavedStreamFile = "saved_stream.ts";  ///< in the working directory

/// stream_type values of audio (ISO/IEC 13818-1, table 2-34; ATSC A/53 for 0x81).
constexpr std::uint8_t kAudioStreamTypes[] = {0x03, 0x04, 0x0F, 0x81};

bool IsAudio(std::uint8_t streamType) {
    return std::find(std::begin(kAudioStreamTypes), std::end(kAudioStreamTypes), streamType) !=
           std::end(kAudioStreamTypes);
}

bool SameLanguage(const char* one, const char* other) { return std::strncmp(one, other, 3) == 0; }

/// One audio PID, and whether its language was asked for.
struct AudioPid {
    unsigned pid;
    char language[4];
    int type;
    bool wanted;
};

/// A row of the PID table as a dump shows it.
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

bool WritePacketSize(const std::string& path, int packetSize) {
    FILE* const file = std::fopen(path.c_str(), "we");
    if (file == nullptr) return false;
    const bool written = std::fprintf(file, "%d", packetSize) > 0;
    return std::fclose(file) == 0 && written;
}

}  // namespace

bool TsFilter::SetLanguageFilter(const char* langPri, int langPriType, const char* langSec, int langSecType) {
    std::vector<AudioPid> audio;
    int found = 0;
    {
        const platform::MutexLock lock(mMutex);
        for (unsigned pid = 1; pid < kPids; ++pid) {
            PacketIdMapType& row = mPacketIdMap[pid];
            if (!IsAudio(row.streamType)) continue;
            const bool wanted = (row.audioLangType == langPriType && SameLanguage(row.audioLanguage, langPri)) ||
                                (row.audioLangType == langSecType && SameLanguage(row.audioLanguage, langSec));
            AudioPid entry{pid, "", row.audioLangType, wanted};
            std::memcpy(entry.language, row.audioLanguage, sizeof entry.language);
            audio.push_back(entry);
            if (!wanted) continue;
            ++found;
            row.block = false;
        }
        // Without a match nothing changes, earlier blocks included.
        for (const AudioPid& entry : audio) {
            if (found > 0 && !entry.wanted) mPacketIdMap[entry.pid].block = true;
        }
    }
    for (const AudioPid& entry : audio) {
        LOG("Found audio packet pid 0x%x, pidlang %s, pidlangType %d, langPri %s, langPriType %d\n", entry.pid,
            entry.language, entry.type, langPri, langPriType);
    }
    LOG("SetLanguageFilter: found %d\n", found);
    for (const AudioPid& entry : audio) {
        if (found > 0 && !entry.wanted) LOG("Blocking packet 0x%x\n", entry.pid);
    }
    return true;
}

bool TsFilter::SetPacketSize(int packetSize) {
    {
        const platform::MutexLock lock(mMutex);
        for (const std::unique_ptr<Streamer>& streamer : mStreamersList) {
            if (streamer) streamer->SetPacketSize(packetSize);
        }
    }
    const std::string path = platform::DiskPath(kPacketSizeFile);
    {
        const WritableDisk disk;
        if (!disk.IsWritable()) {
            PANIC("Cant remount rw");
            return false;
        }
        if (!WritePacketSize(path, packetSize)) {
            PANIC("cant open zul_packet_size file for wr");
            return false;
        }
    }
    LOG("Saved new packet size of %d\n", packetSize);
    return true;
}

void TsFilter::DumpPids() {
    std::vector<DumpedRow> rows;
    {
        const platform::MutexLock lock(mMutex);
        for (unsigned pid = 0; pid < kPids; ++pid) {
            if (mPacketIdMap[pid].count > 0) rows.push_back(Copy(pid, mPacketIdMap[pid]));
        }
    }
    constexpr std::uint32_t kSeenForReal = 3;  // packets; a PID with fewer is taken for noise
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

void TsFilter::DebugSaveStream() {
    constexpr std::int64_t kPoll = 12500;  // microseconds
    FILE* const file = std::fopen(kSavedStreamFile, "we");
    if (file == nullptr) {
        PANIC("Can't open file");
        return;
    }
    mFilterRunning.store(true, std::memory_order_release);
    while (mRunFilter.load(std::memory_order_acquire)) platform::Sleep(kPoll);
    std::fclose(file);
}

void TsFilter::DebugFilterSavedStream() {
    constexpr std::size_t kBlock = 32768;
    constexpr std::int64_t kPause = 10 * platform::kMillisecond;
    static unsigned char block[kBlock];
    FILE* const file = std::fopen(kSavedStreamFile, "re");
    if (file == nullptr) PANIC("Can't open file");
    while (file != nullptr) {
        const std::size_t got = std::fread(block, 1, sizeof block, file);
        if (got == 0) break;
        Filter(block, static_cast<int>(got));
        platform::Sleep(kPause);
    }
    if (file != nullptr) std::fclose(file);
    DumpPids();
    std::printf("Exiting exiting exiting");
    std::exit(0);
}
