// The guide's store: the cost of a repetition of EIT and ETT, and the longest time that each operation holds the lock
// that the stream waits for. Held times are processor time of the holder, so that other programs don't count.
// Run in the sandbox: tools/sandbox build/release/bench/guide_bench
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "fast_machine.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "status_block.h"
#include "system_daemon.h"

namespace {

/// The lock that is watched, and since when it is held.
pthread_mutex_t* watched = nullptr;
bool learn = false;  ///< the next lock is the one to watch
double lockedAt = 0;
std::atomic<double> longestHeld = 0;

/// \return microseconds of processor time of this thread
double ThreadTime() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

}  // namespace

// The linker replaces the system's functions by these in the whole program.
extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_lock(mutex);
    if (learn) {
        watched = mutex;
        learn = false;
    }
    if (mutex == watched) lockedAt = ThreadTime();
    return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    if (mutex == watched) longestHeld = std::max(longestHeld.load(), ThreadTime() - lockedAt);
    return __real_pthread_mutex_unlock(mutex);
}
}

namespace {

constexpr std::uint32_t kNow = 1000000000;
constexpr std::uint32_t kLength = 120;  ///< seconds of an event: the listing has many lines
constexpr std::uint16_t kProgram = 1;
constexpr std::uint16_t kSource = 1;

/// A channel of programmes, the first of which has a guide that arrived in any order.
class Store {
 public:
    Store(int programmes, int events) : manager(*new TunerManager('T')), mOrder(static_cast<std::size_t>(events)) {
        global_debug_flag = 0;
        fast_machine::RecordShell(true);
        manager.TuneToChannel(17);
        for (int i = 1; i <= programmes; ++i) AddProgramme(static_cast<std::uint16_t>(i));
        std::iota(mOrder.begin(), mOrder.end(), 0);
        std::shuffle(mOrder.begin(), mOrder.end(), std::mt19937(1));
        for (const int i : mOrder) SetEvent(i, 0);
        for (const int i : mOrder) SetText(i);
        Time::Self()->SetTime(kNow + 1, 18, 0);
        learn = true;
        manager.CleanScalProgramDescriptors();
        for (int i = 1; i <= programmes; ++i) AddLanguages(static_cast<std::uint16_t>(i));
    }
    // The manager stays: the process has one.

    void AddProgramme(std::uint16_t number) {
        manager.AddProgramToScanResults(1, number);
        manager.SetPsipInfoForProgram(1, number, "\0N\0E\0W\0S\0\0\0\0\0\0", 7, number, 4, 0, 1, number);
    }

    void AddLanguages(std::uint16_t number) {
        for (char last = 'a'; last < 'a' + 12; ++last) {
            const char code[4] = {'e', 'n', last, '\0'};
            manager.SetLanguageForProgram(1, number, code, Language::eAudio, 0, 0x31, 0);
        }
    }

    void SetEvent(int i, std::uint32_t shift) {
        char title[] = "The evening news with the weather";
        manager.SetEventInfoForProgram(kSource, Id(i), kNow + static_cast<std::uint32_t>(i) * (kLength + 1) + shift,
                                       kLength, sizeof title - 1, title, 0);
    }

    void SetText(int i) {
        static const std::string text(200, 'x');
        manager.SetExtendedText(kSource, static_cast<std::uint16_t>(Id(i) << 2 | 2), text.data(),
                                static_cast<std::uint32_t>(text.size()), 0);
    }

    int Events() const { return static_cast<int>(mOrder.size()); }
    int Arrival(std::size_t n) const { return mOrder[n % mOrder.size()]; }

    TunerManager& manager;

 private:
    static std::uint16_t Id(int i) { return static_cast<std::uint16_t>(i + 1); }

