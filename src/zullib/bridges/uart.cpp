// The serial port, bridged to the master byte by byte.
#include "bridges/uart.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/log.h"
#include "core/modulethread.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "platform/machine.h"

namespace {

constexpr const char* kPort = "/dev/ttyS0";
constexpr std::int64_t kPoll = platform::kSecond;
constexpr char kPrefix[4] = {'U', 'A', 'R', 'T'};
constexpr int kDatagramSize = sizeof kPrefix + 1;

void* uart_thread(void* arg) {
    static_cast<Uart*>(arg)->RunThread();
    return nullptr;
}

}  // namespace

Uart::Uart() {
    if (!StartModuleThread(uart_thread, this)) {
        PANIC("CANT CREATE UART thread\n");
        std::exit(-3);
    }
}

Uart::~Uart() {
    const platform::MutexLock lock(mMutex);
    mpUdp.reset();
}

void Uart::RunThread() {
    for (;;) {
        const bool forwards = mForwardUart.load(std::memory_order_acquire);  // before the port: it is opened first
        const int port = mSerialFd.load(std::memory_order_relaxed);
        if (!forwards || port == 0 || mChangingSettings.load(std::memory_order_relaxed)) {
            platform::Sleep(kPoll);
            continue;
        }
        char byte = 0;
        const ssize_t got = read(port, &byte, 1);
        if (got == 1) WriteToUdp(&byte, 1);
        if (got >= 0 || errno == EINTR) continue;
        if (mChangingSettings.load(std::memory_order_relaxed)) {
            LOG("UartThread: Looping ildly while serial port settings are being changed\n");
        } else {
            PANIC("Can't read from serial %d\n", port);
        }
        platform::Sleep(kPoll);
    }
}

/// Sends one datagram per byte. \return false when one can't be sent; the rest is dropped
bool Uart::WriteToUdp(const char* buffer, int len) {
    if (!mForwardUart.load(std::memory_order_relaxed)) return true;
    for (int i = 0; i < len; ++i) {
        char datagram[kDatagramSize];
        std::memcpy(datagram, kPrefix, sizeof kPrefix);
        datagram[sizeof kPrefix] = buffer[i];
        bool sent = false;
        {
            const platform::MutexLock lock(mMutex);  // per byte: the forwarding may be switched between two bytes
            if (mpUdp == nullptr) return true;
            sent = mpUdp->Send(datagram, kDatagramSize) == kDatagramSize;
        }
        if (sent) continue;
        LOG("Can't send serial via UDP\n");
        return false;
    }
    return true;
}

bool Uart::ProcessUartCommand(const char* cmd, int len) {
    const platform::MutexLock lock(mMutex);
    const int port = mSerialFd.load(std::memory_order_relaxed);
    if (!mForwardUart.load(std::memory_order_relaxed) || port == 0) return true;
    if (write(port, cmd, static_cast<std::size_t>(len)) == len) return true;
    PANIC("Can't write to serial");
    return false;
}

bool Uart::ProcessUartSetParameters(char* cmd, SnmpLocal* pSnmp) {
    const platform::MutexLock lock(mMutex);
    CommaFields fields(cmd);
    const char* const baud = fields.Next();
    const char* const databits = fields.Next();
    const char* const parity = fields.Next();
    if (baud == nullptr || databits == nullptr || parity == nullptr || std::strlen(parity) != 1) return false;
    const char* const stopbits = fields.Rest();
    if (stopbits == nullptr || stopbits[0] == '\0') return false;
    char value[64];
    // Parity moves to the second place.
    std::snprintf(value, sizeof value, "\"%d,%s,%d,%d\"", Decimal(baud), parity, Decimal(databits), Decimal(stopbits));
    LOG("New serial params are %s\n", value);
    if (pSnmp->SnmpSet("%s s %s", Oid(SERIAL_PARAMETERS), value) == nullptr) {
        PANIC("serialParameters: %s", cmd);
        return false;
    }
    if (pSnmp->SnmpSet("%s i %d", Oid(CONFIG_SAVE), 0) == nullptr) {
        PANIC("configSave");
        return false;
    }
    return true;
}

void Uart::SetUartForwarding(UdpServer* pUdp) {
    const platform::MutexLock lock(mMutex);
    if (pUdp == nullptr) {
        mForwardUart.store(false, std::memory_order_relaxed);
        mpUdp.reset();
        return;
    }
    AimAtLastClient(mpUdp, *pUdp);
    if (mSerialFd.load(std::memory_order_relaxed) < 1) {
        mSerialFd.store(open(platform::DiskPath(kPort).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC),
                        std::memory_order_relaxed);
        if (mSerialFd.load(std::memory_order_relaxed) < 0) {
            PANIC("Cant open serial\n");
            return;
        }
    }
    mForwardUart.store(true, std::memory_order_release);
}
