/// UDP sockets of the module: a server that replies to its last client, and a sender to one peer.
#pragma once

#include <netinet/in.h>
#include <sys/uio.h>

#include <cstdint>

/// A bound UDP socket that answers the source of the last datagram. For one thread at a time.
class UdpServer {
 public:
    UdpServer() = default;
    ~UdpServer();
    UdpServer(const UdpServer&) = delete;
    UdpServer& operator=(const UdpServer&) = delete;

    /// Opens and binds the socket, after closing one that is open.
    /// \param port   local port, host order
    /// \param group  null, or text; when its first number is 224 to 239 the socket joins that multicast group
    /// \return false when the socket can't be created, bound or joined; reported on standard error
    bool Connect(std::uint16_t port, const char* group = nullptr);

    /// Excludes datagrams to groups that only other processes of the board joined on this port.
    void IgnoreOtherGroups();

    /// Waits for a datagram.
    /// \return true only when one can be read; false on time-out, and on failure with a line on standard error
    bool WaitForData(int seconds, int microseconds);

    /// Takes one datagram and adds a terminating zero byte; its source becomes the target of `Reply`.
    /// \param buffer  room for `size` + 1 bytes
    /// \param flags   as of recvfrom
    /// \return bytes received, or a negative number with "recvfrom()" on standard error; `buffer` is then untouched
    int Receive(void* buffer, unsigned int size, int flags);

    /// Sends to the last source. \return bytes sent, or a negative number with a line on standard error
    int Reply(const char* data, int length);

    /// \return dotted address of the last source, in the C library's static buffer
    char* GetLastClientIpAddress();

    /// \return address of the last source, network order; 0 before the first
    in_addr_t GetLastClientAddress() const { return siOther.sin_addr.s_addr; }

    /// \return port of the last source, host order; 0 before the first
    int GetLastClientPort() const;

    /// Hardware address of a network interface; needs an open socket.
    /// \return twelve lower-case hexadecimal digits in one static buffer; unchanged on failure, initially ""
    char* GetSelfMacAddress(const char* interface);

 private:
    bool Join(const char* group);

    sockaddr_in siMe{};
    sockaddr_in siOther{};
    int s = -1;
    socklen_t slen = sizeof(sockaddr_in);
};

/// A UDP socket that sends to one peer or multicast group, with multicast TTL 4.
class UdpSender {
 public:
    UdpSender() = default;
    ~UdpSender() { Disconnect(); }
    UdpSender(const UdpSender&) = delete;
    UdpSender& operator=(const UdpSender&) = delete;

    /// Closes the socket, if there is one.
    void Disconnect();

    /// Sets the destination; an open socket is kept.
    /// \param peerPort  of the peer, host order
    /// \param ip           dotted address, at most 15 characters are taken
    /// \return false when the socket can't be created or the address is invalid; reported on standard error, and later
    /// sends fail
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

    /// Sends datagrams with one system call, where the system has such a call. Those of equal size whose pieces follow
    /// each other in one array are sent with segmentation offload, where available.
    /// \param count  of the datagrams, at least one
    /// \return datagrams sent, in order from the first; or a negative number with a line on standard error when the
    ///         first couldn't be sent
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
    bool mCuts = false;              ///< segmentation offload is available
    bool mForbidsFragments = false;  ///< the socket sends with "don't fragment"
    sockaddr_in siOther{};
};
