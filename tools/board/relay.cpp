// The relay: two packet sockets, for the original eth0 and for a link to the network of the board.
#include <fmt/format.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "bytes.h"
#include "common/interfaces.h"
#include "net_faults.h"

namespace board {

namespace {

using Clock = std::chrono::steady_clock;
using Frame = std::vector<std::uint8_t>;  ///< with the packet socket's header before it

constexpr const char* kOuter = "zul-relay";  ///< the ends of the new link
constexpr const char* kInner = "zul-board0";
/// Size of Linux' struct virtio_net_hdr, which says whether the checksum is complete; linux/virtio_net.h isn't C++.
constexpr std::size_t kHead = 10;
constexpr int kBuffer = 8 << 20;
constexpr std::size_t kLargestFrame = 70'000;

[[noreturn]] void Fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

void Run(const std::string& command) {
    if (std::system(command.c_str()) != 0) throw std::runtime_error("a network with faults can't be made: " + command);
}

/// Gives this network's eth0 an address and its routes.
void Connect(const std::string& address) {
    Run(fmt::format("ip address add {} dev eth0 && ip link set eth0 up && ip route replace 224.0.0.0/4 dev eth0",
                    address));
}

/// One side of the relay.
class Side {
 public:
    explicit Side(const char* name) : mFd(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        const int on = 1;
        packet_mreq all{};
        sockaddr_ll local{};
        local.sll_family = AF_PACKET;
        local.sll_protocol = htons(ETH_P_ALL);
        local.sll_ifindex = all.mr_ifindex = static_cast<int>(if_nametoindex(name));
        all.mr_type = PACKET_MR_PROMISC;
        if (mFd < 0 || setsockopt(mFd, SOL_PACKET, PACKET_VNET_HDR, &on, sizeof on) != 0 ||
            setsockopt(mFd, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &all, sizeof all) != 0 ||
            bind(mFd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
            Fail(std::string("a socket for the frames of ") + name);
        }
        for (const int option : {SO_RCVBUFFORCE, SO_SNDBUFFORCE}) {
            setsockopt(mFd, SOL_SOCKET, option, &kBuffer, sizeof kBuffer);
        }
    }
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;
    ~Side() { close(mFd); }

    int Descriptor() const { return mFd; }

    /// \return the next received frame; empty without one
    Frame Take() {
        Frame frame(kLargestFrame);
        sockaddr_ll from{};
        socklen_t size = sizeof from;
        ssize_t got;
        do {
            got = recvfrom(mFd, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
        } while (got >= 0 && from.sll_pkttype == PACKET_OUTGOING);
        frame.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return frame;
    }

    void Send(const Frame& frame) const {
        if (write(mFd, frame.data(), frame.size()) < 0) return;  // a full device drops frames too
    }

 private:
    const int mFd;
};

/// Destination of a frame's UDP datagram, and its port in the first fragment. \return 0 for any other frame
std::uint64_t FlowOf(Bytes frame) {
    constexpr std::size_t kIp = kHead + sizeof(ether_header);
    if (frame.size() < kIp + sizeof(iphdr) + 4) return 0;
    const Bytes ip = frame.subspan(kIp);
    if (Be16(frame, kIp - 2) != ETHERTYPE_IP || ip[0] >> 4 != IPVERSION || ip[9] != IPPROTO_UDP) return 0;
    const bool isFirst = (Be16(ip, 6) & IP_OFFMASK) == 0;
    const std::size_t udp = (ip[0] & 15u) * 4u;
    const unsigned port = isFirst && ip.size() >= udp + 4 ? Be16(ip, udp + 2) : 0;
    return std::uint64_t{Be32(ip, 16)} << 16 | port;
}

class Relay {
 public:
    Relay(const NetPlan& plan, std::uint64_t seed) : mFaults(plan, seed), mDelay(plan.delay) {}

    /// Carries frames until the other end of `life` is closed.
    void Carry(int life) {
        for (;;) {
            int wait = -1;
            if (!mUnderWay.empty()) {
                const auto left = std::chrono::ceil<Milliseconds>(mUnderWay.begin()->first - Clock::now()).count();
                wait = static_cast<int>(std::max<std::int64_t>(left, 0));
            }
            pollfd ends[] = {{mOuter.Descriptor(), POLLIN, 0}, {mInner.Descriptor(), POLLIN, 0}, {life, 0, 0}};
            poll(ends, std::size(ends), wait);
            if (ends[2].revents != 0 || (ends[1].revents & POLLERR) != 0) return;
            Take(mInner, mOuter);
            Take(mOuter, mInner);
            while (!mUnderWay.empty() && mUnderWay.begin()->first <= Clock::now()) {
                const auto [to, frame] = mUnderWay.extract(mUnderWay.begin()).mapped();
                to->Send(frame);
            }
        }
    }

    std::string Tale() const {
        return fmt::format("{} datagrams, {} of them lost, {} twice, {} overtaken", mDatagrams, mLost, mTwice, mLate);
    }

 private:
    void Take(Side& from, const Side& to) {
        constexpr int kMostAtOnce = 64;  // then it is the other direction's turn
        for (int n = 0; n < kMostAtOnce; ++n) {
            Frame frame = from.Take();
            if (frame.empty()) return;
            const std::uint64_t flow = FlowOf(frame);
            Fate fate;
            if (flow != 0) {
                fate = mFaults.Decide(flow);
                ++mDatagrams;
                mLost += fate.copies == 0;
                mTwice += fate.copies == 2;
                mLate += fate.copies > 0 && fate.late > mDelay;
            }
            for (int copy = 0; copy < fate.copies; ++copy) {
                mUnderWay.emplace(Clock::now() + fate.late, std::pair(&to, frame));
            }
        }
    }

    Side mOuter{"eth0"}, mInner{kOuter};
    NetFaults mFaults;
    const Milliseconds mDelay;
    std::multimap<Clock::time_point, std::pair<const Side*, Frame>> mUnderWay;  ///< by the time that it is due
    std::uint64_t mDatagrams = 0, mLost = 0, mTwice = 0, mLate = 0;
};

}  // namespace

void MoveBehindRelay(const NetPlan& plan, std::uint64_t seed, const std::function<void(const std::string&)>& tell) {
    const auto all = common::Interfaces();
    const auto eth0 = std::ranges::find(all, "eth0", &common::Interface::name);
    if (eth0 == all.end()) throw std::runtime_error("eth0 has no address, so there is no network to have faults");
    const std::string address = fmt::format("{}/{}", common::AddressText(eth0->address), std::popcount(eth0->mask));
    // Without segmentation offload: the relay drops datagrams, not groups of them.
    Run(fmt::format("ip link add {0} gso_max_segs 1 type veth peer name {1} gso_max_segs 1 && ip link set {0} up",
                    kOuter, kInner));
    Run("ip address flush dev eth0");
    Relay relay(plan, seed);
    int life[2];
    if (pipe(life) != 0) Fail("pipe");
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) Fail("no second process for the relay");
    if (child == 0) {
        close(life[1]);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(signal, SIG_IGN);
        relay.Carry(life[0]);
        // The kernel removes the link some time after the board's network; remove it now, as the next board may start
        // as soon as the summary is out.
        Run(fmt::format("ip link delete {} 2>/dev/null || true", kOuter));
        Connect(address);
        tell(relay.Tale());
        _exit(0);
    }
    close(life[0]);  // the other end stays open until this process ends, across exec
    if (unshare(CLONE_NEWNET) != 0) Fail("a network of its own for the board");
    Run(fmt::format("nsenter --target {} --net ip link set {} netns {}", child, kInner, getpid()));
    Run("ip link set lo up && ip link set lo multicast on");
    Run(fmt::format("ip link set {} name eth0 address {:02x}", kInner, fmt::join(eth0->hardware, ":")));
    Connect(address);
}

}  // namespace board
