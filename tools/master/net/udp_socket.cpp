// UDP sockets, their waits, and interrupts.
#include "net/udp_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "output/escape.h"
#include "output/failure.h"

namespace zulctl {

namespace {

constexpr std::size_t kLargestDatagram = 65536;

volatile std::sig_atomic_t interrupted = 0;

void OnInterrupt(int) { interrupted = 1; }

[[noreturn]] void Fail(const char* what) { throw Failure(kUsage, std::string(what) + ": " + std::strerror(errno)); }

/// Kernel time stamps use the wall clock; intervals use the steady clock.
Clock::time_point SteadyTime(const timespec& stamp) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto age =
        std::chrono::seconds(now.tv_sec - stamp.tv_sec) + std::chrono::nanoseconds(now.tv_nsec - stamp.tv_nsec);
    return Clock::now() - std::chrono::duration_cast<Clock::duration>(age);
}

void ReadControl(msghdr& message, Datagram& datagram) {
    for (cmsghdr* item = CMSG_FIRSTHDR(&message); item != nullptr; item = CMSG_NXTHDR(&message, item)) {
        if (item->cmsg_level == SOL_SOCKET && item->cmsg_type == SCM_TIMESTAMPNS) {
            timespec stamp{};
            std::memcpy(&stamp, CMSG_DATA(item), sizeof stamp);
            datagram.arrived = SteadyTime(stamp);
        } else if (item->cmsg_level == SOL_SOCKET && item->cmsg_type == SO_RXQ_OVFL) {
            std::memcpy(&datagram.lost, CMSG_DATA(item), sizeof datagram.lost);
        } else if (item->cmsg_level == IPPROTO_IP && item->cmsg_type == IP_TTL) {
            std::memcpy(&datagram.ttl, CMSG_DATA(item), sizeof datagram.ttl);
        }
    }
}

}  // namespace

Recorder::Recorder(const std::string& path) : mpFile(std::fopen(path.c_str(), "we"), std::fclose) {
    if (!mpFile) throw Failure(kUsage, "can't write the record " + path + ": " + std::strerror(errno));
}

void Recorder::Note(const char* direction, const Endpoint& peer, std::string_view bytes) {
    const nlohmann::ordered_json line = {{"time", UtcNow()},
                                         {"direction", direction},
                                         {"peer", EndpointText(peer)},
                                         {"text", Escaped(bytes)},
                                         {"hex", HexText(bytes)}};
    const std::string text = line.dump(-1, ' ', true) + "\n";
    const std::lock_guard lock(mMutex);
    std::fwrite(text.data(), 1, text.size(), mpFile.get());
    std::fflush(mpFile.get());  // keeps the record complete up to a crash
}

UdpSocket::UdpSocket(std::shared_ptr<Recorder> recorder)
    : mFd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)), mpRecorder(std::move(recorder)) {
    if (mFd < 0) Fail("socket");
    Set(SOL_SOCKET, SO_TIMESTAMPNS, 1, "time stamps");
    Set(SOL_SOCKET, SO_RXQ_OVFL, 1, "overflow count");
    Set(IPPROTO_IP, IP_RECVTTL, 1, "TTL");
}

UdpSocket::~UdpSocket() {
    if (mFd >= 0) close(mFd);
}

UdpSocket::UdpSocket(UdpSocket&& other) noexcept
    : mFd(std::exchange(other.mFd, -1)), mpRecorder(std::move(other.mpRecorder)) {}

void UdpSocket::Set(int level, int option, int value, const char* what) {
    if (setsockopt(mFd, level, option, &value, sizeof value) != 0) Fail(what);
}

void UdpSocket::ShareAddress() { Set(SOL_SOCKET, SO_REUSEADDR, 1, "sharing the port"); }

void UdpSocket::Bind(std::uint16_t port, std::uint32_t address) {
    const Endpoint local{address, port};
    const sockaddr_in raw = local.Sockaddr();
    if (bind(mFd, reinterpret_cast<const sockaddr*>(&raw), sizeof raw) == 0) return;
    throw Failure(kUsage, "can't use local port " + EndpointText(local) + ": " + std::strerror(errno));
}

