/// A UDP socket for masters and stream analysers; each datagram comes with sender, time and TTL.
#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "protocol/endpoint.h"

namespace zulctl {

using Clock = std::chrono::steady_clock;

/// A record of every datagram to and from boards. Writes one line a datagram:
/// {"time":"...Z","direction":"sent","peer":"10.0.0.1:5000","text":"VERS","hex":"56455253"}. "text" is for people, with
/// control bytes escaped; "hex" holds the exact bytes. May be used from several threads.
class Recorder {
 public:
    /// Creates or truncates the file. Throws Failure when that fails.
    explicit Recorder(const std::string& path);

    void Note(const char* direction, const Endpoint& peer, std::string_view bytes);

 private:
    std::mutex mMutex;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> mpFile;
};

/// One received datagram.
struct Datagram {
    std::string bytes;
    Endpoint from;
    Clock::time_point arrived;  ///< the kernel's time stamp
    int ttl = 0;                ///< hops that it had left; 0 where unknown
    std::uint32_t lost = 0;     ///< datagrams that this socket's full buffer has dropped so far
};

/// Owns one socket. Operations that fail throw Failure.
class UdpSocket {
 public:
    explicit UdpSocket(std::shared_ptr<Recorder> recorder = nullptr);
    ~UdpSocket();
    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&&) = delete;

    /// Lets other sockets bind the same local port; call it before Bind.
    void ShareAddress();
    /// Binds to a local port (0: any) on an address (0: all).
    void Bind(std::uint16_t port, std::uint32_t address = 0);
    /// Receives from this peer only; port 0 means all ports of the address. Earlier datagrams are dropped.
    void OnlyFrom(const Endpoint& peer);
    /// Joins a group on one interface, or where the routing table says.
    /// \return false where the system refuses, as for a second membership
    bool Join(std::uint32_t group, int interfaceIndex = 0) { return Change(IP_ADD_MEMBERSHIP, group, interfaceIndex); }
    /// \return false where it isn't a member on that interface
    bool Leave(std::uint32_t group, int interfaceIndex) { return Change(IP_DROP_MEMBERSHIP, group, interfaceIndex); }
    /// Sets the interface for multicast sends.
    void SendThrough(int interfaceIndex);
    void AllowBroadcast();

    /// \return false where the system refuses to send
    bool Send(std::string_view bytes, const Endpoint& to);
    int Descriptor() const { return mFd; }

    /// Takes a pending datagram.
    /// \return nothing when none is; `refused`: nothing listens at the peer's port
    std::optional<Datagram> Take(bool* refused = nullptr);
    /// \return the next datagram, or nothing at the deadline or after an interrupt
    std::optional<Datagram> Next(Clock::time_point deadline);

 private:
    void Set(int level, int option, int value, const char* what);
    bool Change(int membership, std::uint32_t group, int interfaceIndex);

    int mFd;
    std::shared_ptr<Recorder> mpRecorder;
};

/// Bytes of a second of the fastest multiplex: a stream must not suffer from a slow judge.
inline constexpr int kStreamBuffer = 4 << 20;
/// \return a socket that takes a stream, joined to its group. Throws Failure(kUsage) where it can't be
UdpSocket StreamSocket(const Endpoint& stream, int interfaceIndex, int buffer = kStreamBuffer);

/// Waits until one of the sockets is readable, an interrupt occurs or the time is up.
/// \return index of the socket, or nothing
std::optional<std::size_t> WaitForAny(std::span<UdpSocket* const> sockets, Clock::time_point deadline);

/// Makes Ctrl-C and SIGTERM a request to end cleanly, reported by Interrupted; the second one ends the process
/// immediately.
void CatchInterrupts();
bool Interrupted();
/// Marks an interrupt as handled; the next one ends the process.
void ForgetInterrupt();
/// Sleeps until the time is up or an interrupt came.
void SleepUntil(Clock::time_point deadline);

}  // namespace zulctl
