// What a board restores after a restart: the start-up item, which is the last accepted UNIT command, and TUNERMODE.
#include <strings.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "commands/commandmanager.h"
#include "core/log.h"
#include "core/replytext.h"
#include "core/snmplocal.h"
#include "core/systemmanager.h"
#include "core/texthelpers.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"
#include "zul.h"

namespace {

constexpr const char* kStartupFile = "/mnt/hd1/zul_def_startup";
constexpr const char* kTunerModeFile = "/mnt/hd1/zul_tunermode";
constexpr std::size_t kMaxStartupItem = 1024;  ///< bytes read of the file
constexpr std::size_t kMaxTunerMode = 6;
constexpr std::int64_t kModeWait = platform::kSecond;
constexpr std::int64_t kSaveWait = platform::kSecond;
constexpr std::int64_t kNetworkPoll = 500 * platform::kMillisecond;

/// Opens a file of the disk. \return null also when there is no memory for the path
FILE* OpenFile(const char* path, const char* mode) try {
    return std::fopen(platform::DiskPath(path).c_str(), mode);
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return nullptr;
}

/// Writes a text to a file and closes it.
/// \param file  null if it couldn't be opened
/// \return false without a file, or when it can't be written to its end
bool WriteAndClose(FILE* file, const char* text) {
    if (file == nullptr) return false;
    const std::size_t size = std::strlen(text);
    const bool written = std::fwrite(text, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

/// Reads at most `size` bytes of a file into `text`, which has room for a terminator.
/// \return false when it can't be opened
bool ReadFile(const char* path, const char* mode, char* text, std::size_t size) {
    FILE* const file = OpenFile(path, mode);
    if (file == nullptr) return false;
    text[std::fread(text, 1, size, file)] = '\0';
    std::fclose(file);
    return true;
}

constexpr const char* kModeTexts[] = {"ATSC", "QAM64", "QAM256"};
static_assert(std::size(kModeTexts) == TunerManager::eModeMax);

}  // namespace

/// Saves the text of a UNIT command for the next start. \return false when it can't be saved
bool CommandManager::SaveDefaultStartupItem(const char* cmd) {
    {
        const WritableDisk disk;
        if (!disk.IsWritable()) {
            PANIC("Can't remount rw");
            return false;
        }
        FILE* const file = OpenFile(kStartupFile, "we");
        if (file != nullptr) LOG("Saving Default Startup Item %s\n", cmd);
        if (!WriteAndClose(file, cmd)) {
            PANIC("Can't open def startup file");
            return false;
        }
    }
    platform::Sleep(kSaveWait);
    return true;
}

/// TUNERMODE saves and sets a mode; at start-up the saved mode is set and the saved item is played.
/// \param cmd  the mode in decimal, 0 to 2; null at start-up
char* CommandManager::ProcessTunerModeAndDefaultStartupItem(char* cmd) {
    if (mpTunerManager->ScanState() == TunerManager::eScanInProgress) return mKo;
    {
        const WritableDisk disk;
        if (!disk.IsWritable()) {
            PANIC("Can't remount HD rw");
            return mKo;
        }
        if (cmd == nullptr) {
            ReadStartupFiles();
        } else if (mMyType == 'T' && !SaveTunerMode(Decimal(cmd))) {
            return mKo;
        }
    }
    if (cmd == nullptr) PlayStartupItem();
    return mOk;
}

/// Sets the tuner's mode, here and with the settings agent. \return false for a mode that doesn't exist
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

/// \return false for a mode that doesn't exist; nothing changes then
bool CommandManager::SaveTunerMode(int tunerMode) {
    if (tunerMode < TunerManager::eATSC || tunerMode >= TunerManager::eModeMax) return false;
    char text[8];
    std::snprintf(text, sizeof text, "%d\n", tunerMode);
    if (WriteAndClose(OpenFile(kTunerModeFile, "we"), text)) {
        LOG("Saved mode %s\n", text);
    } else {
        PANIC("Cant open tunermode file for w");
    }
    SetTunerMode(tunerMode);
    return true;
}

/// Restores the tuner's mode, and reads the start-up item into the command buffer.
void CommandManager::ReadStartupFiles() {
    if (mMyType == 'T') {
        char mode[kMaxTunerMode + 1] = "";
        ReadFile(kTunerModeFile, "re", mode, kMaxTunerMode);
        SetTunerMode(Decimal(mode));
    }
    std::memset(mCommand.get(), 0, kMaxStartupItem + Request::kGuard);
    if (!ReadFile(kStartupFile, "r+e", mCommand.get(), kMaxStartupItem)) PANIC("Can't open def startup file");
}

/// Runs the start-up item as a UNIT command once the network is up. It isn't saved again.
void CommandManager::PlayStartupItem() {
    char* const item = mCommand.get();
    if (item[0] == '\0' || strncasecmp(item, "UNIT0", 5) == 0) {
        LOG("Default startup item is empty");
        return;
    }
    while (BeaconGetCount() == 0) {
        LOG("Waiting for Network Ready before playing default startup item...");
        platform::Sleep(kNetworkPoll);
    }
    LOG("Playing Default Startup Item: %s\n", item);
    SelectChannels(item, false);
}
