// The command thread: runs the role's boot steps, then serves requests one at a time.
#include <sys/types.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "bridges/ircontrol.h"
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/sharedmem.h"
#include "core/snmplocal.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"
#include "zul.h"

namespace {

constexpr std::int64_t kBootWait = 3 * platform::kSecond;
constexpr std::int64_t kNetworkPoll = 500 * platform::kMillisecond;
constexpr int kRequestWaitSeconds = 15;
constexpr int kMaxReply = 1024;  ///< bytes of a reply, including its terminator

constexpr std::uint16_t kBootIrMode = 110;
constexpr int kNetworkBuffers = 3072;

/// Runs a boot step. The boot continues when a step runs out of memory.
template <typename Step>
void TakeStep(const char* name, Step step) {
    try {
        step();
    } catch (const std::bad_alloc&) {
        PANIC("No memory for %s", name);
    }
}

}  // namespace

int CommandManager::ProcessCommandLoop() {
    platform::Sleep(kBootWait);
    TakeStep("boot", [this] { BootRole(); });
    LOG("Start Beacon\n");
    BeaconStart(mMyType);
    if (!mpServer->Connect(mCommandPort)) {
        PANIC("receiver");
        return -1;
    }
    mpServer->IgnoreOtherGroups();
    TakeStep("startup item", [this] { ProcessTunerModeAndDefaultStartupItem(nullptr); });
    mCommand[0] = '\0';
    while (BeaconGetCount() == 0) {
        LOG("Waiting for Network Ready before dropping into command loop...\n");
        platform::Sleep(kNetworkPoll);
    }
    LOG("Enter command processing loop, listening on port %d\n", mCommandPort);
    global_debug_flag.store(0, std::memory_order_relaxed);
    BeaconSetCommandReady();
    for (;;) {
        if (mpServer->WaitForData(kRequestWaitSeconds, 0)) ServeRequest();
    }
}

void CommandManager::BootRole() {
    if (mMyType == 'T') {
        mpTunerManager->StartTuner();
        mpTunerManager->LoadScanResults();
        return;
    }
    SharedMem::Self()->IrModeCode(kBootIrMode);
    mpIrControl->SetIrForwarding(nullptr);
    mpSnmp->SnmpSet("%s i %d", Oid(IR_CONTROL), kIrControlOn);
    mpSnmp->SnmpSet("%s i %d", Oid(NETWORK_BUFFER_SIZE), kNetworkBuffers);
    LOG("Downgrade Dolby Digital +\n");
    platform::Shell("m710cmd -vdbg 22 1");
}

void CommandManager::ServeRequest() {
    char* const command = mCommand.get();
    command[0] = '\0';
    const int received = mpServer->Receive(command, kMaxRequest, 0);
    const int length = std::max(received, 0);
    std::memset(command + length, 0, Request::kGuard);

    if (mUpgrade.mUpgradeState == eUpgradeDownloading) {
        LOG("CommandManager recvd %d bytes\n", received);
    } else {
        LOG("CommandManager recvd: %s\n", command);
    }
    BeaconTellThatUdpTrafficReceived();

    char* const reply = ProcessCommand(command, length);
    if (reply == nullptr) return;
    int replyLength = static_cast<int>(std::strlen(reply));
    if (replyLength >= kMaxReply) {
        PANIC("buff too long");
        reply[kMaxReply - 1] = '\0';
        replyLength = kMaxReply;  // the terminator is sent too
    }
    LOG("CommandManager: reply: %s, len %d\n", reply, replyLength);
    mpServer->Reply(reply, replyLength);
}
