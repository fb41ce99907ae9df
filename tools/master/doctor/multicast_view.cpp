// Routes and memberships from /proc, queries from the wire.
#include "doctor/multicast_view.h"

#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <poll.h>
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

std::vector<std::string> Words(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

/// Addresses in /proc are in host byte order.
std::optional<std::uint32_t> RawAddress(const std::string& text) {
    const auto raw = ParseNumber(text, 16);
    return raw ? std::optional(ntohl(*raw)) : std::nullopt;
}

int UsersOf(const std::vector<Membership>& memberships, const std::string& name, std::uint32_t group) {
    for (const Membership& item : memberships) {
        if (item.interfaceName == name && item.group == group) return item.users;
    }
    return 0;
}

}  // namespace

std::string SystemText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::optional<RouteRow> RouteFor(std::string_view table, std::uint32_t address) {
    std::istringstream lines{std::string(table)};
    std::optional<RouteRow> best;
    for (std::string line; std::getline(lines, line);) {
        const auto words = Words(line);
        if (words.size() < 8) continue;
        const auto destination = RawAddress(words[1]), mask = RawAddress(words[7]);
        const auto flags = ParseNumber(words[3], 16), metric = ParseNumber(words[6]);
        const bool up = flags && (*flags & 1) != 0;
        if (!destination || !mask || !metric || !up || (address & *mask) != *destination) continue;
        const RouteRow route{words[0], *destination, *mask, static_cast<int>(*metric)};
        if (!best || route.mask > best->mask || (route.mask == best->mask && route.metric < best->metric)) best = route;
    }
    return best;
}

std::vector<Membership> ParseMemberships(std::string_view table) {
    std::istringstream lines{std::string(table)};
    std::vector<Membership> memberships;
    Membership device;
    for (std::string line; std::getline(lines, line);) {
        const auto words = Words(line);
        if (line.starts_with('\t') && words.size() >= 2) {
            const auto group = RawAddress(words[0]);
            const auto users = ParseNumber(words[1]);
            if (!group || !users) continue;
            device.group = *group, device.users = static_cast<int>(*users);
            memberships.push_back(device);
        } else if (words.size() >= 5 && words.back().starts_with('V')) {
            device.interfaceName = words[1];
        }
    }
    return memberships;
}

std::optional<std::string> InterfaceOfJoin(std::uint32_t group, int interfaceIndex) {
    const auto before = ParseMemberships(SystemText("/proc/net/igmp"));
    UdpSocket socket;
    if (!socket.Join(group, interfaceIndex)) return std::nullopt;
    for (const Membership& item : ParseMemberships(SystemText("/proc/net/igmp"))) {
        if (item.group == group && item.users > UsersOf(before, item.interfaceName, group)) return item.interfaceName;
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
    const int fd = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return nullptr;
    std::unique_ptr<QuerierEar> ear(new QuerierEar(fd, interfaceIndex));
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
    return ear;
}

QuerierEar::~QuerierEar() { close(mFd); }

void QuerierEar::Provoke() const {
    UdpSocket member;
    if (!member.Join(kScratchGroup, mIndex)) return;
    // A querier asks only about members that it has already heard of.
    SleepUntil(Clock::now() + std::chrono::milliseconds(200));
}

std::optional<std::uint32_t> QuerierEar::Wait(Clock::time_point deadline) const {
    std::array<unsigned char, 256> packet{};
    while (!Interrupted() && Clock::now() < deadline) {
        const ssize_t size = recv(mFd, packet.data(), packet.size(), MSG_DONTWAIT);
        if (size < 0) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            pollfd polled{mFd, POLLIN, 0};
            poll(&polled, 1, static_cast<int>(std::clamp<long long>(left, 0, 60'000)));
            continue;
        }
        const std::size_t header = static_cast<std::size_t>(packet[0] & 0x0F) * 4;
        if (static_cast<std::size_t>(size) <= header || header < 20 || packet[header] != kMembershipQuery) continue;
        return std::uint32_t{packet[12]} << 24 | std::uint32_t{packet[13]} << 16 | std::uint32_t{packet[14]} << 8 |
               packet[15];
    }
    return std::nullopt;
}

}  // namespace zulctl
