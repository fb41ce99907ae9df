// What a board remembers over a restart: the last accepted UNIT command, and the tuner's mode.
#include <strings.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "commands/commandmanager.h"
#include "core/log.h"
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
constexpr std::size_t kTextGuard = 64;  ///< zero bytes behind the item, as behind a request
constexpr std::int64_t kSaveWait = platform::kSecond;
constexpr std::int64_t kNetworkPoll = 500 * platform::kMillisecond;

/// \return null also where there is no memory for the path: the disk has to become read-only all the same
FILE* OpenFile(const char* path, const char* mode) try {
    return std::fopen(platform::DiskPath(path).c_str(), mode);
} catch (const std::bad_alloc&) {
    errno = ENOMEM;
    return nullptr;
}

/// Writes a text to a file and closes it.
/// \param file  null where it couldn't be opened
/// \return false without a file, or when it can't be written to its end
bool WriteAndClose(FILE* file, const char* text) {
    if (file == nullptr) return false;
    const std::size_t size = std::strlen(text);
    const bool written = std::fwrite(text, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

/// Reads at most `size` bytes of a file into `text`, which has room for a terminator behind them.
/// \return false when it can't be opened
bool ReadFile(const char* path, const char* mode, char* text, std::size_t size) {
    FILE* const file = OpenFile(path, mode);
    if (file == nullptr) return false;
    text[std::fread(text, 1, size, file)] = '\0';
    std::fclose(file);
    return true;
}

}  // namespace

/// Keeps the text of a UNIT command for the next start. \return false when it can't be saved
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

/// TUNERMODE stores and sets a mode; at start-up both the saved mode and the saved item come back.
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

/// \return false for a mode that the tuner doesn't have; nothing changes then
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
    std::memset(mCommand.get(), 0, kMaxStartupItem + kTextGuard);
    if (!ReadFile(kStartupFile, "r+e", mCommand.get(), kMaxStartupItem)) PANIC("Can't open def startup file");
}

/// Runs the start-up item through the handler of a live command, when the network is there. It isn't saved again.
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
    if (mMyType == 'R') {
        ProcessSelectChannelsToPlay(item, false);
    } else {
        ProcessSelectChannelsToStream(item, false);
    }
}
