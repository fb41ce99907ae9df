// One outgoing stream: bytes collected into datagrams, and sent.
#include "filter/streamer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "core/log.h"
#include "core/replytext.h"
#include "core/statistics.h"
#include "platform/machine.h"

namespace {

constexpr std::int64_t kReconnectWait = 100 * platform::kMillisecond;
constexpr int kOverflowsPerPanic = 100;
constexpr int kBytesPerPiece = 600;  ///< that can be copied in the time that the kernel takes for a piece

/// Overflows of all streams; one in kOverflowsPerPanic is reported.
std::atomic<int> paniccount{0};

}  // namespace

// cppcheck-suppress uninitMemberVar; mWaiting is filled before it is read, and stays untouched memory in idle slots
Streamer::Streamer(int bufferSize, int packetSize)
    : mPacketSize(packetSize >= kMinPacketSize && packetSize <= kMaxPacketSize ? packetSize : kDefaultPacketSize),
      mpFilteredBuffer(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(bufferSize)]),
      mBufferSize(bufferSize) {
    if (!mpFilteredBuffer) PANIC("Cant alloc memory");
    mpCurrWritePtr = mpFilteredBuffer.get();
}

Streamer::~Streamer() { Activated(false); }

bool Streamer::StreamSet(std::uint16_t port, const char* ip) {
    if (!mpUdp) {
        mpUdp = std::make_unique<UdpSender>();
        BeginDatagram();
    }
    CopyText(mMulticastIp, ip);
    mMulticastPort = port;
    mMulticastChanged = true;
    LOG("Set Streamer %d %s:%d\n", mId, mMulticastIp, mMulticastPort);
    return true;
}

int Streamer::Stream(const std::uint8_t* addData, int len) {
    if (!Activated()) return 0;
    const int sent = Flush();  // so that the new bytes follow the kept ones in the buffer
    if (len > mRoom || !mpFilteredBuffer) {
        Refuse(len);
        return sent;
    }
    std::uint8_t* const copy = mpCurrWritePtr;
    std::memcpy(copy, addData, static_cast<std::size_t>(len));
    mpCurrWritePtr += len;
    Collect(copy, len);
    return sent + Flush();
}

/// Starts an empty datagram.
void Streamer::BeginDatagram() {
    mpNextByte = nullptr;
    mRoom = mpFilteredBuffer ? mBufferSize : 0;
}

/// Drops bytes that the buffer couldn't keep, and all of the datagram in progress.
void Streamer::Refuse(int len) {
    if (!mpUdp) {
        PANIC("no udp");
        return;
    }
    if (!mpFilteredBuffer) return;  // the allocation failed and was reported
    if (paniccount.fetch_add(1, std::memory_order_relaxed) % kOverflowsPerPanic == 0) {
        PANIC("Too much data called from Stream: %d > %d", mDataCount + len, mBufferSize);
    }
    mPieceCount = mFirstPiece;
    mDataCount = 0;
    BeginDatagram();
}

/// Ends the datagram in progress; `Flush` sends it.
void Streamer::CompleteDatagram() {
    if (mDataCount < 0) PANIC("Negative data count %d", mDataCount);
    if (mDataCount <= 0) return;
    mWaiting[mDatagrams++] = {mPieces + mFirstPiece, mPieceCount - mFirstPiece, mDataCount};
    mFirstPiece = mPieceCount;
    mDataCount = 0;
    BeginDatagram();
    if (mDatagrams == kMostDatagrams) Flush();
}

int Streamer::Flush() {
    const int sent = SendWaiting();
    KeepRest();
    return sent;
}

/// Sends pending datagrams, in batches where possible. Drops the rest when the stream becomes inactive.
int Streamer::SendWaiting() {
    if (mDatagrams == 0) return 0;
    int sent = 0;
    int next = 0;
    while (next < mDatagrams && Activated()) {
        const int batch = CountBatch(next);
        if (batch == 0) {
            sent += SendCopied(mWaiting[next++]);
            continue;
        }
        JoinPieces(mWaiting + next, batch);
        const int taken = mpUdp->SendTogether(mWaiting + next, batch);
        if (taken <= 0) {
            Fail();
            ++next;
            continue;
        }
        for (const int end = next + taken; next < end; ++next) sent += mWaiting[next].size;
    }
    mDatagrams = 0;
    Statistics::Self()->AddOutBytes(static_cast<unsigned>(sent));
    return sent;
}

