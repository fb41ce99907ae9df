/// The blind scan.
#pragma once

#include <atomic>

#include "guide/messagepeer.h"
#include "guide/programmestore.h"
#include "guide/role.h"
#include "guide/scanfilter.h"
#include "guide/tuner.h"

/// Tunes every channel of the mode, measures it and, where the signal is usable, lets the filter fill the store. It
/// runs on its own thread, which the first start creates; the command thread starts and stops it with flags.
class Scan {
 public:
    enum ScanStateEnum { eScanIdle = 0, eScanInProgress = 1, eScanDone = 2, eScanError = 3 };
    enum ScanTypeEnum { eScanUk = 0, eScanEurope = 1, eScanAustralia = 2, eScanAsia = 3, eScanMax = 4, eScanStop = 99 };

    Scan(Role role, ProgrammeStore& store, Tuner& tuner, MessagePeer& peer)
        : mRole(role), mStore(store), mTuner(tuner), mPeer(peer) {}

    ScanStateEnum ScanState() const { return mScanState.load(std::memory_order_acquire); }
    int GetTotalChannelsFound() const;  ///< \return channels with a usable signal
    /// Sets the filter that the scan stops and starts; null removes it.
    void SetScanFilter(ScanFilter* filter) { mpFilter.store(filter, std::memory_order_release); }
    /// Limits the next scan to this channel; 0 and below set no limit.
    void ScanOneChannel(int channel);
    /// Starts or stops a scan and returns when the scan thread has reacted.
    /// \return false when a scan was requested and there is no scan thread
    bool BlindScan(ScanTypeEnum type);
    /// One whole scan, on the scan thread. \return 0
    int DoScan();
    /// Runs the body of the scan thread, forever.
    void RunScanThread();

 private:
    bool StartScan();
    int EndScan(ScanStateEnum state);
    void EnterScanMode(bool enter);
    void ScanChannel(int channel);
    void ListenToChannel(int channel, int strength);

    const Role mRole;
    ProgrammeStore& mStore;
    Tuner& mTuner;
    MessagePeer& mPeer;
    std::atomic<ScanFilter*> mpFilter{nullptr};
    std::atomic<bool> mRunScan{false};      ///< a scan is requested
    std::atomic<bool> mScanRunning{false};  ///< a scan is in its channel loop
    std::atomic<ScanStateEnum> mScanState{eScanIdle};
    std::atomic<int> mTotalChannelsFound{0};
    std::atomic<int> mScanOneChannel{0};
};
