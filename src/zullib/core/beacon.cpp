// The discovery beacon: a short datagram to a multicast group, at random intervals while no master talks to the board.
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
constexpr unsigned kRestartBytes = 15;  ///< of a restart request, for the log

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

/// Held for a change of `beaconState` that goes by `trafficDetected`.
platform::Mutex& StateLock() {
    static auto* const mutex = new platform::Mutex;  // outlives the detached thread
    return *mutex;
}

/// What the thread keeps from turn to turn.
struct Turns {
    int trafficDetectedSave;
    int totalDelaySecs;
};

template <typename Socket>
void MakeWhenThereIsMemory(std::atomic<Socket*>& socket) {
    while ((socket = new (std::nothrow) Socket) == nullptr) {
        PANIC("No memory");
        platform::Sleep(platform::kSecond);
    }
}

void ConnectSockets() {
    while (!sender.load()->Connect(kBeaconPort, kGroup)) {
        PANIC("Can't connect 1!");
        platform::Sleep(platform::kSecond);
    }
    while (!receiver.load()->Connect(kRestartPort, kGroup)) {
        PANIC("Can't connect 2!");
        platform::Sleep(platform::kSecond);
    }
}

/// Waits for the address of eth0. \return its twelve digits
const char* WaitForMac() {
    for (;;) {
        const char* const mac = receiver.load()->GetSelfMacAddress("eth0");
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
    sender.load()->Send(beaconPacket, static_cast<int>(std::strlen(beaconPacket)));
}

/// Takes all restart requests that wait.
void ReadRestartRequests() {
    UdpServer* const server = receiver;
    char request[kRestartBytes + 1];
    while (server->WaitForData(0, 0)) {
        if (server->Receive(request, kRestartBytes, MSG_DONTWAIT) < 0) return;
        LOG("Received beacon restart request: %s\n", request);
        masterAddress = server->GetLastClientAddress();
    }
}

/// Goes to sleep when commands arrived. Locked, so that a restart between the look and the store isn't lost.
/// \return whether the beacon sleeps now
bool SleepsForTraffic(const Turns& turns) {
    const platform::MutexLock lock(StateLock());
    const int traffic = trafficDetected;
    if (traffic == turns.trafficDetectedSave || traffic == 0) return false;
    beaconState = eSleeping;
    return true;
}

void StepState(Turns& turns, int currentIntervalSecs) {
    if (beaconState == eSending) {
        if (SleepsForTraffic(turns)) return;
        SendBeacon();
        ++beaconCount;
        return;
    }
    const int traffic = trafficDetected;
    if (beaconState != eSleeping) return;
    if (traffic != turns.trafficDetectedSave) {
        turns.trafficDetectedSave = traffic;
        turns.totalDelaySecs = 0;
    }
    turns.totalDelaySecs += currentIntervalSecs;
    if (turns.totalDelaySecs >= kSilence) beaconState = eSending;
}

void TakeTurn(Turns& turns) {
    const int currentIntervalSecs = kShortestWait + std::rand() % kShortestWait;
    if (receiver.load()->WaitForData(currentIntervalSecs, 0)) {
        ReadRestartRequests();
        turns.trafficDetectedSave = trafficDetected;
        beaconState = eSending;
    }
    StepState(turns, currentIntervalSecs);
}

void* BeaconThread(void* /*arg*/) {
    beaconRunning = 1;
    masterAddress = 0;
    MakeWhenThereIsMemory(sender);
    MakeWhenThereIsMemory(receiver);
    ConnectSockets();
    const char* const mac = WaitForMac();
    const unsigned seed = hatoi(mac + 4);  // the address's last four bytes
    std::srand(seed);
    LOG("BeaconThread: The seed is %d\n", static_cast<int>(seed));
    BuildPacket(mac);
    ++beaconCount;
    while (commandReady == 0) {
        LOG("Beacon: Wait for command ready... \n");
        platform::Sleep(500 * platform::kMillisecond);
    }
    platform::Sleep((std::rand() % 2 + 1) * platform::kSecond);
    SendBeacon();  // of the start, and not counted
    Turns turns{trafficDetected, 0};
    beaconState = eSending;
    while (runBeacon != 0) TakeTurn(turns);

    delete sender.exchange(nullptr);
    delete receiver.exchange(nullptr);
    beaconCount = 0;
    beaconRunning = 0;
    return nullptr;
}

}  // namespace

int BeaconStart(char type) {
    BeaconType(type);
    while (beaconRunning != 0) platform::Sleep(platform::kSecond);
    trafficDetected = 0;
    runBeacon = 1;
    beaconRunning = 0;
    if (StartModuleThread(BeaconThread, nullptr)) return 0;
    PANIC("CANT CREATE sender thread");
    return -1;
}

void BeaconStop() {
    runBeacon = 0;
    raise(SIGCONT);
}

void BeaconRestart() {
    const platform::MutexLock lock(StateLock());
    beaconState = eSending;
    trafficDetected = 0;
}

void BeaconTellThatUdpTrafficReceived() { ++trafficDetected; }

char* BeaconGetMasterIp() {
    return receiver != nullptr ? inet_ntoa({masterAddress}) : nullptr;  // the server itself is the thread's
}

char* BeaconGetString() { return beaconPacket; }

unsigned int BeaconGetCount() { return beaconCount; }

void BeaconSetCommandReady() { commandReady = 1; }

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
