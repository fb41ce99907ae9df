// One operation of the module, a fixed number of times, for bench/counts, which counts its instructions and system
// calls. `counts_bench` lists the operations; `counts_bench OPERATION` runs one and prints how often it ran and how
// many blocks of memory its thread allocated meanwhile.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "commands/commandmanager.h"
#include "core/broadcasttime.h"
#include "core/log.h"
#include "fast_machine.h"
#include "filter/tsfilter.h"
#include "settings_agent.h"
#include "status_block.h"
#include "system_daemon.h"
#include "tables.h"
#include "udp_client.h"

namespace {
thread_local unsigned long allocations = 0;
}  // namespace

// Replaces the C library's: counts every allocation, including `operator new`.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void* malloc(std::size_t size) { return ++allocations, __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) { return ++allocations, __libc_calloc(count, size); }
void* realloc(void* block, std::size_t size) { return ++allocations, __libc_realloc(block, size); }
void* aligned_alloc(std::size_t alignment, std::size_t size) { return ++allocations, __libc_memalign(alignment, size); }
}

#ifdef ZUL_COUNTS_PLANTED
// A fault that bench/counts must report: reads each packet's sync byte once more.
extern "C" {
bool __real__ZN8TsFilter6FilterEPhi(TsFilter* filter, unsigned char* data, int size);
bool __wrap__ZN8TsFilter6FilterEPhi(TsFilter* filter, unsigned char* data, int size) {
    for (int at = 0; at < size; at += kPacketSize) static_cast<void>(*static_cast<volatile unsigned char*>(data + at));
    return __real__ZN8TsFilter6FilterEPhi(filter, data, size);
}
}
#endif

/// Gives access to the command manager's members.
class CommandManagerTest {
 public:
    static bool Connect(CommandManager& board, std::uint16_t port) { return board.mpServer->Connect(port); }
    static void Serve(CommandManager& board) { board.ServeRequest(); }
    static TunerManager& Tuner(CommandManager& board) { return *board.mpTunerManager; }
    static TsFilter& Filter(CommandManager& board) { return *board.mpTsf; }
};

namespace {

using namespace bench;

constexpr unsigned kProgrammes = 6;
constexpr int kHostBuffer = 174;  ///< packets

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "counts_bench: %s\n", what);
    std::_Exit(1);
}

/// A prepared operation.
struct Operation {
    std::function<void()> run;            ///< what is counted
    int times;                            ///< that it is run
    int units = 1;                        ///< what one run is counted as, such as its sections
    std::function<void()> check = [] {};  ///< ends the program when the runs failed
};

/// A filter that has analysed the PAT and PMTs of a multiplex of six programmes.
struct Board {
    Board() {
        filter.FilterActive(true);
        Blob tables = transport::SectionPacket(kPatPid, 0, [] {
            std::vector<transport::Programme> all;
            for (unsigned i = 1; i <= kProgrammes; ++i) all.push_back({i, PmtPid(i)});
            return transport::Pat(1, 1, all);
        }());
        for (unsigned i = 1; i <= kProgrammes; ++i) {
            transport::Append(tables, transport::SectionPacket(PmtPid(i), 0, PmtOf(i)));
        }
        Feed(tables);
        for (int i = 0; i < kHostBuffer; ++i) {
            const unsigned pid = PmtPid(static_cast<unsigned>(i) % kProgrammes + 1) + 1;
            transport::Append(buffer, transport::Filled(pid, static_cast<unsigned>(i) / kProgrammes, 0xA5));
        }
    }

    /// Appends a null packet: the last packet of a buffer isn't analysed.
    void Feed(Blob packets) {
        transport::Append(packets, transport::Filled(kNullPid, 0, 0xFF));
        filter.Filter(packets.data(), static_cast<int>(packets.size()));
    }

    TunerManager tuner{'T'};
    TsFilter filter{'T', &tuner};
    Client sink;
    Blob buffer;  ///< a host buffer, the video of all programmes in turn
};

constexpr int kWhole = -1;

/// \param streams  of one programme each; or kWhole
Operation Walk(int streams) {
    auto board = std::make_shared<Board>();
    const auto run = [board] { board->filter.Filter(board->buffer.data(), static_cast<int>(board->buffer.size())); };
    run();
    for (int id = 0; id < std::abs(streams); ++id) {
        board->filter.AddStream(id, "127.0.0.1", board->sink.port);
        if (streams == kWhole) {
            board->filter.AddAllProgramsToStream(id);
        } else {
            board->filter.AddProgramToStream(id, 1, static_cast<std::uint16_t>(id % static_cast<int>(kProgrammes) + 1));
        }
    }
    for (int i = 0; i < 7; ++i) run();  // the streams connect
    return {run, 70, 1, [board, streams] {
                if ((streams != 0) == board->sink.Take().empty()) Fail("the streams sent nothing, or there are some");
            }};
}

