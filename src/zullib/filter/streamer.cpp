// One outgoing stream: bytes collected to datagrams, and the stream's own PAT.
#include "streamer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "platform/machine.h"
#include "replytext.h"
#include "statistics.h"

namespace {

constexpr std::int64_t kReconnectWait = 100 * platform::kMillisecond;
constexpr int kOverflowsPerPanic = 100;

/// Overflows of all streams; one in kOverflowsPerPanic is reported.
std::atomic<int> paniccount{0};

}  // namespace

Streamer::Streamer(int bufferSize, int packetSize)
    : mPacketSize(packetSize >= kMinPacketSize && packetSize <= kMaxPacketSize ? packetSize : kDefaultPacketSize),
      mpFilteredBuffer(new(std::nothrow) std::uint8_t[static_cast<std::size_t>(bufferSize)]),
      mBufferSize(bufferSize),
      mpPrivatePatBuffer(new(std::nothrow) std::uint8_t[kPrivatePatSize]()) {
    if (!mpFilteredBuffer || !mpPrivatePatBuffer) PANIC("Cant alloc memory");
    mpCurrWritePtr = mpFilteredBuffer.get();
}

Streamer::~Streamer() { Activated(false); }

bool Streamer::StreamSet(std::uint16_t port, const char* ip) {
    if (!mpUdp) {
        mpUdp = std::make_unique<UdpSender>();
        if (mpFilteredBuffer) mRoom = mBufferSize;
    }
    CopyText(mMulticastIp, ip);
    mMulticastPort = port;
    mMulticastChanged = true;
    LOG("Set Streamer %d %s:%d\n", mId, mMulticastIp, mMulticastPort);
    return true;
}

int Streamer::Stream(const std::uint8_t* addData, int len) {
    Collect(addData, len);
    return Flush();
}

/// Called when bytes don't fit behind those that are there. The datagrams that wait go first; if that isn't enough the
/// bytes, and all that were there, are lost.
/// \return true when they fit now
bool Streamer::MakeRoom(int len) {
    if (!mpUdp) {
        PANIC("no udp");
        return false;
    }
    if (!mpFilteredBuffer) return false;  // the allocation failed and was reported
    Flush();
    if (len <= mRoom) return true;
    if (paniccount.fetch_add(1, std::memory_order_relaxed) % kOverflowsPerPanic == 0) {
        PANIC("Too much data called from Stream: %d > %d", mDataCount + len, mBufferSize);
    }
    mpCurrWritePtr = mpFilteredBuffer.get();
    mDataCount = 0;
    mRoom = mBufferSize;
    return false;
}

/// Ends a datagram: it waits for `Flush`.
void Streamer::CompleteDatagram() {
    if (mDataCount < 0) PANIC("Negative data count %d", mDataCount);
    if (mDataCount <= 0) return;
    mSizes[mDatagrams++] = mDataCount;
    mDataCount = 0;
    if (mDatagrams == kMostDatagrams) SendWaiting();
}

/// Sends the datagrams that wait: together, but for the first after a reconnect, for one of several chunks, and for those
/// that go to a file.
int Streamer::SendWaiting() {
    const std::uint8_t* const start = mpFilteredBuffer.get();
    const std::uint8_t* at = start;
    int sent = 0;
    for (int next = 0; next < mDatagrams;) {
        if (mMulticastChanged || mSizes[next] > kMaxChunk || dbg_file_out != nullptr) {
            sent += SendDatagram(at, mSizes[next]);
            at += mSizes[next++];
            continue;
        }
        int last = next + 1;
        while (last < mDatagrams && mSizes[last] <= kMaxChunk) ++last;
        const int together = mpUdp->SendTogether(at, mSizes + next, last - next);
        if (together <= 0) Fail();
        for (const int end = next + std::max(together, 1); next < end; at += mSizes[next++]) {
            if (together > 0) sent += mSizes[next];
        }
    }
    // The datagram that is being filled begins the buffer again.
    std::memmove(mpFilteredBuffer.get(), at, static_cast<std::size_t>(mDataCount));
    mpCurrWritePtr = mpFilteredBuffer.get() + mDataCount;
    mRoom = mBufferSize - mDataCount;
    mDatagrams = 0;
    Statistics::Self()->AddOutBytes(static_cast<unsigned>(sent));
    return sent;
}

/// Sends one datagram, after a reconnect where the destination changed or the last send failed.
/// The wait of a reconnect lies inside the filter's lock: the whole filter pauses for it.
/// \return bytes sent; what a failed send leaves is dropped: old video is worth nothing
int Streamer::SendDatagram(const std::uint8_t* data, int size) {
    if (mMulticastChanged) {
        mMulticastChanged = false;
        mpUdp->Disconnect();
        mpUdp->Connect(mMulticastPort, mMulticastIp);
        platform::Sleep(kReconnectWait);
    }
    int sent = 0;
    while (sent < size) {
        const int chunk = std::min(size - sent, kMaxChunk);
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
    mPacketSize = packetSize / kTransportPacket * kTransportPacket;
    return true;
}

void Streamer::SetPrivatePat(const std::uint8_t* data, int len) {
    if (!mpPrivatePatBuffer || len < 0 || len > kPrivatePatSize) return;
    mPrivatePatBufferLen = len;
    std::memcpy(mpPrivatePatBuffer.get(), data, static_cast<std::size_t>(len));
}
