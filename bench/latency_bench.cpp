// How long a datagram takes from the call of Zul_Filter that completes it to the socket of another machine.
//     latency_bench receive                                     measures datagrams to port 6000, until it ends
//     latency_bench ours|floor ADDRESS MBITPS PACKETS SECONDS   sends a whole multiplex in host buffers of PACKETS
// `floor` copies packets to datagrams, and sends those of a host buffer as one message that the kernel segments.
// Packets carry the time of the call, and the receiver's kernel gives the time of arrival: both machines have one
// clock. Run by bench/latency.
#include <arpa/inet.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands/entry.h"
#include "core/log.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "tables.h"
#include "zul.h"

namespace {

using bench::Blob;

constexpr std::uint16_t kPort = 6000;
constexpr int kDatagram = 1316;
constexpr std::size_t kStamp = 8;  ///< offset of the time in a packet
constexpr std::int64_t kSecond = 1000000000;

std::int64_t Nanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }

std::int64_t Now(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return Nanoseconds(now);
}

int Receive() {
    const int s = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kPort);
    if (bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 1;
    const int on = 1, room = 4 << 20;
    setsockopt(s, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    setsockopt(s, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
    const timeval silence{2, 0};
    std::vector<double> delays;
    unsigned char data[2048], control[256];
    for (;;) {
        iovec bytes{data, sizeof data};
        msghdr message{};
        message.msg_iov = &bytes;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        if (recvmsg(s, &message, 0) != kDatagram) break;
        if (delays.empty()) setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence);
        const cmsghdr* const head = CMSG_FIRSTHDR(&message);
        if (head == nullptr || head->cmsg_type != SCM_TIMESTAMPNS) return 1;
        timespec arrival{};
        std::memcpy(&arrival, CMSG_DATA(head), sizeof arrival);
        std::int64_t call = 0;  // of the last packet, which completed the datagram
        std::memcpy(&call, data + kDatagram - kPacketSize + kStamp, sizeof call);
        delays.push_back(static_cast<double>(Nanoseconds(arrival) - call) / 1e3);
    }
    if (delays.empty()) return 1;
    std::sort(delays.begin(), delays.end());
    std::printf("p50 %7.1f us  p99 %7.1f us  of %zu datagrams\n", delays[delays.size() / 2],
                delays[delays.size() * 99 / 100], delays.size());
    return 0;
}

/// The same datagrams in the simplest way.
class Floor {
 public:
    explicit Floor(const char* ip) {
        mTo.sin_family = AF_INET;
        mTo.sin_port = htons(kPort);
        inet_aton(ip, &mTo.sin_addr);
        const int discovery = IP_PMTUDISC_DO, size = kDatagram;
        setsockopt(mSocket, IPPROTO_IP, IP_MTU_DISCOVER, &discovery, sizeof discovery);
        setsockopt(mSocket, IPPROTO_UDP, UDP_SEGMENT, &size, sizeof size);
    }
    void Take(const unsigned char* data, std::size_t size) {
        for (std::size_t at = 0; at < size; at += kPacketSize, mFilled += kPacketSize) {
            std::memcpy(mBytes + mFilled, data + at, kPacketSize);
        }
        const std::size_t whole = mFilled / kDatagram * kDatagram;
        if (whole == 0) return;
        sendto(mSocket, mBytes, whole, 0, reinterpret_cast<sockaddr*>(&mTo), sizeof mTo);
        std::memmove(mBytes, mBytes + whole, mFilled - whole);
        mFilled -= whole;
    }

 private:
    int mSocket = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in mTo{};
    std::size_t mFilled = 0;
    unsigned char mBytes[65536];
};

/// Calls `take` with a host buffer whenever it is due.
template <typename Take>
void Pace(double rate, int packets, double seconds, Take take) {
    Blob buffer;
    for (int i = 0; i < packets; ++i) {
        const auto programme = static_cast<unsigned>(i) % 6 + 1;
        transport::Append(buffer, transport::Filled(bench::PmtPid(programme) + 1, static_cast<unsigned>(i), 0xA5));
    }
    const double interval = static_cast<double>(buffer.size()) * 8 / rate * 1e9;
    const std::int64_t start = Now(CLOCK_MONOTONIC);
    for (int n = 0; n * interval < seconds * 1e9; ++n) {
        const std::int64_t due = start + static_cast<std::int64_t>(n * interval);
        const timespec until{due / kSecond, due % kSecond};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
        const std::int64_t call = Now(CLOCK_REALTIME);
        for (std::size_t at = 0; at < buffer.size(); at += kPacketSize)
            std::memcpy(&buffer[at + kStamp], &call, sizeof call);
        take(buffer.data(), buffer.size());
    }
}

int Send(bool ours, const char* ip, double rate, int packets, double seconds) {
    if (!ours) {
        static Floor floor(ip);
        Pace(rate, packets, seconds, [](unsigned char* data, std::size_t size) { floor.Take(data, size); });
        return 0;
    }
    global_debug_flag = 0;
    static TunerManager tuner('T');
    static TsFilter filter('T', &tuner);
    LetDataReach(&filter, 'T');
    filter.FilterActive(true);
    const auto call = [](unsigned char* data, std::size_t size) { Zul_Filter(data, static_cast<unsigned>(size)); };
    Pace(1e9, 174, 0.1, call);  // the whole multiplex is what was seen three times
    filter.AddStream(0, ip, kPort);
    filter.AddAllProgramsToStream(0);
    Pace(rate, packets, seconds, call);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "receive") == 0) return Receive();
    if (argc != 6) return 2;
    return Send(std::strcmp(argv[1], "ours") == 0, argv[2], std::atof(argv[3]) * 1e6, std::atoi(argv[4]),
                std::atof(argv[5]));
}
