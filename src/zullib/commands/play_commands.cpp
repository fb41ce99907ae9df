// UNIT on a receiver: plays or stops a multicast.
#include <cstdio>
#include <cstring>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"
#include "playback/m710cmmd.h"

namespace {

constexpr std::int64_t kSectionsWait = 200 * platform::kMillisecond;  ///< for a section that is being analysed

/// Cuts at commas, runs of which count as one, from call to call.
char* NextField(char*& position) { return strtok_r(nullptr, ",", &position); }

}  // namespace

/// Shows a multicast on the video layer, with the picture layer transparent.
/// \param progId   programme number, 0 for none
/// \param audioId  PID of the audio, 0 for the player's choice
/// \return true
bool CommandManager::PlayLayer(const char* mcastIp, std::uint16_t mcastPort, int progId, int audioId) {
    static char line[512];
    LOG("PlayLayer: %s:%d, prid %x audioid %d (0x%x)\n", mcastIp, mcastPort, static_cast<unsigned>(progId), audioId,
        static_cast<unsigned>(audioId));
    std::snprintf(line, sizeof line, "-os 50 50 100 100 0 0 0");
    m710cmmd(line);
    const bool running = mcastPort == mMulticastPortReceived &&
                         std::strncmp(mcastIp, mMulticastIpReceived, sizeof mMulticastIpReceived) == 0;
    if (running) {
        std::snprintf(line, sizeof line, "-vs 50 50 100 100 0 255 0 -vdbg 14 %x %x ", static_cast<unsigned>(progId),
                      static_cast<unsigned>(audioId));
        m710cmmd(line);
    } else {
        std::snprintf(line, sizeof line, "-udp %.15s %d %x %x 50 50 100 100 0 255 0", mcastIp, mcastPort,
                      static_cast<unsigned>(progId), static_cast<unsigned>(audioId));
        m710cmmd(line);
        mPrevMcastPort = mcastPort;
        CopyText(mMulticastIpReceived, mcastIp);
    }
    if (mCCIndex != 0 && mpSnmp->SnmpSet("%s i %d", Oid(CLOSE_CAPTION), mCCIndex) == nullptr)
        PANIC("close caption play");
    return true;
}

/// UNIT on a receiver. The stored stream is cleared before the fields are looked at.
/// \param cmd   "UNIT", then the sub-command and its fields, separated by commas
/// \param save  whether the accepted text becomes the start-up item
char* CommandManager::ProcessSelectChannelsToPlay(char* cmd, bool save) {
    static char saveCmd[256];
    std::snprintf(saveCmd, kSavedUnitSize, "%s", cmd);
    if (mMyType != 'R') {
        PANIC("Bad type %c", mMyType);
        return mKo;
    }
    if (UpgradeHoldsBack()) {
        LOG("Upgrade in progress - command rejected");
        return mKo;
    }
    LOG("Processing cmd %s\n", cmd);
    char* position = nullptr;
    const char* const field = strtok_r(cmd + 4, ",", &position);
    if (field == nullptr) PANIC("Invalid UNIT cmd");
    const int subcmd = field != nullptr ? Decimal(field) : 0;
    ForgetStream();
    switch (subcmd) {
        case 0: StopPlaying(); break;
        case 1:
        case 3:
            if (!PlayFields(subcmd, position)) return mKo;
            break;
        default: PANIC("Invalid UNIT cmd"); return mKo;
    }
    if (save) SaveDefaultStartupItem(saveCmd);
    if (subcmd != 0) CopyUnitCommand(saveCmd);
    process_pat.store(true, std::memory_order_release);
    mLastUnitCommandId = subcmd;
    mAudioLanguageSec = mAudioLanguagePri = 0;
    return mOk;
}

/// Prepares a change of stream: the flag first, then a wait for the host's thread, the tables last.
void CommandManager::ForgetStream() {
    mMulticastIpReceived[0] = '\0';
    mMulticastPortReceived = 0;
    mProgramReceived = 0;
    process_pat.store(false, std::memory_order_release);
    platform::Sleep(kSectionsWait);
    mpTunerManager->CleanScalProgramDescriptors();
    mpTsf->CleanPacketIdMap();
}

/// \param position  in the text, behind the sub-command
/// \return false when address or port is missing
bool CommandManager::PlayFields(int subcmd, char* position) {
    const char* const mcastIp = NextField(position);
    if (mcastIp == nullptr) {
        PANIC("mcastIp");
        return false;
    }
    const char* const port = NextField(position);
    if (port == nullptr) {
        PANIC("mcastPort");
        return false;
    }
    const auto mcastPort = static_cast<std::uint16_t>(Decimal(port));
    std::uint16_t progId = 0;
    if (subcmd == 1 && NextField(position) != nullptr) {
        const char* const programme = NextField(position);
        if (programme != nullptr) progId = static_cast<std::uint16_t>(hatoi(programme));
    }
    if (!PlayLayer(mcastIp, mcastPort, progId, 0)) {
        PANIC("Can't play layer");
        return false;
    }
    CopyText(mMulticastIpReceived, mcastIp);
    mMulticastPortReceived = mcastPort;
    mProgramReceived = progId;
    return true;
}

void CommandManager::CopyUnitCommand(const char* text) {
    std::snprintf(mLastUnitCommand.get(), kSavedUnitSize, "%.*s", static_cast<int>(kSavedUnitSize) - 1, text);
}

void CommandManager::StopPlaying() {
    char layers[] = "-vs 50 50 100 100 0 0 0 -os 50 50 100 100 0 0 0 ";
    char stop[] = "-stopall";
    m710cmmd(layers);
    m710cmmd(stop);
    mMulticastPortReceived = 0;
    CopyText(mMulticastIpReceived, "0.0.0.0");
    CopyUnitCommand("");
}
