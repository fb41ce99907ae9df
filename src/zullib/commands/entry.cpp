// The module's entry points for its host, and the two threads that they start.
#include <atomic>
#include <new>

#include "commands/commandmanager.h"
#include "commands/entry.h"
#include "core/log.h"
#include "core/modulethread.h"
#include "core/version.h"
#include "filter/tsfilter.h"
#include "platform/machine.h"
#include "psip/tableids.h"
#include "zul.h"

std::atomic<bool> process_pat{false};

namespace {

constexpr int kHostBlockSize = 128;
constexpr unsigned kLostPerLine = 512;
constexpr std::int64_t kWatchdogInterval = 5 * platform::kSecond;

/// The filter that `Zul_Filter` calls, null until it is complete, and its role.
std::atomic<TsFilter*> static_tsptr{nullptr};
std::atomic<char> static_type{0};

void* command_thread(void* arg) {
    static_cast<CommandManager*>(arg)->ProcessCommandLoop();
    return nullptr;
}

void* watchdog_thread(void* arg) {
    auto* const mgr = static_cast<CommandManager*>(arg);
    for (;;) {
        platform::Sleep(kWatchdogInterval);
        mgr->RunPeriodicCheck();
    }
    return nullptr;
}

}  // namespace

void LetDataReach(TsFilter* filter, char type) {
    static_tsptr.store(filter, std::memory_order_release);
    static_type.store(type, std::memory_order_release);
}

char* Zul_Start_Filter(char type) {
    static bool started = false;
    static CommandManager* mgr = nullptr;
    static char* const ret = new char[kHostBlockSize];

    if (started) {
        PANIC("Starting ZUL twice");
        return ret;
    }
    LOG("\nStarting ZULXAPP module for %c version %d.%d.%d\n\n", type, version_get_major(), version_get_minor(),
        version_get_build());
    started = true;
    LOG("new CommandManager for type %c\n", type);
    mgr = new CommandManager(type);

    LOG("Starting command_thread\n");
    if (!StartModuleThread(command_thread, mgr)) {
        PANIC("CANT CREATE command thread\n");
        return ret;
    }
    LOG("Starting watchdog_thread\n");
    if (!StartModuleThread(watchdog_thread, mgr)) {
        PANIC("CANT CREATE watchdog_thread\n");
        return ret;
    }
    std::printf("ZulXapp Returning");
    std::fflush(stdout);
    return ret;
}

namespace {

void HandOver(unsigned char* data, unsigned int len) {
    TsFilter* const filter = static_tsptr.load(std::memory_order_acquire);
    if (filter == nullptr) return;
    if (static_type.load(std::memory_order_acquire) == 'T') {
        filter->Filter(data, static_cast<int>(len));
        return;
    }
    if (!process_pat.load(std::memory_order_acquire)) return;
    switch (data[0]) {
        case kTablePat: filter->AnalyzeSectionPat(data); break;
        case kTablePmt: filter->AnalyzeSectionPmt(data, 0); break;
        default: PANIC("Receiver got bad section 0x%x\n", data[0]);
    }
}

}  // namespace

void Zul_Filter(unsigned char* data, unsigned int len) {
    try {
        HandOver(data, len);
    } catch (const std::bad_alloc&) {
        static std::atomic<unsigned> lost{0};
        if (lost.fetch_add(1, std::memory_order_relaxed) % kLostPerLine == 0) PANIC("No memory for data of the host");
    }
}
