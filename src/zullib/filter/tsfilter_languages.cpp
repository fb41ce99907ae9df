// The language filter: which audio PIDs the streams carry.
#include <algorithm>
#include <cstring>
#include <vector>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "psip/streamtypes.h"

namespace {

bool SameLanguage(const char* one, const char* other) { return std::strncmp(one, other, 3) == 0; }

/// One audio PID, and whether its language was asked for.
struct AudioPid {
    unsigned pid;
    char language[4];
    int type;
    bool wanted;
};

}  // namespace

bool TsFilter::SetLanguageFilter(const char* langPri, int langPriType, const char* langSec, int langSecType) {
    std::vector<AudioPid> audio;
    int found = 0;
    {
        const platform::MutexLock lock(mMutex);
        for (unsigned pid = 1; pid < kPids; ++pid) {
            PacketIdMapType& row = mPacketIdMap[pid];
            if (!IsAudioStreamType(row.streamType)) continue;
            const bool wanted = (row.audioLangType == langPriType && SameLanguage(row.audioLanguage, langPri)) ||
                                (row.audioLangType == langSecType && SameLanguage(row.audioLanguage, langSec));
            AudioPid entry{pid, "", row.audioLangType, wanted};
            std::memcpy(entry.language, row.audioLanguage, sizeof entry.language);
            audio.push_back(entry);
            if (!wanted) continue;
            ++found;
            row.block = false;
        }
        // Without a match nothing changes; earlier blocks stay.
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
