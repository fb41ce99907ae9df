// The results file of the scan: one line of text for each programme.
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/log.h"
#include "core/systemmanager.h"
#include "guide/programmestore.h"
#include "guide/programsummary.h"
#include "platform/machine.h"

namespace {

constexpr const char* kResultsFile = "/mnt/hd1/zul_scan_results";
constexpr int kFields = 22;

bool WriteLine(const ProgramSummary& program, FILE* file) {
    const auto& name = program.shortName;
    return std::fprintf(
               file,
               "%.3d %.4x %.4x %.4x %.2x %c %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x %.2x "
               "%.2x %.2x\n",
               program.channelNo, program.transportId, program.programId, program.channelId, program.strength,
               program.encryption, program.videoType, program.audioType, name[0], name[1], name[2], name[3], name[4],
               name[5], name[6], name[7], name[8], name[9], name[10], name[11], name[12], name[13]) > 0;
}

}  // namespace

bool ScalProgramDesc::SaveToFile(FILE* file) const { return WriteLine(ProgramSummary(*this), file); }

bool ScalProgramDesc::LoadFromFile(FILE* file) {
    unsigned transport = 0, programme = 0, channel = 0, strength = 0;
    unsigned name[kNameBytes] = {};
    const int converted = std::fscanf(file, "%d %x %x %x %x %c %x %x %x %x %x %x %x %x %x %x %x %x %x %x %x %x\n",
                                      &channelNo, &transport, &programme, &channel, &strength, &encryption, &videoType,
                                      &audioType, &name[0], &name[1], &name[2], &name[3], &name[4], &name[5], &name[6],
                                      &name[7], &name[8], &name[9], &name[10], &name[11], &name[12], &name[13]);
    for (std::size_t i = 0; i < kNameBytes; ++i) channelShortName[i] = static_cast<char>(name[i]);
    channelShortName[kNameBytes] = '\0';
    if (converted != kFields) {
        PANIC("Error reading scal from file: %d", converted);
        return false;
    }
    transportId = static_cast<std::uint16_t>(transport);
    programId = static_cast<std::uint16_t>(programme);
    channelId = static_cast<int>(channel);
    signalStrength = static_cast<int>(strength / SharedMem::kStrengthStep);
    LOG("Loadd Scal prog descr for chanid 0x%x, trid 0x%x, prid 0x%x ret %d\n", channel, transport, programme,
        converted);
    return true;
}

/// Copies the store under its lock and writes the file outside it: the stream must not wait for the disk.
bool ProgrammeStore::SaveScanResults() {
    mRole.RequireTransmitter();
    // Everything is allocated first: running out of memory must not leave the disk writable.
    const std::string path = platform::DiskPath(kResultsFile);
    std::vector<ProgramSummary> programmes;
    VisitAll([&](const ScalProgramDesc& program) { programmes.emplace_back(program); });
    {
        const WritableDisk disk;
        if (!disk.IsWritable()) {
            PANIC("Cant remount rw");
            return false;
        }
        FILE* const file = std::fopen(path.c_str(), "we");
        if (file == nullptr) {
            PANIC("cant open scan file for wr");
            return false;
        }
        for (const ProgramSummary& program : programmes) WriteLine(program, file);  // write errors are ignored
        std::fclose(file);
    }
    LOG("Saved scan results...");
    return true;
}

bool ProgrammeStore::LoadScanResults() {
    mRole.RequireTransmitter();
    FILE* const file = std::fopen(platform::DiskPath(kResultsFile).c_str(), "re");
    if (file == nullptr) {
        LOG("cant open scan file for read");
        return false;
    }
    {
        const platform::MutexLock lock(mMutex);
        CountGuideChange();
        for (;;) {
            ProgramList line(1);  // elements can't be copied or moved: a list node is spliced instead
            if (!line.front().LoadFromFile(file)) break;
            const int channel = line.front().channelId;
            if (channel < 0 || channel >= kChannels) {
                PANIC("Error reading scal from file: %d, no channel %d", kFields, channel);
                break;
            }
            ProgramList& list = mScalProgramDescriptors[channel];
            list.splice(list.end(), line);
        }
    }
    std::fclose(file);
    LOG("Loaded scan results");
    return true;
}
