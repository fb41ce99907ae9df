// What the walk costs, against floors that are printed in the same run: a bare walk with PID look-up, the same with a copy
// into datagrams, and that with one send each.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "filter/tsfilter.h"
#include "tunermanager.h"
#include "udpcom.h"

namespace {

constexpr int kHostBuffer = 174;  ///< packets
constexpr int kProgrammes = 6;
constexpr int kDatagram = 1316;

constexpr int kHostBuffers = 2000;  ///< 65 MB: more than the caches hold, as with data from a tuner

/// Host buffers, one behind the other: six programmes' packets in turn, without signalling; or all of it signalling.
class Multiplex {
 public:
    explicit Multiplex(bool signalling) : mBytes(static_cast<std::size_t>(kHostBuffers) * kHostBuffer * kPacketSize, 0xA5) {
        for (int i = 0; i < kHostBuffers * kHostBuffer; ++i) Fill(i, signalling);
    }
    /// \return the next host buffer
    unsigned char* Next() {
        mNext = (mNext + 1) % kHostBuffers;
        return mBytes.data() + static_cast<std::size_t>(mNext) * kHostBuffer * kPacketSize;
    }

 private:
    void Fill(int i, bool signalling) {
        unsigned char* const packet = mBytes.data() + static_cast<std::size_t>(i) * kPacketSize;
        const unsigned pid = signalling ? kPsipBasePid : 0x100u + static_cast<unsigned>(i % kProgrammes) * 16;
        packet[0] = kSyncByte;
        packet[1] = static_cast<unsigned char>(pid >> 8);
        packet[2] = static_cast<unsigned char>(pid);
        packet[3] = static_cast<unsigned char>(0x10 | (i & 0xF));
    }

    std::vector<unsigned char> mBytes;
    int mNext = 0;
};

/// A socket that takes what is sent to it, and a socket that sends there.
struct Sink {
    Sink() : receiver(socket(AF_INET, SOCK_DGRAM, 0)), sender(socket(AF_INET, SOCK_DGRAM, 0)) {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(receiver, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t size = sizeof address;
        getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &size);
    }
    ~Sink() {
        close(receiver);
        close(sender);
    }
    int receiver, sender;
    sockaddr_in address{};
};

enum class Floor { kWalk, kCopy, kSend };

/// \param wanted  programmes of six that are copied
template <Floor floor>
void BM_Floor(benchmark::State& state) {
    Multiplex multiplex(false);
    const auto wanted = static_cast<unsigned>(state.range(0));
    std::vector<std::uint32_t> counts(kPids);
    std::vector<unsigned char> takes(kPids);
    for (unsigned programme = 0; programme < wanted; ++programme) takes[0x100u + programme * 16] = 1;
    Sink sink;
    unsigned char datagram[kDatagram];
    int filled = 0;
    for (auto _ : state) {
        const unsigned char* const buffer = multiplex.Next();
        for (int i = 0; i + 1 < kHostBuffer; ++i) {
            const unsigned char* const packet = buffer + i * kPacketSize;
            if (packet[0] != kSyncByte || packet[kPacketSize] != kSyncByte) break;
            const unsigned pid = (packet[1] & 0x1Fu) << 8 | packet[2];
            ++counts[pid];
            if (floor == Floor::kWalk || takes[pid] == 0) continue;
            std::memcpy(datagram + filled, packet, kPacketSize);
            filled += kPacketSize;
            if (filled < kDatagram) continue;
            filled = 0;
            if (floor == Floor::kSend) {
                sendto(sink.sender, datagram, kDatagram, 0, reinterpret_cast<sockaddr*>(&sink.address), sizeof sink.address);
            }
            benchmark::DoNotOptimize(datagram);
        }
        benchmark::DoNotOptimize(counts.data());
    }
    state.SetItemsProcessed(state.iterations() * kHostBuffer);
}
BENCHMARK(BM_Floor<Floor::kWalk>)->Name("floor/walk")->Arg(0);
BENCHMARK(BM_Floor<Floor::kCopy>)->Name("floor/walk+copy")->Arg(1)->Arg(6);
BENCHMARK(BM_Floor<Floor::kSend>)->Name("floor/walk+copy+sendto")->Arg(1)->Arg(6);

}  // namespace

/// Opens the filter's table to the benchmark of its walk.
class TsFilterTest {
 public:
    TsFilterTest() { global_debug_flag = 0; }
    ~TsFilterTest() { filter.SetDebugOutput(nullptr); }

    /// Rows of six programmes, settled.
    void Settle() NO_THREAD_SAFETY_ANALYSIS {
        for (unsigned programme = 0; programme < kProgrammes; ++programme) {
            PacketIdMapType& row = filter.mPacketIdMap[0x100u + programme * 16];
            row.transportId = 1;
            row.programId = static_cast<std::uint16_t>(programme + 1);
            row.status = ePidKnown;
        }
        filter.FilterActive(true);
    }

    /// Streams go to a file that takes everything and does nothing: what is left is the walk and the copy.
    void SendNothing() {
        const cookie_io_functions_t nothing{nullptr, [](void*, const char*, std::size_t size) { return static_cast<ssize_t>(size); },
                                            nullptr, nullptr};
        FILE* const file = fopencookie(nullptr, "w", nothing);
        std::setvbuf(file, nullptr, _IONBF, 0);
        filter.SetDebugOutput(file);
    }

    void AddStream(int id, int programmes, std::uint16_t port) {
        filter.AddStream(id, "127.0.0.1", port);
        for (int programme = 1; programme <= programmes; ++programme) {
            filter.AddProgramToStream(id, 1, static_cast<std::uint16_t>(programme));
        }
    }

    TunerManager tuner{'T'};
    TsFilter filter{'T', &tuner};
};

namespace {

void Run(benchmark::State& state, TsFilterTest& test, bool signalling) {
    Multiplex multiplex(signalling);
    for (auto _ : state) test.filter.Filter(multiplex.Next(), kHostBuffer * kPacketSize);
    state.SetItemsProcessed(state.iterations() * kHostBuffer);
}

/// \param range(0)  streams, range(1) programmes of each
template <bool sends>
void BM_Filter(benchmark::State& state) {
    TsFilterTest test;
    Sink sink;
    test.Settle();
    if (!sends) test.SendNothing();
    for (int id = 0; id < state.range(0); ++id) {
        test.AddStream(id, static_cast<int>(state.range(1)), ntohs(sink.address.sin_port));
    }
    Run(state, test, false);
}
BENCHMARK(BM_Filter<false>)->Name("ours/without sends")->Args({0, 0})->Args({1, 1})->Args({1, 6})->Args({8, 1});
BENCHMARK(BM_Filter<true>)->Name("ours/whole path")->Args({1, 1})->Args({1, 6})->Args({8, 1});

void BM_Signalling(benchmark::State& state) {
    TsFilterTest test;
    test.Settle();
    Run(state, test, true);
}
BENCHMARK(BM_Signalling)->Name("ours/all packets signalling");

}  // namespace

BENCHMARK_MAIN();
