// The blind scan: every channel of the mode is tuned, measured and, where the signal is usable, listened to.
#include <cstdio>
#include <cstring>
#include <new>

#include "core/log.h"
#include "core/modulethread.h"
#include "core/sharedmem.h"
#include "core/statistics.h"
#include "guide/channelrange.h"
#include "guide/scanfilter.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"

namespace {

constexpr int kUsableStrength = 3;  ///< of 5

constexpr std::int64_t kSettleWait = 2 * platform::kSecond;
constexpr std::int64_t kStartPoll = 50 * platform::kMillisecond;
constexpr std::int64_t kStopPoll = 100 * platform::kMillisecond;
constexpr std::int64_t kThreadPoll = platform::kSecond;
constexpr std::int64_t kMeasureWait = platform::kSecond;
constexpr int kListenSeconds = 5;       ///< on a channel with a signal
constexpr int kExtraListenSeconds = 5;  ///< where the first seconds brought no programme

constexpr const char* kStarted = "BLINDSTART:0 OK\r\n";
constexpr const char* kNoThread = "BLINDSTART:1 KO\r\n";
constexpr const char* kCompleted = "BLINDCMP:0 OK\r\n";
constexpr const char* kStopAccepted = "OK\r\n";

void* scan_thread(void* arg) {
    static_cast<TunerManager*>(arg)->RunScanThread();
    return nullptr;
}

/// PATs and PMTs analysed since a moment.
class TableCount {
 public:
    int Pats() const { return static_cast<int>(Statistics::Self()->mPatCounter.load() - mPats); }
    int Pmts() const { return static_cast<int>(Statistics::Self()->mPmtCounter.load() - mPmts); }

 private:
    std::uint32_t mPats = Statistics::Self()->mPatCounter;
    std::uint32_t mPmts = Statistics::Self()->mPmtCounter;
};

}  // namespace

void TunerManager::ScanOneChannel(int channel) {
    RequireTransmitter();
    mScanOneChannel.store(channel, std::memory_order_relaxed);
}

void TunerManager::SendMessage(const char* text) { SendToPeer(text, std::strlen(text)); }

bool TunerManager::BlindScan(ScanTypeEnum type) {
    RequireTransmitter();
    platform::Sleep(kSettleWait);
    if (type >= eScanUk && type <= eScanAsia) return StartScan();
    if (type == eScanStop) {
        SendMessage(kStopAccepted);
        mRunScan.store(false, std::memory_order_release);
        while (mScanRunning.load(std::memory_order_acquire)) platform::Sleep(kStopPoll);
    }
    return true;
}

/// Wakes the scan thread, which the first start makes. \return false when there is no thread
bool TunerManager::StartScan() {
    static bool threadMade = false;  // one attempt in the life of the process
    static bool threadRuns = false;
    mScanState.store(eScanInProgress, std::memory_order_release);
    mRunScan.store(true, std::memory_order_release);
    if (!threadMade) {
        threadMade = true;
        threadRuns = StartModuleThread(scan_thread, this);
        if (!threadRuns) PANIC("CANT CREATE scan thread\n");
    }
    if (!threadRuns) {
        SendMessage(kNoThread);
        EndScan(eScanError);
        return false;
    }
    while (!mScanRunning.load(std::memory_order_acquire) &&
           mScanState.load(std::memory_order_acquire) == eScanInProgress) {
        platform::Sleep(kStartPoll);
    }
    return true;
}

void TunerManager::RunScanThread() {
    for (;;) {
        try {
            if (mRunScan.load(std::memory_order_acquire)) DoScan();
        } catch (const std::bad_alloc&) {
            PANIC("No memory for the scan");
            EndScan(eScanError);
        }
        platform::Sleep(kThreadPoll);
    }
}

/// Ends a scan. The state comes last: from then on the next start may want `mRunScan` again.
int TunerManager::EndScan(ScanStateEnum state) {
    mRunScan.store(false, std::memory_order_release);
    mScanState.store(state, std::memory_order_release);
    mScanRunning.store(false, std::memory_order_release);
    return 0;
}