    std::vector<int> mOrder;
};

/// Runs an operation and measures the longest time it held the lock: in the middle one of its runs, and in the
/// worst.
template <typename Operation>
void Watch(benchmark::State& state, Operation operation) {
    std::vector<double> held;
    for (auto _ : state) {
        longestHeld = 0;
        operation();
        held.push_back(longestHeld);
    }
    std::sort(held.begin(), held.end());
    state.counters["held_us"] = held[held.size() / 2];
    state.counters["held_us_max"] = held.back();
}

// The cost for the stream's thread, in nanoseconds per event. The lock isn't watched here, as that costs more.

template <typename Operation>
void PerEvent(benchmark::State& state, Operation operation) {
    Store store(10, static_cast<int>(state.range(0)));
    watched = nullptr;
    std::size_t n = 0;
    for (auto _ : state) operation(store, n++);
}

void EitRepetition(benchmark::State& state) {
    PerEvent(state, [](Store& store, std::size_t n) { store.SetEvent(store.Arrival(n), 0); });
}
void EitOfNewTimes(benchmark::State& state) {
    PerEvent(state, [](Store& store, std::size_t n) {
        store.SetEvent(store.Arrival(n), static_cast<std::uint32_t>(n / static_cast<std::size_t>(store.Events()) + 1));
    });
}
void EttRepetition(benchmark::State& state) {
    PerEvent(state, [](Store& store, std::size_t n) { store.SetText(store.Arrival(n)); });
}

// Operations that the stream's thread may wait for.

void Query(benchmark::State& state, char type) {
    Store store(200, static_cast<int>(state.range(0)));
    std::vector<char> reply(TunerManager::kReplySize);
    Watch(state, [&] { store.manager.ProcessEpgData(reply.data(), 1, kProgram, 0, 0, type == 'l' ? 10000 : 0, type); });
}
void NowAndNext(benchmark::State& state) { Query(state, 'n'); }
void Listing(benchmark::State& state) { Query(state, 'l'); }

void LanguageListing(benchmark::State& state) {
    Store store(200, 1);
    std::vector<char> reply(TunerManager::kReplySize);
    Watch(state, [&] { store.manager.GetLanguagesOrSubtitles(Language::eAudio, reply.data()); });
}

void ScalReport(benchmark::State& state) {
    Store store(200, 1);
    char line[256];
    Watch(state, [&] {
        store.manager.RewindScan();
        while (store.manager.GetNextProgramScalFormatted(line, sizeof line) > 0) {
        }
    });
}

void Dump(benchmark::State& state) {
    Store store(200, static_cast<int>(state.range(0)));
    AllocateErrorBuffer();
    OpenLogChannel(9, "127.0.0.1");
    global_debug_flag = 2;
    Watch(state, [&] {
        store.manager.DumpEitInfo();
        store.manager.DumpLanguageInfo();
    });
    CloseLogChannel();
    global_debug_flag = 0;
}

/// Scans, so that the band's last channel adds 200 programmes; after that only the save holds the lock for long.
void Save(benchmark::State& state) {
    Store store(0, 0);
    board::StatusBlock block;
    board::SystemDaemon daemon;
    static TsFilter& filter = *new TsFilter('T', &store.manager);
    benchmark::DoNotOptimize(filter);
    fast_machine::OnShell(
        [&](const std::string& line) { block.TunerStrength(line.find(" 69 ") != line.npos ? 5 : 0); });
    fast_machine::OnSleep([&](std::int64_t microseconds) {
        if (microseconds != 5000000) return;
        for (std::uint16_t number = 1; number <= 200; ++number) store.AddProgramme(number);
        longestHeld = 0;
    });
    for (auto _ : state) {
        store.manager.BlindScan(TunerManager::eScanUk);
        while (store.manager.ScanState() == TunerManager::eScanInProgress) std::this_thread::yield();
    }
    state.counters["held_us"] = longestHeld.load();
    fast_machine::OnSleep({});
    fast_machine::OnShell({});
}

BENCHMARK(EitRepetition)->RangeMultiplier(10)->Range(10, 10000);
BENCHMARK(EitOfNewTimes)->Arg(100)->Arg(5000)->Arg(10000);
BENCHMARK(EttRepetition)->Arg(100)->Arg(5000)->Arg(10000);
BENCHMARK(NowAndNext)->RangeMultiplier(10)->Range(10, 10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(Listing)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(LanguageListing)->Unit(benchmark::kMicrosecond);
BENCHMARK(ScalReport)->Unit(benchmark::kMicrosecond);
BENCHMARK(Dump)->Arg(10000)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(Save)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    std::freopen("/dev/null", "w", stderr);  // full listings and silent channels are panics
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
