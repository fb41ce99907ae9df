// Construction of the filter, and the small accessors.
#include "filter/tsfilter.h"

#include "core/broadcasttime.h"
#include "core/statistics.h"
#include "filter/debugfiles.h"
#include "guide/tunermanager.h"
#include "psip/tablecollector.h"

FILE* dbg_file_in = nullptr;
FILE* dbg_file_out = nullptr;

namespace {

std::atomic<TsFilter*> tsFilter{nullptr};

}  // namespace

TsFilter::TsFilter(char type, TunerManager* tuner)
    : mpTunerManager(tuner),
      mpTime(Time::Self()),
      mpTableCollector(std::make_unique<TableCollector>()),
      mpStatistics(Statistics::Self()),
      mPacketIdMap(std::make_unique<PacketIdMapType[]>(kPids)),
      mMyType(type) {
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

/// Puts the PID table to its start: only PID 0 is known, and never forwarded.
void TsFilter::CleanRows() {
    mpStreamerList = nullptr;
    for (unsigned pid = 0; pid < kPids; ++pid) mPacketIdMap[pid] = PacketIdMapType{};
    mPacketIdMap[kPatPid].type = ePidPat;
    mPacketIdMap[kPatPid].block = true;
}

namespace {

void Replace(FILE*& file, FILE* by) {
    if (file != nullptr) std::fclose(file);
    file = by;
}

}  // namespace

void TsFilter::SetDebugInput(FILE* file) {
    const platform::MutexLock lock(mMutex);
    Replace(dbg_file_in, file);
}

void TsFilter::SetDebugOutput(FILE* file) {
    const platform::MutexLock lock(mMutex);
    Replace(dbg_file_out, file);
}

char* TsFilter::GetMjdDateTime() { return mpTime->GetMjdDateTime(0, nullptr); }