/// A table's sections, from packet to store.
Operation File(Table table, bool newVersions) {
    auto board = std::make_shared<Board>();
    board->Feed(Packets(kMgt, true));
    board->Feed(Packets(kVct, true));
    auto packets = std::make_shared<Blob>(Packets(table, newVersions));
    const std::size_t size = packets->size();
    transport::Append(*packets, transport::Filled(kNullPid, 0, 0xFF));
    const auto run = [board, packets, size] {
        board->filter.Filter(packets->data(), static_cast<int>(size + transport::kPacket));
    };
    run();
    run();
    return {run, 10, kVersions};
}

/// A transmitter with eight streams and a guide of 10,000 events.
struct Transmitter {
    static constexpr std::uint16_t kPort = 5000;
    static constexpr int kEvents = 10000;
    static constexpr std::uint32_t kNow = 1000000000, kLength = 1800;

    Transmitter() {
        if (!CommandManagerTest::Connect(manager, kPort)) Fail("the command port is taken");
        TsFilter& filter = CommandManagerTest::Filter(manager);
        for (int id = 0; id < kStreams; ++id) filter.AddStream(id, "127.0.0.1", master.port);
        TunerManager& tuner = CommandManagerTest::Tuner(manager);
        tuner.TuneToChannel(17);
        tuner.AddProgramToScanResults(1, 1);
        tuner.SetPsipInfoForProgram(1, 1, "\0N\0E\0W\0S\0\0\0\0\0\0", 7, 1, 4, 0, 1, kSource);
        const std::string text(200, 'x');
        char title[] = "The evening news with the weather";
        for (int i = 0; i < kEvents; ++i) {
            const auto id = static_cast<std::uint16_t>(i + 1);
            const auto start = kNow + static_cast<std::uint32_t>(i) * (kLength + 1);
            tuner.SetEventInfoForProgram(kSource, id, start, kLength, sizeof title - 1, title, 0);
            tuner.SetExtendedText(kSource, static_cast<std::uint16_t>(id << 2 | 2), text.data(), 200, 0);
        }
        Time::Self()->SetTime(kNow + 1, 18, 0);
    }

    board::StatusBlock status;
    board::SettingsAgent agent{"/mnt/burnt"};
    board::SystemDaemon daemon;
    CommandManager& manager = *new CommandManager('T');  // never destroyed: its threads don't end
    Client master;
};

/// \param begin  first characters of each reply
Operation Serve(const char* request, const char* begin) {
    constexpr int kTimes = 20;
    auto board = std::make_shared<Transmitter>();
    const auto run = [board] { CommandManagerTest::Serve(board->manager); };
    for (int i = 0; i <= kTimes; ++i) board->master.Send(Transmitter::kPort, request);
    run();
    return {run, kTimes, 1, [board, begin] {
                const auto replies = board->master.Take();
                if (replies.size() != kTimes + 1 || replies.back().rfind(begin, 0) != 0) Fail(replies.back().c_str());
            }};
}

struct Row {
    const char* name;
    std::function<Operation()> prepare;
};
// clang-format off
const Row kRows[] = {
    {"walk/0",       [] { return Walk(0); }},
    {"walk/1of6",    [] { return Walk(1); }},
    {"walk/8",       [] { return Walk(kStreams); }},
    {"walk/whole",   [] { return Walk(kWhole); }},
    {"EIT/new",      [] { return File(kEit, true); }},
    {"EIT/again",    [] { return File(kEit, false); }},
    {"ETT/new",      [] { return File(kEttCoded, true); }},
    {"ETT/again",    [] { return File(kEttCoded, false); }},
    {"VCT/new",      [] { return File(kVct, true); }},
    {"VCT/again",    [] { return File(kVct, false); }},
    {"PMT/new",      [] { return File(kPmt, true); }},
    {"PMT/again",    [] { return File(kPmt, false); }},
    {"VERS",         [] { return Serve("VERS", "VERS"); }},
    {"STATUS",       [] { return Serve("STATUS", "STATUS 1 0 127.0.0.1"); }},
    {"EITN",         [] { return Serve("EITN0001,0001", "EITI "); }},
    {"EITL",         [] { return Serve("EITL0001,0001,0800", "EITI "); }},
};
// clang-format on

}  // namespace

/// What is counted: bench/counts finds it by its name, and by the two calls of getppid.
extern "C" [[gnu::noinline]] void Measured(const Operation& operation) {
    getppid();
    for (int i = 0; i < operation.times; ++i) operation.run();
    getppid();
}

int main(int argc, char** argv) {
    global_debug_flag = 0;
    fast_machine::RecordShell(true);
    for (const Row& row : kRows) {
        if (argc == 1) std::puts(row.name);
        if (argc != 2 || std::strcmp(argv[1], row.name) != 0) continue;
        const Operation operation = row.prepare();
        const unsigned long before = allocations;
        Measured(operation);
        const unsigned long made = allocations - before;
        operation.check();
        std::printf("%d %lu\n", operation.times * operation.units, made);
        std::fflush(stdout);
        std::_Exit(0);  // no destructors: the board's threads are still running
    }
    return argc == 1 ? 0 : 2;
}
