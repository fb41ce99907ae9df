// Construction of the filter, its run state, the PID table's reset and the debug files.
#include "filter/tsfilter.h"

#include "core/broadcasttime.h"
#include "core/statistics.h"
#include "guide/tunermanager.h"
#include "psip/tablecollector.h"

namespace {

std::atomic<TsFilter*> tsFilter{nullptr};

}  // namespace

TsFilter::TsFilter(char type, TunerManager* tuner)
    : mMyType(type),
      mpTunerManager(tuner),
      mpTime(Time::Self()),
      mpStatistics(Statistics::Self()),
      mpTableCollector(std::make_unique<TableCollector>()),
      mPacketIdMap(std::make_unique<PacketIdMapType[]>(kPids)) {
    {
        const platform::MutexLock lock(mMutex);
        CleanRows();
    }
    tsFilter.store(this, std::memory_order_release);
    mpTunerManager->SetScanFilter(this);
}

TsFilter::~TsFilter() {
    mpTunerManager->SetScanFilter(nullptr);
    TsFilter* self = this;
    tsFilter.compare_exchange_strong(self, nullptr);
}

TsFilter* TsFilter::Self() { return tsFilter.load(std::memory_order_acquire); }

void TsFilter::FilterActive(bool active) {
    if (active) mPatVersion.store(-1, std::memory_order_relaxed);
    mRunFilter.store(active, std::memory_order_release);
}

void TsFilter::CleanPacketIdMap() {
    const platform::MutexLock lock(mMutex);
    CleanRows();
}

/// Resets the PID table to its initial state: only PID 0 is known, and never forwarded.
void TsFilter::CleanRows() {
    mpStreamerList = nullptr;
    for (unsigned pid = 0; pid < kPids; ++pid) mPacketIdMap[pid] = PacketIdMapType{};
    mPacketIdMap[kPatPid].type = ePidPat;
    mPacketIdMap[kPatPid].block = true;
}

void TsFilter::SetDebugInput(FILE* file) {
    const platform::MutexLock lock(mMutex);
    mDebugInput.reset(file);
}

void TsFilter::SetDebugOutput(FILE* file) {
    const platform::MutexLock lock(mMutex);
    for (const std::unique_ptr<Streamer>& streamer : mStreamersList) {
        if (streamer) streamer->SetOutputFile(file);
    }
    mDebugOutput.reset(file);
}

char* TsFilter::GetMjdDateTime() { return mpTime->GetMjdDateTime(0, nullptr); }
