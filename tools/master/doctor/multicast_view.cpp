// Routes from /proc, queries from the wire.
#include "doctor/multicast_view.h"

#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <net/route.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

namespace zulctl {

namespace {

constexpr std::uint32_t kScratchGroup = 0xEFFFFAF9;  // 239.255.250.249, beside the beacon's
constexpr std::uint8_t kMembershipQuery = 0x11;

}  // namespace

std::string SystemText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::optional<RouteRow> RouteFor(std::string_view table, std::uint32_t address) {
    std::istringstream lines{std::string(table)};
    std::optional<RouteRow> best;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        RouteRow route;
        std::uint32_t destination = 0, gateway = 0, flags = 0, references = 0, uses = 0, rawMask = 0;
        columns >> route.interfaceName >> std::hex >> destination >> gateway >> flags;
        columns >> std::dec >> references >> uses >> route.metric >> std::hex >> rawMask;
        route.mask = ntohl(rawMask);
        if (!columns || (flags & RTF_UP) == 0 || (address & route.mask) != ntohl(destination)) continue;
        if (!best || route.mask > best->mask || (route.mask == best->mask && route.metric < best->metric)) best = route;
    }
    return best;
}

std::optional<std::string> InterfaceOfJoin(std::uint32_t group, int interfaceIndex) {
    UdpSocket socket;
    if (!socket.Join(group, interfaceIndex)) return std::nullopt;
    // The system lets a socket leave the group only on the interface of its membership.
    const std::unique_ptr<struct if_nameindex[], decltype(&if_freenameindex)> all(if_nameindex(), if_freenameindex);
    for (const auto* item = all.get(); item != nullptr && item->if_index != 0; ++item) {
        if (socket.Leave(group, static_cast<int>(item->if_index))) return item->if_name;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> SourceTowards(std::uint32_t group, int interfaceIndex) {
    UdpSocket socket;
    if (interfaceIndex != 0) socket.SendThrough(interfaceIndex);
    const sockaddr_in to = Endpoint{group, 9}.Sockaddr();
    if (connect(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) return std::nullopt;
    sockaddr_in local{};
    socklen_t size = sizeof local;
    getsockname(socket.Descriptor(), reinterpret_cast<sockaddr*>(&local), &size);
    return ntohl(local.sin_addr.s_addr);
}

std::unique_ptr<QuerierEar> QuerierEar::Open(int interfaceIndex) {
    const int fd = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return nullptr;
    std::unique_ptr<QuerierEar> ear(new QuerierEar(fd));
    const timeval slice{.tv_sec = 0, .tv_usec = 100'000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &slice, sizeof slice);
    // Let the kernel drop all but IGMP, as streams pass here too. Byte 9 of the IP header is the protocol.
    sock_filter steps[] = {BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 9),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_IGMP, 0, 1), BPF_STMT(BPF_RET | BPF_K, 0xFFFF),
                           BPF_STMT(BPF_RET | BPF_K, 0)};
    const sock_fprog program{static_cast<unsigned short>(std::size(steps)), steps};
    if (setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0) return nullptr;
    sockaddr_ll local{};
    local.sll_family = AF_PACKET;
    local.sll_protocol = htons(ETH_P_IP);
    local.sll_ifindex = interfaceIndex;
    if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) return nullptr;
    packet_mreq all{};
    all.mr_ifindex = interfaceIndex;
    all.mr_type = PACKET_MR_ALLMULTI;
    setsockopt(fd, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &all, sizeof all);  // optional: queries to the group we left
    UdpSocket member;
    // A querier asks only about members that it has already heard of.
    if (member.Join(kScratchGroup, interfaceIndex)) SleepUntil(Clock::now() + std::chrono::milliseconds(200));
    return ear;
}

QuerierEar::~QuerierEar() { close(mFd); }

std::optional<std::uint32_t> QuerierEar::Wait(Clock::time_point deadline) const {
    std::array<unsigned char, 256> packet{};
    while (!Interrupted() && Clock::now() < deadline) {
        const ssize_t size = recv(mFd, packet.data(), packet.size(), 0);
        const std::size_t header = static_cast<std::size_t>(packet[0] & 0x0F) * 4;
        if (size <= static_cast<ssize_t>(header) || header < 20 || packet[header] != kMembershipQuery) continue;
        return std::uint32_t{packet[12]} << 24 | std::uint32_t{packet[13]} << 16 | std::uint32_t{packet[14]} << 8 |
               packet[15];
    }
    return std::nullopt;
}

}  // namespace zulctl
