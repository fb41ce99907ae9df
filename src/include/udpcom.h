/// All UDP of the module, and the log that every source reports to.
#pragma once

#include <netinet/in.h>
#include <sys/uio.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>

/// A bound UDP socket that answers the source of the last datagram. For one thread at a time.
class UdpServer {
 public:
    UdpServer() = default;
    ~UdpServer();
    UdpServer(const UdpServer&) = delete;
    UdpServer& operator=(const UdpServer&) = delete;

    /// Opens and binds the socket, after closing one that is open.
    /// \param port   local port, host order
    /// \param group  null, or text; when its first number lies in 224 to 239 the socket joins that multicast group
    /// \return false when the socket can't be had, bound or joined; reported on standard error
    bool Connect(std::uint16_t port, const char* group = nullptr);

    /// Waits for a datagram.
    /// \return true only when one can be read; false on time-out, and on failure with a line on standard error
    bool WaitForData(int seconds, int microseconds);

    /// Takes one datagram and writes a zero byte behind it; its source becomes the target of `Reply`.
    /// \param buffer  room for `size` + 1 bytes
    /// \param flags   as of recvfrom
    /// \return bytes received, or a negative number with "recvfrom()" on standard error; `buffer` is then untouched
    int Receive(void* buffer, unsigned int size, int flags);

    /// Sends to the last source. \return bytes sent, or a negative number with a line on standard error
    int Reply(const char* data, int length);

    /// \return dotted address of the last source, in the C library's static buffer
    char* GetLastClientIpAddress();

    /// \return port of the last source, host order; 0 before the first
    int GetLastClientPort() const;

    /// Hardware address of a network interface; needs an open socket.
    /// \return twelve lower-case hexadecimal digits in one static buffer; what stood there before on failure, first ""
    char* GetSelfMacAddress(const char* interface);

 private:
    bool Join(const char* group);

    sockaddr_in siMe{};
    sockaddr_in siOther{};
    int s = -1;
    socklen_t slen = sizeof(sockaddr_in);
};

/// A UDP socket aimed at one peer or multicast group, with multicast TTL 4.
class UdpSender {
 public:
    UdpSender() = default;
    ~UdpSender() { Disconnect(); }
    UdpSender(const UdpSender&) = delete;
    UdpSender& operator=(const UdpSender&) = delete;

    /// Closes the socket, if there is one.
    void Disconnect();

    /// Aims the sender; a socket that is open is kept.
    /// \param peerPort  of the peer, host order
    /// \param ip           dotted address, at most 15 characters are taken
    /// \return false when the socket can't be had or the address isn't one; reported on standard error, and sends then
    /// fail
    bool Connect(std::uint16_t peerPort, const char* ip);

    /// Sends one datagram.
    /// \param ipAddress  not used; every caller leaves it null
    /// \return bytes sent, or a negative number with a line on standard error
    int Send(const void* data, int length, const char* ipAddress = nullptr);

    /// One datagram: its pieces, in order.
    struct Datagram {
        iovec* pieces;
        int count;  ///< pieces, at least one
        int size;   ///< bytes of all pieces, at least one
    };

    /// Sends datagrams by one system call, where the system has such a call; those of equal size whose pieces follow
    /// each other in one array pass through its network stack as one, where it can. \param count  of the datagrams, at
    /// least one \return datagrams sent, in order from the first; or a negative number with a line on standard error
    /// when the first
    ///         couldn't be sent
    int SendTogether(const Datagram* datagrams, int count);

 private:
    int Sent(ssize_t result);
    int SendBatch(const Datagram* datagrams, int count);
    int SendMessages(const Datagram* datagrams, int count);
    bool KernelCuts() const;
    void ForbidFragments(bool forbid);

    char serverIp[16] = "";
    std::uint16_t port = 0;
    int s = 0;  ///< 0: no socket
    int slen = sizeof(sockaddr_in);
    bool mCuts = false;              ///< a message of several datagrams may be left to the kernel to cut
    bool mForbidsFragments = false;  ///< the socket sends with "don't fragment"
    sockaddr_in siOther{};
};

/// The version, as told in replies, the beacon and at start.
int version_get_major();
int version_get_minor();
int version_get_build();

/// Level of `LOG`: 0 and all others but 1 and 2 silent, 1 standard output, 2 the log channel.
extern std::atomic<int> global_debug_flag;

/// The log channel, null while no master asked for it. Opened and closed through the two functions below.
extern std::atomic<UdpSender*> error_udp_sender;

/// 2048 bytes in which all lines for the log channel are built. Null before `AllocateErrorBuffer`.
extern char* error_buffer;

/// Debug files: the filter's input in place of the tuner's, the streams' output in place of the network.
/// Guarded by the filter's lock.
extern FILE* dbg_file_in;
extern FILE* dbg_file_out;

/// Allocates `error_buffer` with "LOG:ERROR " at its start, once.
void AllocateErrorBuffer();

/// Opens the log channel towards a peer; an open one keeps its peer.
void OpenLogChannel(int port, const char* ip);

/// Closes the log channel, if it is open.
void CloseLogChannel();

/// True when a `LOG` line goes anywhere at present; nothing of a line is evaluated otherwise.
inline bool LogIsWanted() {
    const int level = global_debug_flag.load(std::memory_order_relaxed);
    return level == 1 || (level == 2 && error_udp_sender.load(std::memory_order_relaxed) != nullptr);
}

/// Behind `LOG`: prints or sends one line by the level.
[[gnu::format(printf, 1, 2)]] void LogLine(const char* format, ...);

/// Behind `PANIC`: reports on standard error and on the log channel, and goes on.
[[gnu::format(printf, 4, 5)]] void PanicLine(int error, const char* file, int line, const char* format, ...);

/// Counts what is reported whatever the log's level, or would be at another: `PANIC` and `LOG_SOMETIMES`.
extern std::atomic<unsigned> report_count;

/// Logs a line by `global_debug_flag`; its arguments are evaluated only when it goes somewhere.
#define LOG(...)                                 \
    do {                                         \
        if (LogIsWanted()) LogLine(__VA_ARGS__); \
    } while (false)

/// Reports a failure, whatever the level, and goes on: what to do about it stands behind it.
#define PANIC(...) PanicLine(errno, __FILE__, __LINE__, __VA_ARGS__)

/// Logs a line that would repeat on the packet path: the first of every `interval` times it is reached.
#define LOG_SOMETIMES(interval, ...)                                                              \
    do {                                                                                          \
        static std::atomic<unsigned> logCount{0};                                                 \
        report_count.fetch_add(1, std::memory_order_relaxed);                                     \
        if (logCount.fetch_add(1, std::memory_order_relaxed) % (interval) == 0) LOG(__VA_ARGS__); \
    } while (false)
