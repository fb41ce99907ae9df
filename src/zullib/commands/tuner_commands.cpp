// Tuner://, SCA?, SCAL and BLIND: the tuner and the scan.
#include <cstring>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/texthelpers.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"

namespace {

constexpr std::int64_t kTuneWait = platform::kSecond;

constexpr char finito[] = "ffff\r\nOK\r\n";  ///< ends the SCAL report, including its zero byte
constexpr int kReportPiece = 1024;           ///< bytes after which a piece of the report is sent

/// The scan's state as SCA? reports it, by ScanStateEnum.
constexpr unsigned char kStateCodes[] = {0, 2, 5, 0xff};
static_assert(TunerManager::eScanError == std::size(kStateCodes) - 1);

}  // namespace

/// Tuner://: a scan of one channel. \param request  the channel in hexadecimal; 0 scans all
char* CommandManager::ProcessTunerTuneCommand(Request request) {
    if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) return mKo;
    if (UpgradeRefuses(kUpgradeRefusal)) return mKo;  // not by the table: a scan in progress is checked first
    const unsigned channel = hatoi(request.text);
    mpTunerManager->SetTunerForwarding(mpServer.get());
    mpTunerManager->ScanOneChannel(static_cast<int>(channel));
    mpTunerManager->BlindScan(TunerManager::eScanUk);
    platform::Sleep(kTuneWait);
    return mOk;
}

/// SCA?: four raw bytes: 0, current channel, channels found, state. \return null, as the reply is sent here
char* CommandManager::ProcessTunerScanStatusCommand(Request request) {
    const auto reply = reinterpret_cast<unsigned char*>(request.text);
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
    mpServer->Reply(request.text, 4);
    return nullptr;
}

/// SCAL: the store as lines, several to a datagram, none split.
/// \return null, as the reply is sent here; mKo during a scan
char* CommandManager::ProcessTunerScanQueryCommand(Request request) {
    if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) {
        PANIC("Scan in progress!");
        return mKo;
    }
    mpTunerManager->SetTunerForwarding(mpServer.get());
    mpTunerManager->RewindScan();
    char* const buffer = request.text;
    int pos = 0;
    for (bool over = false; !over;) {
        const int n =
            mpTunerManager->GetNextProgramScalFormatted(buffer + pos, request.room - static_cast<std::size_t>(pos));
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

/// BLIND: starts a scan with 0 to 3, stops it with 99. \return null, as the scan's messages report the rest
char* CommandManager::ProcessTunerScanBlindCommand(Request request) {
    const int num = Decimal(request.text);
    if (num >= TunerManager::eScanUk && num <= TunerManager::eScanAsia) {
        LOG("Received BLIND command for %d\n", num);
        if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) {
            LOG("BLIND (Start scan) command received while scanning");
            return mKo;
        }
        mpTunerManager->SetTunerForwarding(mpServer.get());
        mpTsf->StopMulticast(TsFilter::kAllStreams, true);
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
    request.Reply().Add("BLINDSTART:0 %s", mKo);
    return request.text;
}
