// The tuner, driven by the board's command-line tool.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/log.h"
#include "core/sharedmem.h"
#include "guide/channelrange.h"
#include "guide/tunermanager.h"
#include "platform/machine.h"

namespace {

constexpr const char* kTool = "m710cmmd ";
constexpr const char* kQuiet = " >/dev/null";
constexpr std::size_t kLineSize = 128;
constexpr std::size_t kArgumentSize = 96;  ///< 95 characters and a terminator

constexpr std::int64_t kTuneWait = 3 * platform::kSecond;
constexpr std::int64_t kStopWait = platform::kSecond;

}  // namespace

void TunerManager::M710CmmdSet(const char* format, ...) {
    RequireTransmitter();
    char arguments[kArgumentSize];
    va_list list;
    va_start(list, format);
    std::vsnprintf(arguments, sizeof arguments, format, list);
    va_end(list);
    char line[kLineSize];
    std::snprintf(line, sizeof line, "%s%s%s", kTool, arguments, kQuiet);
    LOG("%s", line);
    platform::Shell(line);
}

bool TunerManager::StartTuner() {
    RequireTransmitter();
    return true;
}

bool TunerManager::StopTuner() {
    RequireTransmitter();
    M710CmmdSet("-stopvid");
    platform::Sleep(kStopWait);
    return true;
}

bool TunerManager::TuneToChannel(int channelNo) {
    RequireTransmitter();
    const ChannelRange range = TuneRange(mTunerMode.load(std::memory_order_relaxed));
    if (channelNo < range.first || channelNo > range.last) return false;
    {
        const platform::MutexLock lock(mMutex);
        mProgramsOnChannel.store(0, std::memory_order_relaxed);
        mCurrentChannel.store(channelNo, std::memory_order_relaxed);
        CountGuideChange();
    }
    M710CmmdSet("-atsc %d", channelNo);
    platform::Sleep(kTuneWait);
    mCurrentStrength.store(SharedMem::Self()->GetSignalStrengthTransmitter(), std::memory_order_relaxed);
    LOG("Signal strength %d\n", mCurrentStrength.load());
    return true;
}
