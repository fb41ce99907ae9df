// The blind scan, from the command that starts it to its messages on each channel.
#include "guide/scan.h"

#include <cstdint>
#include <cstdio>
#include <new>

#include "core/log.h"
#include "core/modulethread.h"
#include "core/statistics.h"
#include "guide/channelrange.h"
#include "platform/machine.h"

namespace {

constexpr int kUsableStrength = 3;  ///< of 5

constexpr std::int64_t kSettleWait = 2 * platform::kSecond;
constexpr std::int64_t kStartPoll = 50 * platform::kMillisecond;
constexpr std::int64_t kStopPoll = 100 * platform::kMillisecond;
constexpr std::int64_t kThreadPoll = platform::kSecond;
constexpr std::int64_t kMeasureWait = platform::kSecond;
constexpr int kListenSeconds = 5;       ///< on a channel with a signal
constexpr int kExtraListenSeconds = 5;  ///< if no programme was found so far

constexpr const char* kStarted = "BLINDSTART:0 OK\r\n";
constexpr const char* kNoThread = "BLINDSTART:1 KO\r\n";
constexpr const char* kCompleted = "BLINDCMP:0 OK\r\n";
constexpr const char* kStopAccepted = "OK\r\n";

void* scan_thread(void* arg) {
    static_cast<Scan*>(arg)->RunScanThread();
    return nullptr;
}

/// PATs and PMTs analysed since construction.
class TableCount {
 public:
    int Pats() const { return static_cast<int>(Statistics::Self()->mPatCounter.load() - mPats); }
    int Pmts() const { return static_cast<int>(Statistics::Self()->mPmtCounter.load() - mPmts); }

 private:
    std::uint32_t mPats = Statistics::Self()->mPatCounter;
    std::uint32_t mPmts = Statistics::Self()->mPmtCounter;
};

}  // namespace

void Scan::ScanOneChannel(int channel) {
    mRole.RequireTransmitter();
    mScanOneChannel.store(channel, std::memory_order_relaxed);
}

int Scan::GetTotalChannelsFound() const {
    mRole.RequireTransmitter();
    return mTotalChannelsFound.load(std::memory_order_relaxed);
}

bool Scan::BlindScan(ScanTypeEnum type) {
    mRole.RequireTransmitter();
    platform::Sleep(kSettleWait);
    if (type >= eScanUk && type <= eScanAsia) return StartScan();
    if (type == eScanStop) {
        mPeer.Send(kStopAccepted);
        mRunScan.store(false, std::memory_order_release);
        while (mScanRunning.load(std::memory_order_acquire)) platform::Sleep(kStopPoll);
    }
    return true;
}

/// Wakes the scan thread, which the first start creates. \return false when there is no thread
bool Scan::StartScan() {
    static bool threadMade = false;  // one attempt per process
    static bool threadRuns = false;
    mScanState.store(eScanInProgress, std::memory_order_release);
    mRunScan.store(true, std::memory_order_release);
    if (!threadMade) {
        threadMade = true;
        threadRuns = StartModuleThread(scan_thread, this);
        if (!threadRuns) PANIC("CANT CREATE scan thread\n");
    }
    if (!threadRuns) {
        mPeer.Send(kNoThread);
        EndScan(eScanError);
        return false;
    }
    while (!mScanRunning.load(std::memory_order_acquire) &&
           mScanState.load(std::memory_order_acquire) == eScanInProgress) {
        platform::Sleep(kStartPoll);
    }
    return true;
}

void Scan::RunScanThread() {
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

/// Ends a scan. `mRunScan` is cleared first: once the other two are written, the next start may set it again.
int Scan::EndScan(ScanStateEnum state) {
    mRunScan.store(false, std::memory_order_release);
    mScanState.store(state, std::memory_order_release);
    mScanRunning.store(false, std::memory_order_release);
    return 0;
}

int Scan::DoScan() {
    mRole.RequireTransmitter();
    if (mpFilter.load(std::memory_order_acquire) == nullptr) {
        PANIC("No tsFilter!");
        return EndScan(eScanError);
    }
    const auto modeRange = ScanRange(mTuner.Mode());
    if (!modeRange) {
        PANIC("Unsupported tuner mode");
        return EndScan(eScanError);
    }
    ChannelRange range = *modeRange;
    const int one = mScanOneChannel.exchange(0, std::memory_order_relaxed);
    // A channel without a list isn't scanned.
    if (one > 0) range = one < ProgrammeStore::kChannels ? ChannelRange{one, one} : ChannelRange{0, -1};

    mScanState.store(eScanInProgress, std::memory_order_release);
    mScanRunning.store(true, std::memory_order_release);
    LOG("%s", kStarted);
    mPeer.Send(kStarted);
    mTotalChannelsFound.store(0, std::memory_order_relaxed);
    mStore.Clear();
    if (range.first <= range.last) mStore.SetCurrentChannel(range.first);
    for (int channel = range.first; channel <= range.last && mRunScan.load(std::memory_order_acquire); ++channel) {
        ScanChannel(channel);
        mStore.SetCurrentChannel(channel + 1);
    }
    if (one <= 0 && !mStore.SaveScanResults()) PANIC("Can't save scan results");
    LOG("%s", kCompleted);
    mPeer.Send(kCompleted);
    return EndScan(eScanDone);
}

void Scan::EnterScanMode(bool enter) {
    ScanFilter* const filter = mpFilter.load(std::memory_order_acquire);
    if (filter != nullptr) filter->EnterScanMode(enter);
}

void Scan::ScanChannel(int channel) {
    EnterScanMode(false);
    LOG("Tune to channel %d\n", channel);
    mTuner.TuneToChannel(channel);
    platform::Sleep(kMeasureWait);
    const int strength = mTuner.ReadStrength();
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
    mPeer.Send(message);
    ListenToChannel(channel, strength);
    std::snprintf(message, sizeof message, "BLINDFND:%d OK\r\n", mStore.ProgramsOnChannel());
    LOG("%s", message);
    mPeer.Send(message);
}

/// Lets the filter run on a channel, for longer if it finds no programme at first.
void Scan::ListenToChannel(int channel, int strength) {
    const TableCount since;
    EnterScanMode(true);
    platform::Sleep(kListenSeconds * platform::kSecond);
    if (mStore.ProgramsOnChannel() == 0) {
        PANIC("Found chan %d strength %d of 5, but no programs! Rcvd %d PATs and %d PMTs. Try again.\n", channel,
              strength, since.Pats(), since.Pmts());
        platform::Sleep(kExtraListenSeconds * platform::kSecond);
        if (mStore.ProgramsOnChannel() == 0) {
            PANIC(
                "Waited extra %d seconds, but still nothing ... Rcvd %d PATs and %d PMTs. giving up on this channel\n",
                kExtraListenSeconds, since.Pats(), since.Pmts());
        }
    }
    EnterScanMode(false);
}
