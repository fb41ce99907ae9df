// The tuner, driven by the board's command-line tool.
#include "guide/tuner.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "core/log.h"
#include "core/sharedmem.h"
#include "guide/channelrange.h"
#include "platform/machine.h"

namespace {

constexpr const char* kTool = "m710cmmd ";
constexpr const char* kQuiet = " >/dev/null";
constexpr std::size_t kLineSize = 128;
constexpr std::size_t kArgumentSize = 96;  ///< 95 characters and a terminator

constexpr std::int64_t kTuneWait = 3 * platform::kSecond;
constexpr std::int64_t kStopWait = platform::kSecond;

}  // namespace

void Tuner::SetMode(TunerModeEnum mode) {
    mRole.RequireTransmitter();
    mMode.store(mode, std::memory_order_relaxed);
}

/// Runs the tool with formatted arguments; its result is ignored.
void Tuner::M710CmmdSet(const char* format, ...) {
    mRole.RequireTransmitter();
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

bool Tuner::StartTuner() {
    mRole.RequireTransmitter();
    return true;
}

bool Tuner::StopTuner() {
    mRole.RequireTransmitter();
    M710CmmdSet("-stopvid");
    platform::Sleep(kStopWait);
    return true;
}

bool Tuner::TuneToChannel(int channelNo) {
    mRole.RequireTransmitter();
    const ChannelRange range = TuneRange(Mode());
    if (channelNo < range.first || channelNo > range.last) return false;
    mStore.BeginChannel(channelNo);
    M710CmmdSet("-atsc %d", channelNo);
    platform::Sleep(kTuneWait);
    const int strength = ReadStrength();
    LOG("Signal strength %d\n", strength);
    return true;
}

int Tuner::ReadStrength() {
    const int strength = SharedMem::Self()->GetSignalStrengthTransmitter();
    mStore.SetStrength(strength);
    return strength;
}
