// Receiving a multicast stream.
#include "stream_tap.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "common/ts_packet.h"

namespace board {

namespace {

/// Length of stream that is kept: a second for the tables and a complete picture, and the part that is shown.
constexpr std::chrono::milliseconds kKept{2500};
constexpr std::size_t kLargestDatagram = 65536;
constexpr int kReceiveBuffer = 4 << 20;

/// stream_type values of video and sound (ISO/IEC 13818-1, table 2-34; A/53, part 3).
bool IsVideo(int type) { return type == 0x01 || type == 0x02 || type == 0x1B || type == 0x24 || type == 0x80; }
bool IsAudio(int type) { return type == 0x03 || type == 0x04 || type == 0x0F || type == 0x81 || type == 0x87; }

int Join(const std::string& group, int port) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    // The second exceeds the system's limit, where this process may.
    for (const int option : {SO_RCVBUF, SO_RCVBUFFORCE}) {
        setsockopt(fd, SOL_SOCKET, option, &kReceiveBuffer, sizeof kReceiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const bool isAddress = inet_aton(group.c_str(), &address.sin_addr) != 0;
    const ip_mreqn membership{address.sin_addr, {}, 0};
    if (isAddress && bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        setsockopt(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) == 0) {
        return fd;
    }
    const int error = errno;
    close(fd);
    throw std::system_error(error, std::generic_category(), "can't join " + group);
}

}  // namespace

StreamTap::StreamTap(const std::string& group, int port, int programme, int audioPid, OnSection onSection,
                     std::function<void(const ProgrammeStreams&)> onStreams)
    : mOnSection(std::move(onSection)),
      mOnStreams(std::move(onStreams)),
      mSocket(Join(group, port)),
      mProgramme(programme),
      mAudioPid(audioPid) {
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
    mProgramme = programme;
    mAudioPid = audioPid;
    mPmtPid = 0;
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

void StreamTap::Take(Bytes datagram) {
    std::unique_lock lock(mMutex);
    const ProgrammeStreams before = mStreams;
    mBytesReceived += datagram.size();
    mOpen.insert(mOpen.end(), datagram.begin(), datagram.end());
    Piece piece{std::chrono::steady_clock::now(), {}};
    std::size_t at = 0;
    while (at + common::kTsPacketSize <= mOpen.size()) {
        if (mOpen[at] != common::kSync) {
            ++at;
            continue;
        }
        const Bytes packet(&mOpen[at], common::kTsPacketSize);
        TakePacket(packet);
        piece.packets.insert(piece.packets.end(), packet.begin(), packet.end());
        at += common::kTsPacketSize;
    }
    mOpen.erase(mOpen.begin(), mOpen.begin() + static_cast<std::ptrdiff_t>(at));
    mLast.push_back(std::move(piece));
    while (mLast.back().arrival - mLast.front().arrival > kKept) mLast.pop_front();
    const ProgrammeStreams streams = mStreams;
    lock.unlock();
    if (streams != before) mOnStreams(streams);
}

void StreamTap::TakePacket(Bytes packet) {
    const int pid = common::PidOf(packet);
    if ((pid != 0 && pid != mPmtPid) || !common::HasPayload(packet)) return;
    Partial& partial = mPartial[pid];
    const int continuity = common::ContinuityOf(packet);
    if (partial.continuity == continuity) return;  // sent twice
    if (partial.continuity != -1 && ((partial.continuity + 1) & 0xF) != continuity) partial.sections.Drop();
    partial.continuity = continuity;
    partial.sections.Add(common::PayloadOf(packet), common::UnitStarts(packet),
                         [this, pid](std::span<std::uint8_t> section) { TakeSection(pid, section); });
}

void StreamTap::TakeSection(int pid, std::span<std::uint8_t> section) {
    if (!common::CrcIsRight(section)) return;
    if (const auto pat = common::ParsePat(section); pat && pid == 0) {
        const auto played = std::ranges::find_if(pat->entries, [this](const auto& entry) {
            return entry.programme != 0 && (mProgramme == 0 || entry.programme == mProgramme);
        });
        if (played != pat->entries.end()) {
            mPmtPid = played->pid;
            if (mStreams.programme != played->programme) mStreams = {played->programme};
        }
        mOnSection(section);
    }
    if (const auto pmt = common::ParsePmt(section); pmt && pid == mPmtPid && pmt->programme == mStreams.programme) {
        mStreams = {mStreams.programme};
        for (const auto& stream : pmt->streams) {
            if (IsVideo(stream.type) && mStreams.videoType == 0) mStreams.videoType = stream.type;
            const bool chosen = mAudioPid == 0 ? mStreams.audioType == 0 : stream.pid == mAudioPid;
            if (IsAudio(stream.type) && chosen) mStreams.audioType = stream.type;
        }
        mOnSection(section);
    }
}

}  // namespace board