int TunerManager::DoScan() {
    RequireTransmitter();
    if (mpFilter.load(std::memory_order_acquire) == nullptr) {
        PANIC("No tsFilter!");
        return EndScan(eScanError);
    }
    const auto modeRange = ScanRange(mTunerMode.load(std::memory_order_relaxed));
    if (!modeRange) {
        PANIC("Unsupported tuner mode");
        return EndScan(eScanError);
    }
    ChannelRange range = *modeRange;
    const int one = mScanOneChannel.exchange(0, std::memory_order_relaxed);
    // A channel that no list stands for is walked by no turn.
    if (one > 0) range = one < kChannels ? ChannelRange{one, one} : ChannelRange{0, -1};

    mScanState.store(eScanInProgress, std::memory_order_release);
    mScanRunning.store(true, std::memory_order_release);
    LOG("%s", kStarted);
    SendMessage(kStarted);
    ClearStore();
    if (range.first <= range.last) SetCurrentChannel(range.first);
    for (int channel = range.first; channel <= range.last && mRunScan.load(std::memory_order_acquire); ++channel) {
        ScanChannel(channel);
        SetCurrentChannel(channel + 1);
    }
    if (one <= 0 && !SaveScanResults()) PANIC("Can't save scan results");
    LOG("%s", kCompleted);
    SendMessage(kCompleted);
    return EndScan(eScanDone);
}

/// Empties the whole store and its figures.
void TunerManager::ClearStore() {
    mCurrentStrength.store(0, std::memory_order_relaxed);
    mTotalChannelsFound.store(0, std::memory_order_relaxed);
    const platform::MutexLock lock(mMutex);
    mCurrentChannel.store(0, std::memory_order_relaxed);
    for (ProgramList& list : mScalProgramDescriptors) list.clear();
    mScalRestart.store(true, std::memory_order_relaxed);  // the report mustn't go on from a programme that is gone
    ++mEmptied;
    CountGuideChange();
}

void TunerManager::SetCurrentChannel(int channel) {
    const platform::MutexLock lock(mMutex);
    mCurrentChannel.store(channel, std::memory_order_relaxed);
    CountGuideChange();
}

/// The filter's operation, if there is a filter.
void TunerManager::EnterScanMode(bool enter) {
    ScanFilter* const filter = mpFilter.load(std::memory_order_acquire);
    if (filter != nullptr) filter->EnterScanMode(enter);
}

void TunerManager::ScanChannel(int channel) {
    EnterScanMode(false);
    LOG("Tune to channel %d\n", channel);
    TuneToChannel(channel);
    platform::Sleep(kMeasureWait);
    const int strength = SharedMem::Self()->GetSignalStrengthTransmitter();
    mCurrentStrength.store(strength, std::memory_order_relaxed);
    if (strength < kUsableStrength) {
        if (strength == 1 || strength == 2) {
            PANIC("Found signal on channel %d, but too weak to be usable (%d of 5). Ignoring\n", channel, strength);
        }
        return;
    }
    mTotalChannelsFound.fetch_add(1, std::memory_order_relaxed);
    char message[32];
    std::snprintf(message, sizeof message, "BLINDLOCK:%d OK\r\n", channel);
    LOG("%s; chan strength %d\n", message, strength);
    SendMessage(message);
    ListenToChannel(channel, strength);
    std::snprintf(message, sizeof message, "BLINDFND:%d OK\r\n", mProgramsOnChannel.load(std::memory_order_relaxed));
    LOG("%s", message);
    SendMessage(message);
}

/// Lets the filter run, longer where nothing is found at first.
void TunerManager::ListenToChannel(int channel, int strength) {
    const TableCount since;
    EnterScanMode(true);
    platform::Sleep(kListenSeconds * platform::kSecond);
    if (mProgramsOnChannel.load(std::memory_order_relaxed) == 0) {
        PANIC("Found chan %d strength %d of 5, but no programs! Rcvd %d PATs and %d PMTs. Try again.\n", channel,
              strength, since.Pats(), since.Pmts());
        platform::Sleep(kExtraListenSeconds * platform::kSecond);
        if (mProgramsOnChannel.load(std::memory_order_relaxed) == 0) {
            PANIC(
                "Waited extra %d seconds, but still nothing ... Rcvd %d PATs and %d PMTs. giving up on this channel\n",
                kExtraListenSeconds, since.Pats(), since.Pmts());
        }
    }
    EnterScanMode(false);
}