/// \return number of pending datagrams, from `first` on, that can go out in one batch. Before a reconnect and with an
/// output file there is none; a datagram of several chunks goes out alone.
int Streamer::CountBatch(int first) const {
    if (mMulticastChanged || mpOutputFile != nullptr) return 0;
    int end = first;
    while (end < mDatagrams && mWaiting[end].size <= kMaxChunk) ++end;
    return end - first;
}

/// Copies pieces into the buffer from `to` on. They may be further on in the same buffer, the first one already at
/// `to`. \return the end of the copy
std::uint8_t* Streamer::Gather(std::uint8_t* to, const iovec* pieces, int count) {
    for (const iovec& piece : std::span(pieces, static_cast<std::size_t>(count))) {
        if (piece.iov_base != to) std::memmove(to, piece.iov_base, piece.iov_len);
        to += piece.iov_len;
    }
    return to;
}

/// Copies the pieces of each datagram together, where that takes less time than they take the kernel.
void Streamer::JoinPieces(UdpSender::Datagram* datagrams, int count) {
    const UdpSender::Datagram& last = datagrams[count - 1];
    iovec* joined = datagrams[0].pieces;
    const auto pieces = last.pieces + last.count - joined;
    int bytes = 0;
    for (int i = 0; i < count; ++i) bytes += datagrams[i].size;
    if ((pieces - count) * kBytesPerPiece < bytes || bytes > mBufferSize) return;
    std::uint8_t* end = mpFilteredBuffer.get();
    for (UdpSender::Datagram& datagram : std::span(datagrams, static_cast<std::size_t>(count))) {
        end = Gather(end, datagram.pieces, datagram.count);
        *joined = {end - datagram.size, static_cast<std::size_t>(datagram.size)};
        datagram.pieces = joined++;
        datagram.count = 1;
    }
}

/// Copies the datagram in progress into the buffer. REQUIRES: no datagram is pending.
void Streamer::KeepRest() {
    mpCurrWritePtr = Gather(mpFilteredBuffer.get(), mPieces + mFirstPiece, mPieceCount - mFirstPiece);
    mPieceCount = mFirstPiece = 0;
    mpNextByte = nullptr;
    if (mDataCount == 0) return;
    mPieces[mPieceCount++] = {mpFilteredBuffer.get(), static_cast<std::size_t>(mDataCount)};
    mpNextByte = mpCurrWritePtr;
}

/// Sends one datagram from the buffer; reconnects first if the destination changed or the last send failed.
/// A reconnect waits inside the filter's lock and so pauses the whole filter.
/// \return bytes sent; after a failed send the rest is dropped, as late video is useless
int Streamer::SendCopied(const UdpSender::Datagram& datagram) {
    if (mMulticastChanged) {
        mMulticastChanged = false;
        mpUdp->Disconnect();
        mpUdp->Connect(mMulticastPort, mMulticastIp);
        platform::Sleep(kReconnectWait);
    }
    Gather(mpFilteredBuffer.get(), datagram.pieces, datagram.count);
    const std::uint8_t* const data = mpFilteredBuffer.get();
    int sent = 0;
    while (sent < datagram.size) {
        const int chunk = std::min(datagram.size - sent, kMaxChunk);
        const int written = std::max(SendChunk(data + sent, chunk), 0);
        sent += written;
        if (written < chunk) {
            Fail();
            break;
        }
    }
    return sent;
}

/// Reports a failed send; the next one reconnects.
void Streamer::Fail() {
    PANIC("Send");
    mMulticastChanged = true;
}

/// Writes one chunk to the network, or to the output file if there is one.
/// \return bytes written; fewer than `size` on failure
int Streamer::SendChunk(const std::uint8_t* data, int size) {
    if (mpOutputFile == nullptr) return mpUdp->Send(data, size);
    return static_cast<int>(std::fwrite(data, 1, static_cast<std::size_t>(size), mpOutputFile));
}

void Streamer::AddProgramToList(std::uint16_t programId, std::uint16_t pid) {
    if (programId == 0) return;
    if (std::find(mProgramList.begin(), mProgramList.end(), programId) == mProgramList.end()) {
        mProgramList.push_back(programId);
    }
    mPidList.push_back(pid);
}

bool Streamer::SetPacketSize(int packetSize) {
    mPacketSize = packetSize / kPacketSize * kPacketSize;
    return true;
}

int Streamer::SendPrivatePat() {
    const Bytes packets = mPrivatePat.Next();
    return Stream(packets.data(), static_cast<int>(packets.size()));
}
