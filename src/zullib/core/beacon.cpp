// The discovery beacon: a short datagram to a multicast group, at random intervals while no master sends commands.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/log.h"
#include "core/modulethread.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "core/version.h"
#include "platform/machine.h"
#include "platform/mutex.h"
#include "zul.h"

namespace {

constexpr const char* kGroup = "239.255.250.250";
constexpr std::uint16_t kBeaconPort = 52428;
constexpr std::uint16_t kRestartPort = kBeaconPort + 1;

constexpr const char* kTransmitterText =
    "ZULB<Device-UUID=ZUL_IPTV_TX_QAM-%s><Device-SDKClass=SettopBox><Device-Make=ZUL-Marvane>"
    "<Device-Model=ZUL_IPTV_TX_QAM><Device-Revision=%d.%d.%d>\r\n";
constexpr const char* kReceiverText =
    "ZULB<Device-UUID=ZUL_IPTV_RX_HD-%s><Device-SDKClass=SettopBox><Device-Make=ZUL-Marvane>"
    "<Device-Model=ZUL_IPTV_RX_HD><Device-Revision=%d.%d.%d>\r\n";

constexpr std::size_t kMacDigits = 12;
constexpr int kShortestWait = 30;       ///< seconds between beacons, at random up to twice that
constexpr int kSilence = 601;           ///< seconds without a command that wake the beacon
constexpr unsigned kRestartBytes = 15;  ///< read of a restart request, for the log

enum BeaconStateEnum { eNone = 0, eSending = 1, eSleeping = 2 };

std::atomic<int> beaconState{eSending};
std::atomic<int> runBeacon{1};
std::atomic<int> beaconRunning{0};
std::atomic<int> commandReady{0};
std::atomic<unsigned> beaconCount{0};
std::atomic<int> trafficDetected{0};
char beaconPacket[256];
std::atomic<UdpSender*> sender{nullptr};
std::atomic<UdpServer*> receiver{nullptr};
std::atomic<in_addr_t> masterAddress{0};  ///< of the last restart request, network order

/// Held for a change of `beaconState` that depends on `trafficDetected`.
platform::Mutex& StateLock() {
    static platform::StaticMutex mutex;
    return mutex.Get();
}

/// State of the thread between iterations.
struct Turns {
    int trafficDetectedSave;
    int totalDelaySecs;
};

template <typename Socket>
void MakeWhenThereIsMemory(std::atomic<Socket*>& socket) {
    for (;;) {
        socket.store(new (std::nothrow) Socket, std::memory_order_release);
        if (socket.load(std::memory_order_relaxed) != nullptr) return;
        PANIC("No memory");
        platform::Sleep(platform::kSecond);
    }
}

void ConnectSockets() {
    while (!sender.load(std::memory_order_relaxed)->Connect(kBeaconPort, kGroup)) {
        PANIC("Can't connect 1!");
        platform::Sleep(platform::kSecond);
    }
    while (!receiver.load(std::memory_order_relaxed)->Connect(kRestartPort, kGroup)) {
        PANIC("Can't connect 2!");
        platform::Sleep(platform::kSecond);
    }
}

/// Waits for the address of eth0. \return its twelve digits
const char* WaitForMac() {
    for (;;) {
        const char* const mac = receiver.load(std::memory_order_relaxed)->GetSelfMacAddress("eth0");
        const std::size_t length = std::strlen(mac);
        if (length == kMacDigits) return mac;
        PANIC("Can't get valid MAC address: %s (len %d)", mac, static_cast<int>(length));
        platform::Sleep(platform::kSecond);
    }
}

void BuildPacket(const char* mac) {
    const int numbers[] = {version_get_major(), version_get_minor(), version_get_build()};
    if (BeaconType(0)[0] == 'T') {
        std::snprintf(beaconPacket, sizeof beaconPacket, kTransmitterText, mac, numbers[0], numbers[1], numbers[2]);
    } else {
        std::snprintf(beaconPacket, sizeof beaconPacket, kReceiverText, mac, numbers[0], numbers[1], numbers[2]);
    }
}

void SendBeacon() {
    LOG("Sending beacon out: %s\n", beaconPacket);
    sender.load(std::memory_order_relaxed)->Send(beaconPacket, static_cast<int>(std::strlen(beaconPacket)));
}

/// Takes all pending restart requests.
void ReadRestartRequests() {
    UdpServer* const server = receiver.load(std::memory_order_relaxed);
    char request[kRestartBytes + 1];
    while (server->WaitForData(0, 0)) {
        if (server->Receive(request, kRestartBytes, MSG_DONTWAIT) < 0) return;
        LOG("Received beacon restart request: %s\n", request);
        masterAddress.store(server->GetLastClientAddress(), std::memory_order_relaxed);
    }
}

/// Puts the beacon to sleep after commands arrived. Locked, so that a restart between the load and the store isn't
/// lost.
/// \return whether the beacon sleeps now
bool SleepsForTraffic(const Turns& turns) {
    const platform::MutexLock lock(StateLock());
    const int traffic = trafficDetected.load(std::memory_order_relaxed);
    if (traffic == turns.trafficDetectedSave || traffic == 0) return false;
    beaconState.store(eSleeping, std::memory_order_relaxed);
    return true;
}

void StepState(Turns& turns, int currentIntervalSecs) {
    if (beaconState.load(std::memory_order_relaxed) == eSending) {
        if (SleepsForTraffic(turns)) return;
        SendBeacon();
        beaconCount.fetch_add(1, std::memory_order_release);
        return;
    }
    const int traffic = trafficDetected.load(std::memory_order_relaxed);
    if (beaconState.load(std::memory_order_relaxed) != eSleeping) return;
    if (traffic != turns.trafficDetectedSave) {
        turns.trafficDetectedSave = traffic;
        turns.totalDelaySecs = 0;
    }
    turns.totalDelaySecs += currentIntervalSecs;
    if (turns.totalDelaySecs >= kSilence) beaconState.store(eSending, std::memory_order_relaxed);
}

void TakeTurn(Turns& turns) {
    const int currentIntervalSecs = kShortestWait + std::rand() % kShortestWait;
    if (receiver.load(std::memory_order_relaxed)->WaitForData(currentIntervalSecs, 0)) {
        ReadRestartRequests();
        turns.trafficDetectedSave = trafficDetected.load(std::memory_order_relaxed);
        beaconState.store(eSending, std::memory_order_relaxed);
    }
    StepState(turns, currentIntervalSecs);
}

void* BeaconThread(void* /*arg*/) {
    beaconRunning.store(1, std::memory_order_relaxed);
    masterAddress.store(0, std::memory_order_relaxed);
    MakeWhenThereIsMemory(sender);
    MakeWhenThereIsMemory(receiver);
    ConnectSockets();
    const char* const mac = WaitForMac();
    const unsigned seed = hatoi(mac + 4);  // the address's last four bytes
    std::srand(seed);
    LOG("BeaconThread: The seed is %d\n", static_cast<int>(seed));
    BuildPacket(mac);
    beaconCount.fetch_add(1, std::memory_order_release);
    while (commandReady.load(std::memory_order_acquire) == 0) {
        LOG("Beacon: Wait for command ready... \n");
        platform::Sleep(500 * platform::kMillisecond);
    }
    platform::Sleep((std::rand() % 2 + 1) * platform::kSecond);
    SendBeacon();  // at start-up; not counted
    Turns turns{trafficDetected.load(std::memory_order_relaxed), 0};
    beaconState.store(eSending, std::memory_order_relaxed);
    while (runBeacon.load(std::memory_order_relaxed) != 0) TakeTurn(turns);

    delete sender.exchange(nullptr, std::memory_order_relaxed);
    delete receiver.exchange(nullptr, std::memory_order_relaxed);
    beaconCount.store(0, std::memory_order_relaxed);
    beaconRunning.store(0, std::memory_order_release);
    return nullptr;
}

}  // namespace

