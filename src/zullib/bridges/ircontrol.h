/// Remote-control keys: routed from the board's infrared service to the master or the browser, or dropped.
#pragma once

#include <atomic>
#include <cstdint>

#include "bridges/forwarding.h"
#include "platform/msgqueue.h"
#include "platform/mutex.h"

/// Routes the keys on its own thread. Receivers only.
class IrControl {
 public:
    /// Opens the queues and starts the thread. Ends the process when that fails.
    IrControl();
    ~IrControl();
    IrControl(const IrControl&) = delete;
    IrControl& operator=(const IrControl&) = delete;

    /// The thread's loop. \return 0 once the object is being destroyed
    int ProcessIrKeys();

    /// Sends the keys to the last client of `pUdp`; null keeps them on the board.
    void SetIrForwarding(UdpServer* pUdp) EXCLUDES(mMutex);

    /// Starts or stops sending keys to the browser.
    void BrowserRunning(bool running) { mBrowserRunning.store(running, std::memory_order_relaxed); }

 private:
    friend class IrControlTest;

    int ReceiveKey();
    void RouteKey(int key);
    int SendKeyToUdp(int key) EXCLUDES(mMutex);
    int SendKeyToBrowser(int key);
    bool BrowserRunning() const { return mBrowserRunning.load(std::memory_order_relaxed); }
    bool SlowKey(int key, std::uint8_t* repeat);

    platform::MsgQueue mMsqInId;
    platform::MsgQueue mMsqOutId;
    std::atomic<bool> mRunIr{true};
    std::atomic<bool> mForwardKeysToMaster{false};
    std::unique_ptr<UdpSender> mpUdp GUARDED_BY(mMutex);
    std::atomic<bool> mBrowserRunning{false};
    platform::Mutex mMutex;
};
