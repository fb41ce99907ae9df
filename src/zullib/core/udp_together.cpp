// Batched sends: several datagrams per system call, and those of equal size as one message, which the kernel segments
// at the end of its network stack (UDP_SEGMENT). Passing that stack is most of a datagram's cost.
#include <netinet/udp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "core/udpcom.h"

namespace {

msghdr MessageOf(sockaddr_in& to, iovec* pieces, std::ptrdiff_t count) {
    msghdr message{};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = pieces;
    message.msg_iovlen = static_cast<std::size_t>(count);
    return message;
}

}  // namespace

#if defined(__linux__) && defined(UDP_SEGMENT)

namespace {

constexpr int kMostMessages = 64;   ///< of one call
constexpr int kMostInARun = 64;     ///< datagrams in one segmented message
constexpr int kMostOfARun = 65507;  ///< bytes of a segmented message: the largest UDP payload
constexpr int kMostToCut = 1472;    ///< bytes of a datagram that fits an Ethernet frame; larger ones aren't segmented

/// \return number of leading datagrams, of equal size and with their pieces in one array, that may be sent as one
/// message
int RunLength(const UdpSender::Datagram* datagrams, int count) {
    const UdpSender::Datagram& first = datagrams[0];
    const int most = std::min({count, kMostInARun, kMostOfARun / first.size});
    int length = 1;
    while (length < most && datagrams[length].size == first.size &&
           datagrams[length].pieces == datagrams[length - 1].pieces + datagrams[length - 1].count) {
        ++length;
    }
    return length;
}

/// The control message with the size of the segments.
class CutSize {
 public:
    void GoWith(msghdr& message, int size) {
        std::memset(mBytes, 0, sizeof mBytes);
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

}  // namespace

/// A kernel without segmentation would silently send the message whole, so support is tested, by UDP_GRO, the receiving
/// half, which is newer: the first kernels with UDP_SEGMENT didn't segment for members of a group on the same machine.
bool UdpSender::KernelCuts() const {
    const int error = errno;
    int value = 0;
    socklen_t length = sizeof value;
    const bool knows = getsockopt(s, IPPROTO_UDP, UDP_GRO, &value, &length) == 0;
    errno = error;
    return knows;
}

/// Sets "don't fragment", as each datagram alone would have it, or leaves it to the kernel. For a segmented message the
/// kernel decides by the length of the whole message: it would allow fragments, with one identification for several
/// datagrams.
void UdpSender::ForbidFragments(bool forbid) {
    if (forbid == mForbidsFragments) return;
    const int error = errno;
    const int discovery = forbid ? IP_PMTUDISC_DO : IP_PMTUDISC_WANT;
    if (setsockopt(s, IPPROTO_IP, IP_MTU_DISCOVER, &discovery, sizeof discovery) == 0) mForbidsFragments = forbid;
    errno = error;
}

/// \return datagrams sent, in order from the first; negative with `errno` when the first couldn't be sent
int UdpSender::SendMessages(const Datagram* datagrams, int count) {
    mmsghdr messages[kMostMessages];
    CutSize sizes[kMostMessages];
    int ends[kMostMessages] = {};  // datagrams up to the end of each message
    int made = 0;
    for (int next = 0; next < count && made < kMostMessages; ++made) {
        const Datagram& first = datagrams[next];
        const int run = mForbidsFragments ? RunLength(&first, count - next) : 1;
        next += run;
        const Datagram& last = datagrams[next - 1];
        messages[made].msg_hdr = MessageOf(siOther, first.pieces, last.pieces + last.count - first.pieces);
        if (run > 1) sizes[made].GoWith(messages[made].msg_hdr, first.size);
        ends[made] = next;
    }
    const int sent = sendmmsg(s, messages, static_cast<unsigned>(made), 0);
    return sent > 0 ? ends[sent - 1] : sent;
}

/// Sends with segmentation offload; falls back to one message per datagram. \return as SendMessages
int UdpSender::SendBatch(const Datagram* datagrams, int count) {
    const int error = errno;
    ForbidFragments(mCuts && std::all_of(datagrams, datagrams + count,
                                         [](const Datagram& datagram) { return datagram.size <= kMostToCut; }));
    int sent = SendMessages(datagrams, count);
    if (sent < 0 && mForbidsFragments && (errno == EIO || errno == EINVAL || errno == EMSGSIZE)) {
        // The device can't segment (no checksum offload, or a small MTU), or the path has a smaller MTU.
        mCuts = false;
        ForbidFragments(false);
        sent = SendMessages(datagrams, count);
    }
    if (sent > 0) errno = error;
    return sent;
}

#else

bool UdpSender::KernelCuts() const { return false; }

void UdpSender::ForbidFragments(bool) {}

int UdpSender::SendBatch(const Datagram*, int) {
    errno = ENOSYS;
    return -1;
}

#endif

int UdpSender::SendTogether(const Datagram* datagrams, int count) {
    if (s == 0) {
        errno = EBADF;
        return Sent(-1);
    }
    const int sent = SendBatch(datagrams, count);
    if (sent > 0 || errno != ENOSYS) return Sent(sent);
    const msghdr first = MessageOf(siOther, datagrams[0].pieces, datagrams[0].count);
    return Sent(sendmsg(s, &first, 0)) < 0 ? -1 : 1;
}
