// Receiving a multicast stream.
#include "stream_tap.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "transport_file.h"

namespace board {

namespace {

/// Length of stream that is kept: a second for the tables and a complete picture, and the part that is shown.
constexpr std::chrono::milliseconds kKept{2500};
constexpr std::size_t kLargestDatagram = 65536;
constexpr int kReceiveBuffer = 4 << 20;

int Join(const std::string& group, int port) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof kReceiveBuffer) != 0) {
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    ip_mreqn membership{};
    const bool joined = inet_aton(group.c_str(), &address.sin_addr) != 0 &&
                        bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                        ((membership.imr_multiaddr = address.sin_addr), true) &&
                        setsockopt(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) == 0;
    if (joined) return fd;
    const int error = errno;
    close(fd);
    throw std::system_error(error, std::generic_category(), "can't join " + group);
}

}  // namespace

StreamTap::StreamTap(const std::string& group, int port, int programme, int audioPid, PsiReader::OnSection onSection,
                     std::function<void(const ProgrammeStreams&)> onStreams)
    : mOnStreams(std::move(onStreams)), mSocket(Join(group, port)), mReader(programme, audioPid, std::move(onSection)) {
    if (pipe2(mStop, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    mThread = std::thread([this] { Run(); });
}

StreamTap::~StreamTap() {
    close(mStop[1]);
    mThread.join();
    close(mStop[0]);
    close(mSocket);
}

void StreamTap::Choose(int programme, int audioPid) {
    const std::lock_guard lock(mMutex);
    mReader.Choose(programme, audioPid);
}

std::vector<std::uint8_t> StreamTap::LastBytes() const {
    const std::lock_guard lock(mMutex);
    std::vector<std::uint8_t> bytes;
    for (const Piece& piece : mLast) bytes.insert(bytes.end(), piece.packets.begin(), piece.packets.end());
    return bytes;
}

std::uint64_t StreamTap::BytesReceived() const {
    const std::lock_guard lock(mMutex);
    return mBytesReceived;
}

void StreamTap::Run() {
    std::vector<std::uint8_t> datagram(kLargestDatagram);
    for (;;) {
        pollfd ends[] = {{mSocket, POLLIN, 0}, {mStop[0], POLLIN, 0}};
        if (poll(ends, 2, -1) == -1) continue;
        if (ends[1].revents != 0) return;
        const ssize_t size = recv(mSocket, datagram.data(), datagram.size(), MSG_DONTWAIT);
        if (size > 0) Take({datagram.data(), static_cast<std::size_t>(size)});
    }
}

void StreamTap::Take(std::span<const std::uint8_t> datagram) {
    ProgrammeStreams streams;
    bool changed;
    {
        const std::lock_guard lock(mMutex);
        mBytesReceived += datagram.size();
        mOpen.insert(mOpen.end(), datagram.begin(), datagram.end());
        Piece piece{std::chrono::steady_clock::now(), {}};
        std::size_t at = 0;
        while (at + kPacketSize <= mOpen.size()) {
            if (mOpen[at] != common::kSync) {
                ++at;
                continue;
            }
            const std::span packet(&mOpen[at], kPacketSize);
            mReader.Take(packet);
            piece.packets.insert(piece.packets.end(), packet.begin(), packet.end());
            at += kPacketSize;
        }
        mOpen.erase(mOpen.begin(), mOpen.begin() + static_cast<std::ptrdiff_t>(at));
        mLast.push_back(std::move(piece));
        while (mLast.back().arrival - mLast.front().arrival > kKept) mLast.pop_front();
        streams = mReader.Streams();
        changed = streams != mTold;
        mTold = streams;
    }
    if (changed) mOnStreams(streams);
}

}  // namespace board
