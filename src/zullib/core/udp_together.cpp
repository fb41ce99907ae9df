// Datagrams that leave together: several by one system call, and those of equal size as one message that the system
// cuts apart behind its network stack, which is where a datagram's time goes.
#include <netinet/udp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "udpcom.h"

namespace {

constexpr int kMostMessages = 64;   ///< of one call
constexpr int kMostInARun = 64;     ///< datagrams that the system cuts out of one message
constexpr int kMostOfARun = 65507;  ///< bytes of a message: those of the largest UDP datagram
constexpr int kMostToCut = 1472;  ///< bytes of a datagram that Ethernet takes whole; the system cuts out no larger ones

/// \return how many datagrams from the front, of equal size and with their pieces in one array, may leave as one
/// message
int RunLength(const UdpSender::Datagram* datagrams, int count) {
    const UdpSender::Datagram& first = datagrams[0];
    if (first.size > kMostToCut) return 1;
    const int most = std::min({count, kMostInARun, kMostOfARun / first.size});
    int length = 1;
    while (length < most && datagrams[length].size == first.size &&
           datagrams[length].pieces == datagrams[length - 1].pieces + datagrams[length - 1].count) {
        ++length;
    }
    return length;
}

#ifdef UDP_SEGMENT

/// What goes along with a message to tell the size that it is to be cut by.
class CutSize {
 public:
    void GoWith(msghdr& message, int size) {
        message.msg_control = mBytes;
        message.msg_controllen = sizeof mBytes;
        cmsghdr* const head = CMSG_FIRSTHDR(&message);
        head->cmsg_level = IPPROTO_UDP;
        head->cmsg_type = UDP_SEGMENT;
        head->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
        const auto told = static_cast<std::uint16_t>(size);
        std::memcpy(CMSG_DATA(head), &told, sizeof told);
    }

 private:
    alignas(cmsghdr) unsigned char mBytes[CMSG_SPACE(sizeof(std::uint16_t))];
};

#else

struct CutSize {
    void GoWith(msghdr&, int) {}
};

#endif

}  // namespace

/// One that doesn't know of it would send a message whole, without a word: so it is asked before.
bool UdpSender::SystemCutsMessages() const {
#ifdef UDP_SEGMENT
    int size = 0;
    socklen_t length = sizeof size;
    return getsockopt(s, IPPROTO_UDP, UDP_SEGMENT, &size, &length) == 0;
#else
    return false;
#endif
}

#ifdef __linux__

/// \return datagrams sent, in order from the first; negative with `errno` when the first couldn't be sent
int UdpSender::SendMessages(const Datagram* datagrams, int count) {
    mmsghdr messages[kMostMessages];
    CutSize sizes[kMostMessages];
    int ends[kMostMessages] = {};  // datagrams up to the end of each message
    int made = 0;
    for (int next = 0; next < count && made < kMostMessages; ends[made++] = next) {
        const Datagram& first = datagrams[next];
        const int run = mCutsMessages ? RunLength(&first, count - next) : 1;
        next += run;
        const Datagram& last = datagrams[next - 1];
        msghdr& message = messages[made].msg_hdr = {};
        message.msg_name = &siOther;
        message.msg_namelen = sizeof siOther;
        message.msg_iov = first.pieces;
        message.msg_iovlen = static_cast<std::size_t>(last.pieces + last.count - first.pieces);
        if (run > 1) sizes[made].GoWith(message, first.size);
    }
    const int sent = sendmmsg(s, messages, static_cast<unsigned>(made), 0);
    return sent > 0 ? ends[sent - 1] : sent;
}

#endif

int UdpSender::SendTogether(const Datagram* datagrams, int count) {
    if (s == 0) {
        errno = EBADF;
        return Sent(-1);
    }
#ifdef __linux__
    int sent = SendMessages(datagrams, count);
    if (sent < 0 && errno != ENOSYS && mCutsMessages && RunLength(datagrams, count) > 1) {
        // The way out can't cut, by its MTU or its checksums; or it fails for each datagram by itself as well.
        mCutsMessages = false;
        sent = SendMessages(datagrams, count);
    }
    if (sent > 0 || errno != ENOSYS) return Sent(sent);
#endif
    const msghdr first{.msg_name = &siOther,
                       .msg_namelen = sizeof siOther,
                       .msg_iov = datagrams[0].pieces,
                       .msg_iovlen = static_cast<std::size_t>(datagrams[0].count),
                       .msg_control = nullptr,
                       .msg_controllen = 0,
                       .msg_flags = 0};
    return Sent(sendmsg(s, &first, 0)) < 0 ? -1 : 1;
}