void UdpSocket::OnlyFrom(const Endpoint& peer) {
    const sockaddr_in raw = peer.Sockaddr();
    if (connect(mFd, reinterpret_cast<const sockaddr*>(&raw), sizeof raw) != 0) {
        throw Failure(kNoAnswer, "no way to " + AddressText(peer.address) + ": " + std::strerror(errno));
    }
    char byte = 0;
    while (recv(mFd, &byte, 1, MSG_DONTWAIT) >= 0) continue;
}

bool UdpSocket::Change(int membership, std::uint32_t group, int interfaceIndex) {
    const ip_mreqn request{.imr_multiaddr = {htonl(group)}, .imr_address = {}, .imr_ifindex = interfaceIndex};
    return setsockopt(mFd, IPPROTO_IP, membership, &request, sizeof request) == 0;
}

void UdpSocket::SendThrough(int interfaceIndex) {
    const ip_mreqn request{.imr_multiaddr = {}, .imr_address = {}, .imr_ifindex = interfaceIndex};
    if (setsockopt(mFd, IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof request) != 0) Fail("multicast interface");
}

void UdpSocket::AllowBroadcast() { Set(SOL_SOCKET, SO_BROADCAST, 1, "broadcast"); }

bool UdpSocket::Send(std::string_view bytes, const Endpoint& to) {
    const sockaddr_in raw = to.Sockaddr();
    if (mpRecorder) mpRecorder->Note("sent", to, bytes);
    const ssize_t sent =
        sendto(mFd, bytes.data(), bytes.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&raw), sizeof raw);
    return sent == static_cast<ssize_t>(bytes.size());
}

std::optional<Datagram> UdpSocket::Take(bool* refused) {
    thread_local std::string buffer(kLargestDatagram, '\0');
    sockaddr_in from{};
    alignas(cmsghdr) char control[256];
    iovec piece{buffer.data(), buffer.size()};
    msghdr message{};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(mFd, &message, MSG_DONTWAIT);
    if (refused != nullptr) *refused = size < 0 && errno == ECONNREFUSED;
    if (size < 0) return std::nullopt;
    Datagram datagram{buffer.substr(0, static_cast<std::size_t>(size)),
                      {ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)},
                      Clock::now()};
    ReadControl(message, datagram);
    if (mpRecorder) mpRecorder->Note("received", datagram.from, datagram.bytes);
    return datagram;
}

std::optional<Datagram> UdpSocket::Next(Clock::time_point deadline) {
    UdpSocket* const self[] = {this};
    while (WaitForAny(self, deadline)) {
        if (auto datagram = Take()) return datagram;
    }
    return std::nullopt;
}

UdpSocket StreamSocket(const Endpoint& stream, int interfaceIndex, int buffer) {
    UdpSocket socket;
    socket.ShareAddress();
    // SO_RCVBUFFORCE may exceed the system's limit, with the privilege; SO_RCVBUF is capped.
    if (setsockopt(socket.Descriptor(), SOL_SOCKET, SO_RCVBUFFORCE, &buffer, sizeof buffer) != 0)
        setsockopt(socket.Descriptor(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
    socket.Bind(stream.port, IsMulticast(stream.address) ? stream.address : 0);
    if (IsMulticast(stream.address) && !socket.Join(stream.address, interfaceIndex)) {
        throw Failure(kUsage, "can't join {}: is there a route for it, or an --interface?",
                      AddressText(stream.address));
    }
    return socket;
}

std::optional<std::size_t> WaitForAny(std::span<UdpSocket* const> sockets, Clock::time_point deadline) {
    std::vector<pollfd> polled;
    for (const UdpSocket* socket : sockets) polled.push_back({socket->Descriptor(), POLLIN, 0});
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        // An interrupt between the test and the poll is noticed only when the poll ends: keep it short.
        const int slice = static_cast<int>(std::clamp<long long>(left, 0, 100));
        const int ready = poll(polled.data(), polled.size(), slice);
        for (std::size_t n = 0; ready > 0 && n < polled.size(); ++n) {
            if (polled[n].revents != 0) return n;
        }
        if (Interrupted() || Clock::now() >= deadline) return std::nullopt;
    }
}

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool Interrupted() { return interrupted != 0; }

void ForgetInterrupt() { interrupted = 0; }

void SleepUntil(Clock::time_point deadline) { WaitForAny({}, deadline); }

}  // namespace zulctl
