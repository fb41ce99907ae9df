// UNIT and MCASTPACKETSIZE: what a transmitter streams and a receiver plays.
#include <cstdio>
#include <cstring>

#include "commands/commandmanager.h"
#include "commands/entry.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"
#include "playback/m710cmmd.h"

namespace {

constexpr std::size_t kSavedUnitSize = 255;  ///< bytes kept of a UNIT command, including its terminator
constexpr std::int64_t kRestartWait = 100 * platform::kMillisecond;
constexpr std::int64_t kSlotWait = platform::kSecond;
constexpr std::int64_t kSectionsWait = 200 * platform::kMillisecond;  ///< for a section that is being analysed
constexpr int kMaxPacketSize = 32768;                                 ///< bytes
constexpr int kCutLimit = 48;  ///< the third comma of UNIT2 is searched for in this many characters

/// Cuts a text at its third comma, if that is within the first kCutLimit characters.
void CutAtThirdComma(char* text) {
    int commas = 0;
    for (int i = 0; i < kCutLimit && text[i] != '\0'; ++i) {
        if (text[i] != ',' || ++commas < 3) continue;
        text[i] = '\0';
        return;
    }
}

}  // namespace

/// UNIT from a master.
char* CommandManager::ProcessUnit(Request request) {
    if (request.text[4] == '9') {
        PANIC("Invalid UNIT command 9");
        return mKo;
    }
    return SelectChannels(request.text, true);
}

/// UNIT: chooses what a transmitter streams or a receiver plays. The refusal during an upgrade is checked here and not
/// by the keyword table: UNIT9 is refused first, and a change of resolution replays a UNIT without the table.
/// \param save  whether the accepted text becomes the start-up item
char* CommandManager::SelectChannels(char* cmd, bool save) {
    if (UpgradeRefuses(kUpgradeRefusal)) return mKo;
    return mMyType == 'T' ? ProcessSelectChannelsToStream(cmd, save) : ProcessSelectChannelsToPlay(cmd, save);
}

/// UNIT on a transmitter. A refused command saves nothing.
/// \param cmd   "UNIT", the sub-command's digit, an ignored character, then the parameters
/// \param save  whether the accepted text becomes the start-up item
char* CommandManager::ProcessSelectChannelsToStream(char* cmd, bool save) {
    char saveCmd[kSavedUnitSize];
    CopyText(saveCmd, cmd);
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
        case '0': return mpTsf->StopMulticast(TsFilter::kAllStreams, true);
        case '2': CutAtThirdComma(parameters); [[fallthrough]];
        case '1':
            mpTsf->StopMulticast(TsFilter::kAllStreams, true);
            platform::Sleep(kRestartWait);
            return StartStream(0, parameters);
        case '3': PANIC("This command is only for receiver\n"); return false;
        default: return RunSlotCommand(cmdId, parameters);
    }
}

/// UNIT4 and UNIT5: start or stop one slot. Slot 0 is stopped as well.
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

/// UNIT on a receiver. The stored stream is cleared before the fields are read.
/// \param cmd   "UNIT", then the sub-command and its fields, separated by commas
/// \param save  whether the accepted text becomes the start-up item
char* CommandManager::ProcessSelectChannelsToPlay(char* cmd, bool save) {
    char saveCmd[kSavedUnitSize];
    CopyText(saveCmd, cmd);
    LOG("Processing cmd %s\n", cmd);
    CommaFields fields(cmd + 4);
    const char* const field = fields.Next();
    if (field == nullptr) PANIC("Invalid UNIT cmd");
    const int subcmd = field != nullptr ? Decimal(field) : 0;
    ForgetStream();
    switch (subcmd) {
        case 0: StopPlaying(); break;
        case 1:
        case 3:
            if (!PlayFields(subcmd, fields)) return mKo;
            break;
        default: PANIC("Invalid UNIT cmd"); return mKo;
    }
    if (save) SaveDefaultStartupItem(saveCmd);
    if (subcmd != 0) CopyText(mPlayback.mLastUnitCommand, saveCmd);
    process_pat.store(true, std::memory_order_release);
    mLastUnitCommandId = subcmd;
    mPlayback.mAudioLanguageSec = mPlayback.mAudioLanguagePri = 0;
    return mOk;
}

