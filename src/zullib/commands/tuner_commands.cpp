// Commands for the tuner and the scan: Tuner://, SCA?, SCAL, BLIND, and the tuner's mode.
#include <cstring>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"

namespace {

constexpr std::int64_t kModeWait = platform::kSecond;
constexpr std::int64_t kTuneWait = platform::kSecond;
constexpr int kAllStreams = -1;

constexpr const char* kModeTexts[] = {"ATSC", "QAM64", "QAM256"};
static_assert(std::size(kModeTexts) == TunerManager::eModeMax);

constexpr char finito[] = "ffff\r\nOK\r\n";  ///< ends the SCAL report, its zero byte too
constexpr int kReportPiece = 1024;           ///< bytes behind which a piece of the report is sent

/// The scan's state as SCA? tells it, by ScanStateEnum.
constexpr unsigned char kStateCodes[] = {0, 2, 5, 0xff};
static_assert(TunerManager::eScanError == std::size(kStateCodes) - 1);

}  // namespace

/// Sets the tuner's mode, here and with the settings agent. \return false for a mode that there isn't
bool CommandManager::SetTunerMode(int mode) {
    LOG("Setting the tuner mode to %d\n", mode);
    if (mode < 0 || mode >= TunerManager::eModeMax) {
        CopyText(mTunerMode, "TUNER_ERR");
        PANIC("Invalid Tuner Mode: %s\n", mTunerMode);
        return false;
    }
    CopyText(mTunerMode, kModeTexts[mode]);
    mpTunerManager->SetMode(static_cast<TunerManager::TunerModeEnum>(mode));
    mpSnmp->SnmpSet("%s i %d", Oid(TUNER_MODE), mode);
    platform::Sleep(kModeWait);
    return true;
}

/// Tuner handlers on a receiver say so. \return true on a transmitter
bool CommandManager::IsTransmitter() const {
    if (mMyType == 'T') return true;
    PANIC("Bad type %c", mMyType);
    return false;
}

/// Tuner://: a scan of one channel. \param param  the channel in hexadecimal; 0 scans them all
char* CommandManager::ProcessTunerTuneCommand(char* param) {
    if (!IsTransmitter()) return mKo;
    if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) return mKo;
    if (UpgradeHoldsBack()) {
        LOG("Upgrade in progress - command rejected");
        return mKo;
    }
    const unsigned channel = hatoi(param);
    mpTunerManager->SetTunerForwarding(mpServer.get());
    mpTunerManager->ScanOneChannel(static_cast<int>(channel));
    mpTunerManager->BlindScan(TunerManager::eScanUk);
    platform::Sleep(kTuneWait);
    return mOk;
}

/// SCA?: four raw bytes: 0, current channel, channels found, state. \return null, as it replies for itself
char* CommandManager::ProcessTunerScanStatusCommand(char* buffer) {
    if (!IsTransmitter()) return mKo;
    const auto reply = reinterpret_cast<unsigned char*>(buffer);
    reply[0] = 0;
    reply[1] = static_cast<unsigned char>(mpTunerManager->GetCurrentChannel());
    reply[2] = static_cast<unsigned char>(mpTunerManager->GetTotalChannelsFound());
    mpTunerManager->SetTunerForwarding(mpServer.get());
    const int state = mpTunerManager->ScanState();
    if (state >= 0 && state <= TunerManager::eScanError) {
        reply[3] = kStateCodes[state];
    } else {
        PANIC("BUG!!!");
    }
    LOG("SCA? reply: 0x%.2x 0x%.2x 0x%.2x 0x%.2x\n", reply[0], reply[1], reply[2], reply[3]);
    mpServer->Reply(buffer, 4);
    return nullptr;
}

/// SCAL: the store as lines, several to a datagram, none split.
/// \return null, as it replies for itself; mKo during a scan
char* CommandManager::ProcessTunerScanQueryCommand(char* buffer) {
    if (!IsTransmitter()) return mKo;
    if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) {
        PANIC("Scan in progress!");
        return mKo;
    }
    mpTunerManager->SetTunerForwarding(mpServer.get());
    mpTunerManager->RewindScan();
    constexpr std::size_t kRoom = kCommandSize - 4;  // `buffer` stands behind the keyword
    int pos = 0;
    for (bool over = false; !over;) {
        const int n = mpTunerManager->GetNextProgramScalFormatted(buffer + pos, kRoom - static_cast<std::size_t>(pos));
        pos += n;
        over = n == 0;
        if (over) {
            std::memcpy(buffer + pos, finito, sizeof finito);
            pos += static_cast<int>(sizeof finito);
        }
        if (!over && pos <= kReportPiece) continue;
        if (mpServer->Reply(buffer, pos) < 0) PANIC("Could not send out SCAL item");
        pos = 0;
    }
    return nullptr;
}

/// BLIND: starts a scan with 0 to 3, stops it with 99. \return null, as the scan's messages tell the rest
char* CommandManager::ProcessTunerScanBlindCommand(char* param) {
    if (!IsTransmitter()) return mKo;
    const int num = Decimal(param);
    if (UpgradeHoldsBack()) {
        LOG("Upgrade in progress - command rejected");
        return mKo;
    }
    if (num >= TunerManager::eScanUk && num <= TunerManager::eScanAsia) {
        LOG("Received BLIND command for %d\n", num);
        if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) {
            LOG("BLIND (Start scan) command received while scanning");
            return mKo;
        }
        mpTunerManager->SetTunerForwarding(mpServer.get());
        mpTsf->StopMulticast(kAllStreams, true);
        mpTunerManager->BlindScan(static_cast<TunerManager::ScanTypeEnum>(num));
        return nullptr;
    }
    if (num == TunerManager::eScanStop) {
        LOG("Received STOP BLIND command %d\n", num);
        mpTunerManager->SetTunerForwarding(mpServer.get());
        mpTunerManager->BlindScan(TunerManager::eScanStop);
        return nullptr;
    }
    LOG("Received INVALID BLIND command %d !!!\n", num);
    ReplyText(param, kCommandSize - 5).Add("BLINDSTART:0 %s", mKo);
    return param;
}
