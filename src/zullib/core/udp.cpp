// UDP sockets of the module: a bound server, and a sender to one peer or group.
#include "core/udpcom.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/replytext.h"
#include "core/texthelpers.h"
#include "platform/machine.h"

namespace {

constexpr int kMulticastTtl = 4;
constexpr int kFirstMulticast = 224;  // first octet of multicast addresses, lowest and highest
constexpr int kLastMulticast = 239;

sockaddr* Generic(sockaddr_in* address) { return reinterpret_cast<sockaddr*>(address); }

constexpr int kFirstFreeDescriptor = 3;  // after the standard streams

/// Opens a socket whose descriptor isn't 0, which means none: a host may have closed its standard input.
/// \return the descriptor, or -1 with `errno`
int OpenSenderSocket() {
    const int opened = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (opened != 0) return opened;
    const int moved = fcntl(opened, F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
    close(opened);
    return moved;
}

/// Closes a socket after a failed step; keeps `errno`. \return false
bool GiveUp(int& socket, int closed) {
    const int error = errno;
    close(socket);
    socket = closed;
    errno = error;
    return false;
}

}  // namespace

UdpServer::~UdpServer() {
    if (s >= 0) close(s);
}

bool UdpServer::Connect(std::uint16_t port, const char* group) {
    if (s >= 0) close(s);
    slen = sizeof(sockaddr_in);
    s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (s == -1) {
        std::fputs("socket", stderr);
        return false;
    }
    const int on = 1;
    if (setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == -1) {
        std::fputs("Reusing ADDR failed", stderr);
        return GiveUp(s, -1);
    }
    siMe = {};
    siMe.sin_family = AF_INET;
    siMe.sin_port = htons(port);
    siMe.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(s, Generic(&siMe), sizeof siMe) == -1) {
        std::perror("bind");
        return GiveUp(s, -1);
    }
    return group == nullptr || Join(group);
}

/// Joins a multicast group; does nothing for any other text. \return false when the join fails
bool UdpServer::Join(const char* group) {
    const int first = Decimal(group);
    if (first < kFirstMulticast || first > kLastMulticast) return true;
    ip_mreq membership{};
    if (inet_aton(group, &membership.imr_multiaddr) == 0) return true;
    membership.imr_interface.s_addr = htonl(INADDR_ANY);
    if (setsockopt(s, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) == -1) {
        std::perror("setsockopt");
        return GiveUp(s, -1);
    }
    std::printf("Joined multicast group %s\n", group);
    return true;
}

void UdpServer::IgnoreOtherGroups() {
    const int off = 0;
    if (setsockopt(s, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off) == -1) std::perror("setsockopt");
}

bool UdpServer::WaitForData(int seconds, int microseconds) {
    const int ready = platform::Wait(s, seconds * platform::kSecond + microseconds);
    if (ready == -1) std::perror("select()");
    return ready > 0;
}

int UdpServer::Receive(void* buffer, unsigned int size, int flags) {
    slen = sizeof(sockaddr_in);
    const ssize_t received = recvfrom(s, buffer, size, flags, Generic(&siOther), &slen);
    if (received < 0) {
        std::fputs("recvfrom()\n", stderr);
        return static_cast<int>(received);
    }
    static_cast<char*>(buffer)[received] = '\0';
    return static_cast<int>(received);
}

int UdpServer::Reply(const char* data, int length) {
    const ssize_t sent = sendto(s, data, static_cast<std::size_t>(length), 0, Generic(&siOther), sizeof siOther);
    if (sent < 0) std::perror("sendto() - 1");
    return static_cast<int>(sent);
}

char* UdpServer::GetLastClientIpAddress() { return inet_ntoa(siOther.sin_addr); }

int UdpServer::GetLastClientPort() const { return ntohs(siOther.sin_port); }

namespace {

bool InterfaceExists(const char* name) {
    struct if_nameindex* const list = if_nameindex();
    if (list == nullptr) return false;
    bool found = false;
    for (const struct if_nameindex* entry = list; entry->if_name != nullptr && !found; ++entry) {
        found = std::strcmp(entry->if_name, name) == 0;
    }
    if_freenameindex(list);
    return found;
}

}  // namespace

char* UdpServer::GetSelfMacAddress(const char* interface) {
    static char macString[16];
    if (!InterfaceExists(interface)) return macString;
    std::printf("Getting mac for %s\n", interface);
    ifreq request{};
    CopyText(request.ifr_name, interface);
    if (ioctl(s, SIOCGIFHWADDR, &request) == -1) {
        std::perror("ioctl");
        return macString;
    }
    unsigned char mac[6];
    std::memcpy(mac, request.ifr_hwaddr.sa_data, sizeof mac);
    std::memset(macString, 0, sizeof macString);
    std::snprintf(macString, sizeof macString, "%.2x%.2x%.2x%.2x%.2x%.2x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return macString;
}

void UdpSender::Disconnect() {
    if (s == 0) return;
    close(s);
    s = 0;
}

bool UdpSender::Connect(std::uint16_t peerPort, const char* ip) {
    CopyText(serverIp, ip);
    port = peerPort;
    slen = sizeof(sockaddr_in);
    if (s == 0) {
        const int opened = OpenSenderSocket();
        if (opened == -1) {
            std::fputs("socket", stderr);
            return false;
        }
        s = opened;
        mForbidsFragments = false;
    }
    siOther = {};
    siOther.sin_family = AF_INET;
    siOther.sin_port = htons(port);
    const unsigned char ttl = kMulticastTtl;
    if (setsockopt(s, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl) == -1) std::fputs("setsockopt - ttl", stderr);
    mCuts = KernelCuts();
    if (inet_aton(serverIp, &siOther.sin_addr) == 0) {
        std::fputs("inet_aton()", stderr);
        return GiveUp(s, 0);
    }
    return true;
}

/// Reports a failed send. \return its result
int UdpSender::Sent(ssize_t result) {
    if (result < 0) std::fprintf(stderr, "sendto() - 2 errno %d\n", errno);
    return static_cast<int>(result);
}

int UdpSender::Send(const void* data, int length, const char* /*ipAddress*/) {
    if (s == 0) {
        errno = EBADF;  // descriptor 0 isn't ours
        return Sent(-1);
    }
    ForbidFragments(false);
    return Sent(sendto(s, data, static_cast<std::size_t>(length), 0, Generic(&siOther), sizeof siOther));
}