/// Prepares a change of stream: clears the flag, waits for the host's thread, then clears the tables.
void CommandManager::ForgetStream() {
    mPlayback.mMulticastIpReceived[0] = '\0';
    mPlayback.mMulticastPortReceived = 0;
    mPlayback.mProgramReceived = 0;
    process_pat.store(false, std::memory_order_release);
    platform::Sleep(kSectionsWait);
    mpTunerManager->CleanScalProgramDescriptors();
    mpTsf->CleanPacketIdMap();
}

/// \param fields  those after the sub-command
/// \return false when address or port is missing
bool CommandManager::PlayFields(int subcmd, CommaFields& fields) {
    const char* const mcastIp = fields.Next();
    if (mcastIp == nullptr) {
        PANIC("mcastIp");
        return false;
    }
    const char* const port = fields.Next();
    if (port == nullptr) {
        PANIC("mcastPort");
        return false;
    }
    const auto mcastPort = static_cast<std::uint16_t>(Decimal(port));
    std::uint16_t progId = 0;
    if (subcmd == 1 && fields.Next() != nullptr) {
        const char* const programme = fields.Next();
        if (programme != nullptr) progId = static_cast<std::uint16_t>(hatoi(programme));
    }
    if (!PlayLayer(mcastIp, mcastPort, progId, 0)) {
        PANIC("Can't play layer");
        return false;
    }
    CopyText(mPlayback.mMulticastIpReceived, mcastIp);
    mPlayback.mMulticastPortReceived = mcastPort;
    mPlayback.mProgramReceived = progId;
    return true;
}

void CommandManager::StopPlaying() {
    char layers[] = "-vs 50 50 100 100 0 0 0 -os 50 50 100 100 0 0 0 ";
    char stop[] = "-stopall";
    m710cmmd(layers);
    m710cmmd(stop);
    mPlayback.mMulticastPortReceived = 0;
    CopyText(mPlayback.mMulticastIpReceived, "0.0.0.0");
    mPlayback.mLastUnitCommand[0] = '\0';
}

/// Shows a multicast on the video layer, with the picture layer transparent.
/// \param progId   programme number, 0 for none
/// \param audioId  PID of the audio, 0 for the player's choice
/// \return true
bool CommandManager::PlayLayer(const char* mcastIp, std::uint16_t mcastPort, int progId, int audioId) {
    char line[512];
    LOG("PlayLayer: %s:%d, prid %x audioid %d (0x%x)\n", mcastIp, mcastPort, static_cast<unsigned>(progId), audioId,
        static_cast<unsigned>(audioId));
    std::snprintf(line, sizeof line, "-os 50 50 100 100 0 0 0");
    m710cmmd(line);
    const bool running =
        mcastPort == mPlayback.mMulticastPortReceived &&
        std::strncmp(mcastIp, mPlayback.mMulticastIpReceived, sizeof mPlayback.mMulticastIpReceived) == 0;
    if (running) {
        std::snprintf(line, sizeof line, "-vs 50 50 100 100 0 255 0 -vdbg 14 %x %x ", static_cast<unsigned>(progId),
                      static_cast<unsigned>(audioId));
        m710cmmd(line);
    } else {
        std::snprintf(line, sizeof line, "-udp %.15s %d %x %x 50 50 100 100 0 255 0", mcastIp, mcastPort,
                      static_cast<unsigned>(progId), static_cast<unsigned>(audioId));
        m710cmmd(line);
        mPlayback.mPrevMcastPort = mcastPort;
        CopyText(mPlayback.mMulticastIpReceived, mcastIp);
    }
    if (mPlayback.mCCIndex != 0 && mpSnmp->SnmpSet("%s i %d", Oid(CLOSE_CAPTION), mPlayback.mCCIndex) == nullptr)
        PANIC("close caption play");
    return true;
}

/// MCASTPACKETSIZE: sets the datagram size of the streams.
/// \param request  bytes in decimal, 0 to 32768
/// \return mOk; or mKo out of that range, and the size stays as it was
char* CommandManager::ProcessPacketSize(Request request) {
    const int packetSize = Decimal(request.text);
    LOG("Commanded packet size is %d\n", packetSize);
    if (packetSize < 0 || packetSize > kMaxPacketSize) return mKo;
    mpTsf->SetPacketSize(packetSize);
    return mOk;
}
