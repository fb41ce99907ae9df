// The cost of the walk, compared with floors of the same run: a bare walk with PID look-up; the same with a copy into
// datagrams; and that with one sendto a datagram, with one sendmmsg a host buffer, or with one message a host buffer,
// which the kernel segments.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/udp.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "core/log.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"

namespace {

bool sendsAreMade = true;

}  // namespace

// The linker redirects the system's sends to these: without sends, only the walk and the copy remain.
extern "C" {
ssize_t __real_sendto(int, const void*, std::size_t, int, const sockaddr*, socklen_t);
int __real_sendmmsg(int, mmsghdr*, unsigned, int);
ssize_t __wrap_sendto(int s, const void* data, std::size_t size, int flags, const sockaddr* to, socklen_t length) {
    return sendsAreMade ? __real_sendto(s, data, size, flags, to, length) : static_cast<ssize_t>(size);
}
int __wrap_sendmmsg(int s, mmsghdr* messages, unsigned count, int flags) {
    return sendsAreMade ? __real_sendmmsg(s, messages, count, flags) : static_cast<int>(count);
}
}

namespace {

constexpr int kHostBuffer = 174;  ///< packets
constexpr int kMostProgrammes = 30;
constexpr int kDatagram = 1316;

constexpr int kHostBuffers = 2000;  ///< 65 MB: more than the caches hold, as with data from a tuner

constexpr unsigned PidOfProgramme(int programme) { return 0x100u + static_cast<unsigned>(programme) * 16; }

/// Consecutive host buffers: some programmes' packets in turn, without signalling; or all of it signalling.
class Multiplex {
 public:
    static constexpr int kSignalling = 0;

    /// \param programmes  how many, or kSignalling
    explicit Multiplex(int programmes)
        : mBytes(static_cast<std::size_t>(kHostBuffers) * kHostBuffer * kPacketSize, 0xA5) {
        for (int i = 0; i < kHostBuffers * kHostBuffer; ++i) Fill(i, programmes);
        // The system has seen these pages before, as those of a tuner's ring; where memory is virtual twice, its first
        // look costs more than a send.
        const int file = memfd_create("multiplex", 0);
        if (file < 0 || write(file, mBytes.data(), mBytes.size()) < 0) std::perror("memfd");
        close(file);
    }
    /// \return the next host buffer
    unsigned char* Next() {
        mNext = (mNext + 1) % kHostBuffers;
        return mBytes.data() + static_cast<std::size_t>(mNext) * kHostBuffer * kPacketSize;
    }

 private:
    void Fill(int i, int programmes) {
        unsigned char* const packet = mBytes.data() + static_cast<std::size_t>(i) * kPacketSize;
        const unsigned pid = programmes == kSignalling ? kPsipBasePid : PidOfProgramme(i % programmes);
        packet[0] = kSyncByte;
        packet[1] = static_cast<unsigned char>(pid >> 8);
        packet[2] = static_cast<unsigned char>(pid);
        packet[3] = static_cast<unsigned char>(0x10 | (i & 0xF));
    }

    std::vector<unsigned char> mBytes;
    int mNext = 0;
};

/// A receiving socket, and a socket that sends to it.
struct Sink {
    Sink() : receiver(socket(AF_INET, SOCK_DGRAM, 0)), sender(socket(AF_INET, SOCK_DGRAM, 0)) {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(receiver, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t size = sizeof address;
        getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &size);
        const int discovery = IP_PMTUDISC_DO;  // "don't fragment" in each datagram, as ours
        setsockopt(sender, IPPROTO_IP, IP_MTU_DISCOVER, &discovery, sizeof discovery);
    }
    ~Sink() {
        close(receiver);
        close(sender);
    }
    Sink(const Sink&) = delete;
    sockaddr* Address() { return reinterpret_cast<sockaddr*>(&address); }
    int receiver, sender;
    sockaddr_in address{};
};

/// Which programmes of the multiplex go to which streams.
struct Load {
    const char* name;
    int streams;     ///< sockets
    int programmes;  ///< of each stream
    int all;         ///< programmes of the multiplex
    /// \return the programme, from 0, at a position of a stream's list
    int Programme(int stream, int place) const { return (stream + place) % all; }
};
constexpr Load kLoads[] = {{"1 of 6", 1, 1, 6}, {"8 streams", 8, 1, 6}, {"whole", 1, 6, 6}};

/// The minimum of work, done in the simplest way.
enum class Floor { kWalk, kCopy, kSendTo, kSendMmsg, kSegment };

/// One stream of a floor: datagrams that fill up, and leave one by one or a host buffer's together.
template <Floor floor>
class FloorStream {
 public:
    void Take(const unsigned char* packet, Sink& sink) {
        std::memcpy(mBytes + mFilled, packet, kPacketSize);
        mFilled += kPacketSize;
        if (floor == Floor::kSendMmsg || floor == Floor::kSegment || mFilled < kDatagram) return;
        if (floor == Floor::kSendTo) sendto(sink.sender, mBytes, kDatagram, 0, sink.Address(), sizeof sink.address);
        benchmark::DoNotOptimize(mBytes);
        mFilled = 0;
    }
    void EndBuffer(Sink& sink) {
        const int whole = mFilled / kDatagram * kDatagram;
        if (whole == 0) return;
        if (floor == Floor::kSendMmsg) SendMessages(sink);
        if (floor == Floor::kSegment) SendSegments(sink, whole);
        if (floor != Floor::kSendMmsg && floor != Floor::kSegment) return;
        std::memmove(mBytes, mBytes + whole, static_cast<std::size_t>(mFilled - whole));
        mFilled -= whole;
    }

