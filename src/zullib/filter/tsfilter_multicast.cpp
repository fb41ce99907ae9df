// Starting and stopping multicasts: tune, run the filter, wait, attach; and the reverse.
#include <arpa/inet.h>

#include <cstring>

#include "core/log.h"
#include "core/statistics.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"
#include "psip/tablecollector.h"

namespace {

constexpr std::int64_t kTableFillWait = 5 * platform::kSecond;  ///< the PID table fills from the new channel
constexpr std::int64_t kStopWait = 100 * platform::kMillisecond;

}  // namespace

bool TsFilter::StartMulticast(int streamId, char* cmd) {
    char* position = nullptr;
    const char* const mcastIp = strtok_r(cmd, ",", &position);
    const char* const port = strtok_r(nullptr, ",", &position);
    const char* const frequency = strtok_r(nullptr, ",", &position);
    if (mcastIp == nullptr || port == nullptr || frequency == nullptr) return false;
    if (inet_addr(mcastIp) == INADDR_NONE) {
        PANIC("Invalid Ip address %s", mcastIp);
        return false;
    }
    if (streamId < 0 || streamId >= kStreams) {
        PANIC("StartMulticast: streamId out of range: %d", streamId);
        return false;
    }
    RestartCollector();
    mpTunerManager->TuneToChannel(static_cast<int>(hatoi(frequency)));
    mpStatistics->Reset();
    FilterActive(true);
    platform::Sleep(kTableFillWait);

    AddStream(streamId, mcastIp, static_cast<std::uint16_t>(Decimal(port)));
    const char* tmp = strtok_r(nullptr, ",", &position);
    if (tmp == nullptr) AddAllProgramsToStream(streamId);
    while (tmp != nullptr) {
        const char* const program = strtok_r(nullptr, ",", &position);
        LOG("Add Program tmp %s, program %s\n", tmp, program != nullptr ? program : "(null)");
        if (program == nullptr) break;
        AddProgramToStream(streamId, static_cast<std::uint16_t>(hatoi(tmp)),
                           static_cast<std::uint16_t>(hatoi(program)));
        tmp = strtok_r(nullptr, ",", &position);
    }
    mPatVersion.store(-1, std::memory_order_relaxed);  // the next PAT builds this stream's own
    return true;
}

/// Resets all section state, between two buffers.
void TsFilter::RestartCollector() {
    auto fresh = std::make_unique<TableCollector>();
    const platform::MutexLock lock(mMutex);
    mpTableCollector.swap(fresh);
    mUnindentifiedStreamers = 0;
}

/// \return the lowest slot that holds a stream, or kStreams
int TsFilter::LowestStream() {
    const platform::MutexLock lock(mMutex);
    int slot = 0;
    while (slot < kStreams && !mStreamersList[slot]) ++slot;
    return slot;
}

bool TsFilter::StopMulticast(int streamId, bool really) {
    FilterActive(false);
    platform::Sleep(kStopWait);
    mPatVersion.store(-1, std::memory_order_relaxed);
    if (streamId == kAllStreams) {
        // Deactivate all first: a removal waits for the current buffer, and so for failed sends of the others.
        for (int id = 0; id < kStreams; ++id) Deactivate(id);
        for (int id = 0; id < kStreams; ++id) RemoveStream(id);
    } else {
        RemoveStream(streamId);
    }
    {
        const platform::MutexLock lock(mMutex);
        mpStreamerList = nullptr;
    }
    const int left = LowestStream();
    if (really && left < kStreams) {
        LOG("StopMulticast: found another stream %d, re-enabling filter & returning\n", left);
        FilterActive(true);
        return true;
    }
    CleanPacketIdMap();
    return true;
}

bool TsFilter::EnterScanMode(bool enter) {
    FilterActive(false);
    StopMulticast(kAllStreams, true);
    if (enter) FilterActive(true);
    mPatVersion.store(-1, std::memory_order_relaxed);
    return true;
}