int BeaconStart(char type) {
    BeaconType(type);
    while (beaconRunning.load(std::memory_order_acquire) != 0) platform::Sleep(platform::kSecond);
    trafficDetected.store(0, std::memory_order_relaxed);
    runBeacon.store(1, std::memory_order_relaxed);
    beaconRunning.store(0, std::memory_order_relaxed);
    if (StartModuleThread(BeaconThread, nullptr)) return 0;
    PANIC("CANT CREATE sender thread");
    return -1;
}

void BeaconStop() {
    runBeacon.store(0, std::memory_order_relaxed);
    raise(SIGCONT);
}

void BeaconRestart() {
    const platform::MutexLock lock(StateLock());
    beaconState.store(eSending, std::memory_order_relaxed);
    trafficDetected.store(0, std::memory_order_relaxed);
}

void BeaconTellThatUdpTrafficReceived() { trafficDetected.fetch_add(1, std::memory_order_relaxed); }

char* BeaconGetMasterIp() {
    const bool running =
        receiver.load(std::memory_order_relaxed) != nullptr;  // the server itself belongs to the thread
    return running ? inet_ntoa({masterAddress.load(std::memory_order_relaxed)}) : nullptr;
}

char* BeaconGetString() { return beaconPacket; }

unsigned int BeaconGetCount() { return beaconCount.load(std::memory_order_acquire); }

void BeaconSetCommandReady() { commandReady.store(1, std::memory_order_release); }

char* BeaconType(char typ) {
    static char myType[2] = {' ', ' '};
    if (typ == 'T' || typ == 'R') {
        myType[0] = typ;
        myType[1] = '\0';
    }
    if (myType[0] != 'T' && myType[0] != 'R') {
        PANIC("myType %c", myType[0]);
        std::exit(-1);
    }
    return myType;
}