 private:
    void SendMessages(Sink& sink) {
        mmsghdr messages[kHostBuffer] = {};
        iovec pieces[kHostBuffer];
        unsigned count = 0;
        for (int at = 0; at + kDatagram <= mFilled; at += kDatagram, ++count) {
            pieces[count] = {mBytes + at, kDatagram};
            messages[count].msg_hdr.msg_iov = &pieces[count];
            messages[count].msg_hdr.msg_iovlen = 1;
            messages[count].msg_hdr.msg_name = sink.Address();
            messages[count].msg_hdr.msg_namelen = sizeof sink.address;
        }
        sendmmsg(sink.sender, messages, count, 0);
    }
    /// \param size  whole datagrams, at most 64
    void SendSegments(Sink& sink, int size) {
        iovec bytes{mBytes, static_cast<std::size_t>(size)};
        alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(std::uint16_t))] = {};
        msghdr message{};
        message.msg_name = sink.Address();
        message.msg_namelen = sizeof sink.address;
        message.msg_iov = &bytes;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* const head = CMSG_FIRSTHDR(&message);
        head->cmsg_level = IPPROTO_UDP;
        head->cmsg_type = UDP_SEGMENT;
        head->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
        const std::uint16_t datagram = kDatagram;
        std::memcpy(CMSG_DATA(head), &datagram, sizeof datagram);
        sendmsg(sink.sender, &message, 0);
    }

    int mFilled = 0;
    unsigned char mBytes[65536];
};

template <Floor floor>
void BM_Floor(benchmark::State& state) {
    const Load& load = kLoads[state.range(0)];
    Multiplex multiplex(load.all);
    std::vector<std::uint32_t> counts(kPids);
    std::vector<std::vector<FloorStream<floor>*>> takers(kPids);
    std::vector<FloorStream<floor>> streams(static_cast<std::size_t>(load.streams));
    std::vector<Sink> sinks(streams.size());
    for (int stream = 0; stream < load.streams; ++stream) {
        for (int place = 0; place < load.programmes; ++place) {
            takers[PidOfProgramme(load.Programme(stream, place))].push_back(&streams[static_cast<std::size_t>(stream)]);
        }
    }
    for (auto _ : state) {
        const unsigned char* const buffer = multiplex.Next();
        for (int i = 0; i < kHostBuffer; ++i) {
            const unsigned char* const packet = buffer + i * kPacketSize;
            if (packet[0] != kSyncByte || (i + 1 < kHostBuffer && packet[kPacketSize] != kSyncByte)) break;
            const unsigned pid = (packet[1] & 0x1Fu) << 8 | packet[2];
            ++counts[pid];
            if (floor == Floor::kWalk) continue;
            for (FloorStream<floor>* stream : takers[pid]) {
                stream->Take(packet, sinks[static_cast<std::size_t>(stream - streams.data())]);
            }
        }
        for (std::size_t i = 0; i < streams.size(); ++i) streams[i].EndBuffer(sinks[i]);
        benchmark::DoNotOptimize(counts.data());
    }
    state.SetItemsProcessed(state.iterations() * kHostBuffer);
}

}  // namespace

/// Gives the benchmark of the walk access to the filter's table.
class TsFilterTest {
 public:
    TsFilterTest() { global_debug_flag = 0; }

    /// Rows of all programmes, settled.
    void Settle() NO_THREAD_SAFETY_ANALYSIS {
        for (int programme = 0; programme < kMostProgrammes; ++programme) {
            PacketIdMapType& row = filter.mPacketIdMap[PidOfProgramme(programme)];
            row.transportId = 1;
            row.programId = static_cast<std::uint16_t>(programme + 1);
            row.status = ePidKnown;
        }
        filter.FilterActive(true);
    }

    void AddStreams(const Load& load, const std::vector<Sink>& sinks) {
        for (int id = 0; id < load.streams; ++id) {
            filter.AddStream(id, "127.0.0.1", ntohs(sinks[static_cast<std::size_t>(id)].address.sin_port));
            for (int place = 0; place < load.programmes; ++place) {
                filter.AddProgramToStream(id, 1, static_cast<std::uint16_t>(load.Programme(id, place) + 1));
            }
        }
    }

