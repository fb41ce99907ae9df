// One outgoing stream: bytes collected to datagrams, and the stream's own PAT.
#include "filter/streamer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "core/log.h"
#include "core/replytext.h"
#include "core/statistics.h"
#include "filter/debugfiles.h"
#include "platform/machine.h"

namespace {

constexpr std::int64_t kReconnectWait = 100 * platform::kMillisecond;
constexpr int kOverflowsPerPanic = 100;

/// Overflows of all streams; one in kOverflowsPerPanic is reported.
std::atomic<int> paniccount{0};

}  // namespace

Streamer::Streamer(int bufferSize, int packetSize)
    : mPacketSize(packetSize >= kMinPacketSize && packetSize <= kMaxPacketSize ? packetSize : kDefaultPacketSize),
      mpFilteredBuffer(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(bufferSize)]),
      mBufferSize(bufferSize),
      mpPrivatePatBuffer(new (std::nothrow) std::uint8_t[kPrivatePatSize]()) {
    if (!mpFilteredBuffer || !mpPrivatePatBuffer) PANIC("Cant alloc memory");
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
    const int sent = Flush();  // what comes stands behind what was kept
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

/// The next bytes begin a datagram; the buffer could keep as many of them as it holds.
void Streamer::BeginDatagram() {
    mpNextByte = nullptr;
    mRoom = mpFilteredBuffer ? mBufferSize : 0;
}

/// Called for bytes that the buffer couldn't keep. They, and all of their datagram that was there, are lost.
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

/// Ends a datagram: it waits for `Flush`.
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

/// Sends pending datagrams: together, but for the first after a reconnect, for one of several chunks, and for
/// those that go to a file. Drops the rest when the stream becomes inactive.
int Streamer::SendWaiting() {
    if (mDatagrams == 0) return 0;
    int sent = 0;
    for (int next = 0; next < mDatagrams && Activated();) {
        const auto alone = [this](int i) {
            return mMulticastChanged || mWaiting[i].size > kMaxChunk || dbg_file_out != nullptr;
        };
        if (alone(next)) {
            sent += SendCopied(mWaiting[next++]);
            continue;
        }
        int last = next + 1;
        while (last < mDatagrams && !alone(last)) ++last;
        const int together = mpUdp->SendTogether(mWaiting + next, last - next);
        if (together <= 0) {
            Fail();
            ++next;
        }
        for (const int end = next + std::max(together, 0); next < end; ++next) sent += mWaiting[next].size;
    }
    mDatagrams = 0;
    Statistics::Self()->AddOutBytes(static_cast<unsigned>(sent));
    return sent;
}

/// Brings the bytes of a datagram together in the buffer; what the buffer has of them already stands at its start.
void Streamer::Gather(const iovec* pieces, int count) {
    mpCurrWritePtr = mpFilteredBuffer.get();
    for (const iovec& piece : std::span(pieces, static_cast<std::size_t>(count))) {
        if (piece.iov_base != mpCurrWritePtr) std::memcpy(mpCurrWritePtr, piece.iov_base, piece.iov_len);
        mpCurrWritePtr += piece.iov_len;
    }
}

/// Keeps a copy of what there is of the datagram that is being filled. REQUIRES: none waits.
void Streamer::KeepRest() {
    Gather(mPieces + mFirstPiece, mPieceCount - mFirstPiece);
    mPieceCount = mFirstPiece = 0;
    mpNextByte = nullptr;
    if (mDataCount == 0) return;
    mPieces[mPieceCount++] = {mpFilteredBuffer.get(), static_cast<std::size_t>(mDataCount)};
    mpNextByte = mpCurrWritePtr;
}

/// Sends one datagram from the buffer, after a reconnect where the destination changed or the last send failed.
/// The wait of a reconnect lies inside the filter's lock: the whole filter pauses for it.
/// \return bytes sent; what a failed send leaves is dropped: old video is worth nothing
int Streamer::SendCopied(const UdpSender::Datagram& datagram) {
    if (mMulticastChanged) {
        mMulticastChanged = false;
        mpUdp->Disconnect();
        mpUdp->Connect(mMulticastPort, mMulticastIp);
        platform::Sleep(kReconnectWait);
    }
    Gather(datagram.pieces, datagram.count);
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

/// Writes one chunk to the network, or to the debug file where one is open.
/// \return bytes written; fewer than `size` on failure
int Streamer::SendChunk(const std::uint8_t* data, int size) {
    if (dbg_file_out == nullptr) return mpUdp->Send(data, size);
    const auto wanted = static_cast<std::size_t>(size);
    return static_cast<int>(std::fwrite(data, 1, wanted, dbg_file_out));
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

void Streamer::SetPrivatePat(const std::uint8_t* data, int len) {
    if (!mpPrivatePatBuffer || len < 0 || len > kPrivatePatSize) return;
    mPrivatePatBufferLen = len;
    std::memcpy(mpPrivatePatBuffer.get(), data, static_cast<std::size_t>(len));
}
