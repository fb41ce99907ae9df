/// The serial port, bridged to the master byte by byte.
#pragma once

#include <atomic>

#include "bridges/forwarding.h"
#include "platform/mutex.h"

class SnmpLocal;

/// Reads the port on its own thread, and writes it on the command thread. Receivers only.
class Uart {
 public:
    /// Starts the thread. Ends the process when that fails.
    Uart();
    ~Uart();
    Uart(const Uart&) = delete;
    Uart& operator=(const Uart&) = delete;

    /// The reading loop; never returns.
    void RunThread();

    /// Writes bytes to the port; drops them while the bridge is off.
    /// \return false when they can't all be written
    bool ProcessUartCommand(const char* cmd, int len) EXCLUDES(mMutex);

    /// Passes the port's parameters to the settings agent.
    /// \param cmd  "baud,databits,parity,stopbits", cut in place
    /// \return false for any other form, and when the agent fails
    bool ProcessUartSetParameters(char* cmd, SnmpLocal* pSnmp) EXCLUDES(mMutex);

    /// Starts the bridge to the last client of `pUdp`; null stops it. Once opened, the port stays open.
    void SetUartForwarding(UdpServer* pUdp) EXCLUDES(mMutex);

 private:
    friend class UartTest;

    bool WriteToUdp(const char* buffer, int len) EXCLUDES(mMutex);

    std::unique_ptr<UdpSender> mpUdp GUARDED_BY(mMutex);
    std::atomic<int> mSerialFd{0};  ///< 0 until first opened
    platform::Mutex mMutex;         ///< guards mpUdp, writes to the port, changes of its parameters
    std::atomic<bool> mForwardUart{false};
    std::atomic<bool> mChangingSettings{false};
};