    TunerManager tuner{'T'};
    TsFilter filter{'T', &tuner};
};

namespace {

void Run(benchmark::State& state, TsFilterTest& test, int programmes) {
    Multiplex multiplex(programmes);
    for (int warm = 0; warm < 50; ++warm)
        test.filter.Filter(multiplex.Next(), kHostBuffer * kPacketSize);  // streams connect
    for (auto _ : state) test.filter.Filter(multiplex.Next(), kHostBuffer * kPacketSize);
    state.SetItemsProcessed(state.iterations() * kHostBuffer);
}

template <bool sends>
void Filter(benchmark::State& state, const Load& load) {
    TsFilterTest test;
    test.Settle();
    sendsAreMade = sends;
    std::vector<Sink> sinks(static_cast<std::size_t>(load.streams));
    test.AddStreams(load, sinks);
    Run(state, test, load.all);
    sendsAreMade = true;
}

template <bool sends>
void BM_Filter(benchmark::State& state) {
    Filter<sends>(state, kLoads[state.range(0)]);
}

// Cost against streams of one programme of six each, and against programmes that all go to one stream.
void BM_Streams(benchmark::State& state) { Filter<true>(state, {"", static_cast<int>(state.range(0)), 1, 6}); }
void BM_Programmes(benchmark::State& state) {
    const int all = static_cast<int>(state.range(0));
    Filter<true>(state, {"", 1, all, all});
}

void BM_Signalling(benchmark::State& state) {
    TsFilterTest test;
    test.Settle();
    Run(state, test, Multiplex::kSignalling);
}
/// Prints what the benchmarks print, and keeps the times for the table at the end.
class Keeper : public benchmark::ConsoleReporter {
 public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration)
                mTimes[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
        }
        ConsoleReporter::ReportRuns(runs);
    }
    double Median(const std::string& name) {
        std::vector<double>& times = mTimes[name];
        if (times.empty()) return 0;
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    }

 private:
    std::map<std::string, std::vector<double>> mTimes;
};

struct Ratio {
    const char* ours;
    const char* floor;
};
constexpr Ratio kRatios[] = {
    {"ours without sends", "walk and copy"},
    {"ours", "copy and UDP_SEGMENT"},
    {"ours", "copy and sendmmsg"},
    {"ours", "copy and sendto"},
};

std::string Name(const char* what, const Load& load) { return std::string(what) + " / " + load.name; }

void Register() {
    const auto add = [](const char* what, void (*function)(benchmark::State&)) {
        for (int load = 0; load < 3; ++load) {
            benchmark::RegisterBenchmark(Name(what, kLoads[load]).c_str(), function)->Arg(load);
        }
    };
    benchmark::RegisterBenchmark("walk", BM_Floor<Floor::kWalk>)->Arg(0);
    add("walk and copy", BM_Floor<Floor::kCopy>);
    add("copy and sendto", BM_Floor<Floor::kSendTo>);
    add("copy and sendmmsg", BM_Floor<Floor::kSendMmsg>);
    add("copy and UDP_SEGMENT", BM_Floor<Floor::kSegment>);
    add("ours without sends", BM_Filter<false>);
    add("ours", BM_Filter<true>);
    benchmark::RegisterBenchmark("ours, all signalling", BM_Signalling);
}

}  // namespace

/// Takes Google Benchmark's options; --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true gives
/// medians. With --curves in front of them it measures ours against streams and programmes, in place of ours against
/// the floors.
int main(int argc, char** argv) {
    const bool curves = argc > 1 && std::strcmp(argv[1], "--curves") == 0;
    if (curves) std::copy(argv + 2, argv + argc--, argv + 1);
    benchmark::Initialize(&argc, argv);
    if (curves) {
        benchmark::RegisterBenchmark("streams", BM_Streams)->DenseRange(1, 8);
        for (const int all : {1, 2, 6, 12, 20, kMostProgrammes})
            benchmark::RegisterBenchmark("programmes", BM_Programmes)->Arg(all);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    }
    Register();
    Keeper keeper;
    benchmark::RunSpecifiedBenchmarks(&keeper);
    std::printf("\n%-42s", "medians of this run");
    for (const Load& load : kLoads) std::printf("%12s", load.name);
    for (const Ratio& ratio : kRatios) {
        std::printf("\n%-20s : %-21s", ratio.ours, ratio.floor);
        for (const Load& load : kLoads) {
            const double floor = keeper.Median(Name(ratio.floor, load));
            std::printf("%12.2f", floor > 0 ? keeper.Median(Name(ratio.ours, load)) / floor : 0);
        }
    }
    std::printf("\n");
}
