// A day of a board in fast time: at the end it uses the same resources as after the first hour.
#include <gtest/gtest.h>
#include <sys/msg.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "evidence.h"
#include "live_board.h"
#include "mux/multiplexer.h"

namespace board {
namespace {

int FromEnvironment(const char* name, int usual) {
    const char* const text = std::getenv(name);
    return text != nullptr ? std::atoi(text) : usual;
}

const int kHours = FromEnvironment("ZUL_SOAK_HOURS", 24);
const int kClock = FromEnvironment("ZUL_SOAK_CLOCK", 400);  ///< seconds of the board in a real one
constexpr long kSpare = 512;                                ///< KiB that the allocator may keep more

/// Resources of a process.
struct Holdings {
    long resident = 0;  ///< KiB
    long descriptors = 0;
    long threads = 0;
    long messages = 0;  ///< in all message queues of this machine
    long waiting = 0;   ///< bytes in the sockets bound to the module's ports

    bool operator==(const Holdings&) const = default;
};

long Count(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

long QueuedMessages() {
    std::ifstream file("/proc/sysvipc/msg");
    std::string line;
    std::getline(file, line);
    long all = 0;
    for (long key, id, mode, bytes, messages; std::getline(file, line);) {
        if (std::istringstream(line) >> key >> id >> mode >> bytes >> messages) all += messages;
    }
    return all;
}

long WaitingBytes() {
    std::ifstream file("/proc/self/net/udp");
    std::string line;
    std::getline(file, line);
    long all = 0;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string slot, local, remote, state, queues;
        words >> slot >> local >> remote >> state >> queues;
        const std::string port = local.substr(local.find(':') + 1);
        if (port == "1388" || port == "07D8") all += std::stol(queues.substr(queues.find(':') + 1), nullptr, 16);
    }
    return all;
}

Holdings Held() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return {resident * sysconf(_SC_PAGESIZE) / 1024, Count("/proc/self/fd"), Count("/proc/self/task"), QueuedMessages(),
            WaitingBytes()};
}

/// Runs a board for a day: calls `hour` for each hour, which sends its requests.
void LiveADay(LiveBoard& board, const std::function<void(int)>& hour) {
    Holdings first, now;
    std::printf("\nhour  resident KiB  descriptors  threads  messages  bytes waiting\n");
    for (int number = 1; number <= kHours; ++number) {
        ASSERT_NO_FATAL_FAILURE(hour(number));
        if (board->Plan().role == 'T') board->TheTuner().Tunings().Clear();
        board->Settings().Requests().Clear();
        board->Daemon().Requests().Clear();
        board->Tools().Lines().Clear();
        board.HearUntil("(nothing)", Milliseconds(300));  // pending work completes
        now = Held();
        if (number == 1) first = now;
        std::printf("\n%4d  %12ld  %11ld  %7ld  %8ld  %13ld\n", number, now.resident, now.descriptors, now.threads,
                    now.messages, now.waiting);
        std::fflush(stdout);
    }
    EXPECT_LE(now.resident, first.resident + kSpare);
    now.resident = first.resident;
    EXPECT_EQ(now, first);
    EXPECT_EQ(now.messages, 0);
    EXPECT_EQ(now.waiting, 0);
}

TEST(Soak, Transmitter) {
    auto multiplex = SmallMultiplex();
    WriteStream("/mnt/seven.ts", multiplex);
    multiplex.start += 86'400;  // the next day's guide
    multiplex.transportStreamId = 78;
    WriteStream("/mnt/other.ts", multiplex);
    LiveBoard board('T', {.band = {{7, {"/mnt/seven.ts", 5}}, {9, {"/mnt/other.ts", 4}}}, .clock = kClock});
    ASSERT_TRUE(board.Start());
    ASSERT_EQ(board.Ask("CALLBACK1"), "OK\r\n");
    const std::uint64_t bytesAnHour = multiplex.rate / 8 * 3600;
    const auto expect = [&board](const std::string& request, const std::string& start) {
        board.Send(request);
        ASSERT_TRUE(StartsWith(board.HearUntil(start).back(), start)) << request;
    };
    LiveADay(board, [&](int hour) {
        if (hour % 8 == 1) {
            board.Send("BLIND0");
            ASSERT_EQ(board.HearUntil("BLINDCMP", Milliseconds(120'000)).back(), "BLINDCMP:0 OK\r\n");
        }
        for (const std::uint64_t end = board->TheTuner().BytesFed() + bytesAnHour;
             board->TheTuner().BytesFed() < end;) {
            for (const auto& [channel, transport] : {std::pair{"7", "4d"}, {"9", "4e"}}) {
                const std::string programme = std::string(",") + transport + ",1";
                expect(std::string("Tuner://") + channel, "BLINDCMP");
                expect(std::string("UNIT1,239.1.1.1,5001,") + channel + programme, "OK");
                for (const char* slot : {"1", "2", "3"}) {
                    expect(std::string("UNIT4,") + slot + ",239.1.1." + slot + ",5001," + channel + programme, "OK");
                }
                expect("STATUS", "STATUS 1 ");
                for (const char* request : {"LAN?", "SUB?"})
                    expect(request, request == std::string("LAN?") ? "LANG" : "SUB");
                for (const std::string query : {"EITN", "EITL"}) {
                    expect(query + programme.substr(1) + (query == "EITL" ? ",2359" : ""), "EITI");
                }
                for (const char* request :
                     {"LANGspa,1", "LANGeng,0", "MCASTPACKETSIZE32712", "MCASTPACKETSIZE1316", "TUNERMODE0", "DEBUG2",
                      "DUMPEIT", "DUMPPIDS", "DUMPCOLLECT", "DUMPLANG", "DUMPSTATS", "DEBUG0"}) {
                    board.Send(request);
                }
                expect("VERS", "VERS0");
                expect("TIME", "TIME ");
                expect("SCAL", "SCAL ");
                expect("UNIT5,2", "OK");
            }
            expect("UNIT1,239.1.1.1,5001,7,4d,1", "OK");
            // And some minutes of streaming only.
            const std::uint64_t rest = std::min(end, board->TheTuner().BytesFed() + bytesAnHour / 4);
            while (board->TheTuner().BytesFed() < rest) std::this_thread::sleep_for(Milliseconds(10));
        }
    });
}

TEST(Soak, Receiver) {
    LiveBoard board('R', {.clock = kClock});
    ASSERT_TRUE(board.Start());
    ASSERT_EQ(board.Ask("CALLBACK1"), "OK\r\n");
    const Sender sender("239.1.1.1", 5001, mux::MakeMultiplex(SmallMultiplex(), {.milliseconds = 2000}));
    LiveADay(board, [&](int) {
        const auto end = zulctl::Clock::now() + std::chrono::microseconds(3'600'000'000LL / kClock);
        do {
            for (const char* request :
                 {"UNIT1,239.1.1.1,5001,0,1", "VSCALE,0,0,50,50", "STATUS", "LANGspa,1,eng,0", "LAN?", "SUBS1",
                  "URLhttp://10.0.0.9/menu.html,0,0,640,384,255,128", "URLkey16", "UARTabc", "SUART9600,8,N,1",
                  "RESOLUTION5", "REMOTE6e", "IP?", "URLblank", "UNIT0"}) {
                board.Send(request);
                board.Hear();
            }
            board->Infrared().Press(*KeyCode("GUIDE"));
            board->Serial().Send("xyz");
            board.HearUntil("(nothing)", Milliseconds(100));
        } while (zulctl::Clock::now() < end);
        board->ThePlayer().Orders().Clear();
        board->Browser().Orders().Clear();
        board->Infrared().Keys().Clear();
        board->Serial().Received().Clear();
        ASSERT_EQ(board.Ask("VERS"), kVersion);
    });
}

}  // namespace
}  // namespace board
