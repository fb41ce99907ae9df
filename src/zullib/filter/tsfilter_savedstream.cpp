// Bench tools: a stream saved in a file, and the walk over it.
#include <cstdio>
#include <cstdlib>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "platform/machine.h"

namespace {

constexpr const char* kSavedStreamFile = "saved_stream.ts";  ///< in the working directory

}  // namespace

void TsFilter::DebugSaveStream() {
    constexpr std::int64_t kPoll = 12500;  // microseconds
    FILE* const file = std::fopen(kSavedStreamFile, "we");
    if (file == nullptr) {
        PANIC("Can't open file");
        return;
    }
    mFilterRunning.store(true, std::memory_order_release);
    while (mRunFilter.load(std::memory_order_acquire)) platform::Sleep(kPoll);
    std::fclose(file);
}

void TsFilter::DebugFilterSavedStream() {
    constexpr std::size_t kBlock = 32768;
    constexpr std::int64_t kPause = 10 * platform::kMillisecond;
    static unsigned char block[kBlock];
    FILE* const file = std::fopen(kSavedStreamFile, "re");
    if (file == nullptr) PANIC("Can't open file");
    while (file != nullptr) {
        const std::size_t got = std::fread(block, 1, sizeof block, file);
        if (got == 0) break;
        Filter(block, static_cast<int>(got));
        platform::Sleep(kPause);
    }
    if (file != nullptr) std::fclose(file);
    DumpPids();
    std::printf("Exiting exiting exiting");
    std::exit(0);
}
