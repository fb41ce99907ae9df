// Remote-control keys: received, rate-limited and routed.
#include "bridges/ircontrol.h"

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "bridges/keytable.h"
#include "core/log.h"
#include "core/modulethread.h"
#include "core/sharedmem.h"
#include "core/udpcom.h"
#include "platform/machine.h"

namespace {

constexpr int kKeyQueue = 1250;
constexpr int kBrowserQueue = 945602;
constexpr int kMessageType = 1;
constexpr std::size_t kKeyMessageSize = 16;
constexpr std::size_t kKeyOffset = 4;  ///< of the key code in the message
constexpr std::size_t kBrowserMessageSize = 12;
constexpr std::int64_t kFailureWait = platform::kSecond;

constexpr std::uint32_t kVolumeGap = 250;  ///< 1/1024 seconds between the repeats of a held volume key
constexpr std::uint32_t kOtherGap = 300;   ///< 1/1024 seconds without any other key before it passes again

void* ir_thread(void* arg) {
    LOG("IR THREAD STARTED");
    static_cast<IrControl*>(arg)->ProcessIrKeys();
    return nullptr;
}

}  // namespace

IrControl::IrControl() {
    if (!mMsqInId.Create(kKeyQueue)) {
        PANIC("msgget in snmplc failed");
        std::exit(-1);
    }
    LOG("Obtained IR In msqid %d\n", mMsqInId.Id());
    if (!mMsqOutId.Create(kBrowserQueue)) {
        PANIC("msgget in snmplc failed");
        std::exit(-2);
    }
    LOG("Obtained IR Out msqid %d\n", mMsqOutId.Id());
    if (!StartModuleThread(ir_thread, this)) {
        PANIC("CANT CREATE IR thread\n");
        std::exit(-3);
    }
}

IrControl::~IrControl() {
    mRunIr.store(false, std::memory_order_relaxed);
    raise(SIGCONT);
    const platform::MutexLock lock(mMutex);
    mpUdp.reset();
}

int IrControl::ProcessIrKeys() {
    while (mRunIr.load(std::memory_order_relaxed)) {
        const int key = ReceiveKey();
        if (key < 0) {
            platform::Sleep(kFailureWait);
            PANIC("Error receiving key: %d", key);
            continue;
        }
        RouteKey(key);
    }
    return 0;
}

/// Forwarding has priority over the browser. The menu key reaches the browser even while it is hidden, and routes later
/// keys to it.
void IrControl::RouteKey(int key) {
    if (mForwardKeysToMaster.load(std::memory_order_relaxed)) {
        SendKeyToUdp(key);
    } else if (BrowserRunning() || key == kKeyMenu) {
        SendKeyToBrowser(key);
        if (key == kKeyMenu) BrowserRunning(true);
    } else {
        LOG("Dropping the IR key\n");
    }
}

/// \return the key's code, or a negative number on failure
int IrControl::ReceiveKey() {
    char message[kKeyMessageSize] = {};
    const ssize_t received = mMsqInId.Receive(kMessageType, message, sizeof message, 0);
    if (received == 0) return -1;
    if (received < 0) {
        PANIC("Message Queue receive error");
        platform::Sleep(kFailureWait);
        return -1;
    }
    const auto key = static_cast<signed char>(message[kKeyOffset]);
    LOG("ZULXAPP: Received key %.2x\n", static_cast<unsigned char>(key));
    return key;
}

/// Limits auto-repeat: a held volume key passes every kVolumeGap, any other key once.
/// \param repeat  gets 1 for a repeat of a held volume key, else 0; may be null
/// \return true when the key passes
bool IrControl::SlowKey(int key, std::uint8_t* repeat) {
    static int prev_key = -1;  // the infrared thread is the only user
    static std::uint32_t prev_time = platform::Tick();
    const std::uint32_t time = platform::Tick();
    const std::uint32_t elapsed = time - prev_time;
    const bool volume = key == kKeyVolumeUp || key == kKeyVolumeDown;
    const bool held = key == prev_key;
    const bool passes = !held || elapsed >= (volume ? kVolumeGap : kOtherGap);
    if (repeat != nullptr) *repeat = volume && held && passes ? 1 : 0;
    // A suppressed volume key doesn't restart its gap; any other key does.
    if (passes || !volume) prev_time = time;
    prev_key = key;
    return passes;
}

int IrControl::SendKeyToUdp(int key) {
    KeyDatagram buff = kKeyTemplate;
    buff.systemCode = static_cast<std::uint8_t>(SharedMem::Self()->IrModeCode());
    if (!mForwardKeysToMaster.load(std::memory_order_relaxed)) return 0;
    if (!SlowKey(key, &buff.repeat)) return 0;
    if (const RemoteKey* const row = FindKey(key)) {
        buff.key = row->datagramCode;
        std::printf("%s", row->name);
    } else {
        PANIC("Unknown key %d\n", key);
    }
    LOG(" Sending out key %.2x %.2x %.2x %.2x %.2x %.2x\n", buff.remoteId, buff.length, buff.systemCode, buff.key,
        buff.repeat, buff.crc);
    const platform::MutexLock lock(mMutex);
    if (mpUdp != nullptr) mpUdp->Send(&buff, sizeof buff);
    return 0;
}

/// \return 0, or -1 when the queue refuses the message
int IrControl::SendKeyToBrowser(int key) {
    if (!SlowKey(key, nullptr)) return 0;
    char text[kBrowserMessageSize] = {};
    std::snprintf(text, sizeof text, "-k%.3d", key);
    LOG("Sent key to Browser: %s\n", text);
    if (mMsqOutId.Send(kMessageType, text, sizeof text, 0)) return 0;
    std::printf("bcontr: Error sending msg");
    return -1;
}

void IrControl::SetIrForwarding(UdpServer* pUdp) {
    const platform::MutexLock lock(mMutex);
    if (pUdp == nullptr) {
        mForwardKeysToMaster.store(false, std::memory_order_relaxed);
        mpUdp.reset();
        return;
    }
    AimAtLastClient(mpUdp, *pUdp);
    mForwardKeysToMaster.store(true, std::memory_order_relaxed);
}
