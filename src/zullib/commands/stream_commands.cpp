// Commands that choose what a transmitter sends: UNIT, the datagram size, the debug files; and the forwarding switch.
#include <cstring>

#include "bridges/ircontrol.h"
#include "bridges/uart.h"
#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "core/udpcom.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"

namespace {

constexpr std::int64_t kRestartWait = 100 * platform::kMillisecond;
constexpr std::int64_t kSlotWait = platform::kSecond;
constexpr int kAllStreams = -1;
constexpr int kMaxPacketSize = 32768;  ///< bytes
constexpr int kIrControlOn = 16;
constexpr int kCutLimit = 48;  ///< characters of UNIT2 in which the third comma is looked for

/// Cuts a text at its third comma, when that comes early enough.
void CutAtThirdComma(char* text) {
    int commas = 0;
    for (int i = 0; i < kCutLimit && text[i] != '\0'; ++i) {
        if (text[i] != ',' || ++commas < 3) continue;
        text[i] = '\0';
        return;
    }
}

}  // namespace

/// UNIT on a transmitter. A refused command saves nothing.
/// \param cmd   "UNIT", the sub-command's digit, a character that isn't looked at, then the parameters
/// \param save  whether the accepted text becomes the start-up item
char* CommandManager::ProcessSelectChannelsToStream(char* cmd, bool save) {
    static char saveCmd[256];
    std::snprintf(saveCmd, kSavedUnitSize, "%s", cmd);
    if (mMyType != 'T') {
        PANIC("Bad type %c", mMyType);
        return mKo;
    }
    if (UpgradeHoldsBack()) {
        LOG("Upgrade in progress - command rejected");
        return mKo;
    }
    if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) {
        LOG("Scan in progress - returning");
        return mKo;
    }
    const char cmdId = cmd[4];
    if (cmdId < '0' || cmdId > '5') {
        std::printf("Unknown UNIT command: %c\n", cmdId);
        return mKo;
    }
    if (!RunStreamCommand(cmdId, cmd + 6)) return mKo;
    if (save && !SaveDefaultStartupItem(saveCmd)) PANIC("Can't save default startup item\n");
    mLastUnitCommandId = static_cast<unsigned char>(cmdId);
    return mOk;
}

/// \return false when the sub-command is refused or its stream can't be started; the stops have happened then
bool CommandManager::RunStreamCommand(char cmdId, char* parameters) {
    switch (cmdId) {
        case '0': return mpTsf->StopMulticast(kAllStreams, true);
        case '2': CutAtThirdComma(parameters); [[fallthrough]];
        case '1':
            mpTsf->StopMulticast(kAllStreams, true);
            platform::Sleep(kRestartWait);
            return StartStream(0, parameters);
        case '3': PANIC("This command is only for receiver\n"); return false;
        default: return RunSlotCommand(cmdId, parameters);
    }
}

/// UNIT4 and UNIT5: one slot beside the others. Slot 0 is stopped as well.
bool CommandManager::RunSlotCommand(char cmdId, char* parameters) {
    char* const comma = std::strchr(parameters, ',');
    if (comma != nullptr) {
        *comma = '\0';
    } else {
        parameters[1] = '\0';
    }
    const int streamId = Decimal(parameters);
    mpTsf->StopMulticast(0, true);
    mpTsf->StopMulticast(streamId, true);
    platform::Sleep(kSlotWait);
    if (cmdId == '5') return true;
    return comma != nullptr && StartStream(streamId, comma + 1);
}

bool CommandManager::StartStream(int streamId, char* parameters) {
    if (mpTsf->StartMulticast(streamId, parameters)) return true;
    PANIC("Can't start multicast");
    return false;
}

/// MCASTPACKETSIZE: sets the datagram size of the streams.
/// \param cmd  text behind the keyword: bytes in decimal, 0 to 32768
/// \return mOk; or mKo out of that range, and the size stays as it was
char* CommandManager::ProcessPacketSize(char* cmd, int /*len*/) {
    const int packetSize = Decimal(cmd);
    LOG("Commanded packet size is %d\n", packetSize);
    if (packetSize < 0 || packetSize > kMaxPacketSize) return mKo;
    mpTsf->SetPacketSize(packetSize);
    return mOk;
}

/// CALLBACK: on a receiver, sends keys and serial bytes to the sender of this command, or stops that.
/// \param cmd  "CALLBACK" and a number; 1 turns the forwarding on
char* CommandManager::ProcessIrAndUartForward(char* cmd) {
    if (mMyType != 'R') return mOk;
    cmd[18] = '\0';
    const bool on = Decimal(cmd + 8) == 1;
    LOG(on ? "ZULXAPP cmdmgr turn ON Ir and Uart forwarding" : "ZULXAPP cmdmgr turn OFF Ir and Uart forwarding");
    UdpServer* const target = on ? mpServer.get() : nullptr;
    mpIrControl->SetIrForwarding(target);
    mpSnmp->SnmpSet("%s i %d", Oid(IR_CONTROL), kIrControlOn);
    mpUart->SetUartForwarding(target);
    mIrForwarding = on;
    return mOk;
}

/// STREAMFROMFILE: feeds the filter from a file and writes the streams to another; closes both when they aren't named.
/// \param cmd  "STREAMFROMFILE,input,output"; an input that begins with 'x' is none
void CommandManager::StreamFromFile(char* cmd) {
    mpTsf->SetDebugInput(nullptr);
    mpTsf->SetDebugOutput(nullptr);
    char* position = nullptr;
    const char* const input = strtok_r(cmd + 14, ",", &position);
    if (input == nullptr) return;
    if (input[0] != 'x') {
        LOG("Opeining file %s|\n", input);
        FILE* const file = std::fopen(input, "re");
        if (file == nullptr) {
            PANIC("Can't open %s\n", input);
            return;
        }
        mpTsf->SetDebugInput(file);
    }
    const char* const output = strtok_r(nullptr, ",", &position);
    if (output == nullptr) return;
    LOG("Opening file %s|\n", output);
    FILE* const file = std::fopen(output, "we");
    if (file == nullptr) {
        PANIC("Can't open %s\n", output);
        return;
    }
    mpTsf->SetDebugOutput(file);
}
