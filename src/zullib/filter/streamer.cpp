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
constexpr int kTransportPacket = 188;
constexpr int kOverflowsPerPanic = 100;

/// Overflows of all streams; one in kOverflowsPerPanic is reported.
std::atomic<int> paniccount{0};

}  // namespace

Streamer::Streamer(int bufferSize, int packetSize)
    : mpFilteredBuffer(new(std::nothrow) std::uint8_t[static_cast<std::size_t>(bufferSize)]),
      mBufferSize(bufferSize),
      mPacketSize(packetSize >= kMinPacketSize && packetSize <= kMaxPacketSize ? packetSize : kDefaultPacketSize),
      mpPrivatePatBuffer(new(std::nothrow) std::uint8_t[kPrivatePatSize]()) {
    if (!mpFilteredBuffer || !mpPrivatePatBuffer) PANIC("Cant alloc memory");
    mpCurrWritePtr = mpFilteredBuffer.get();
}

Streamer::~Streamer() { Activated(false); }

bool Streamer::StreamSet(std::uint16_t port, const char* ip) {
    if (!mpUdp) mpUdp = std::make_unique<UdpSender>();
    CopyText(mMulticastIp, ip);
    mMulticastPort = port;
    mMulticastChanged = true;
    LOG("Set Streamer %d %s:%d\n", mId, mMulticastIp, mMulticastPort);
    return true;
}

int Streamer::Stream(const std::uint8_t* addData, int len) {
    if (!Activated()) return 0;
    if (!mpUdp) {
        PANIC("no udp");
        return 0;
    }
    if (!mpFilteredBuffer) return 0;  // the allocation failed and was reported
    mDataCount += len;
    if (mDataCount > mBufferSize) {
        if (paniccount.fetch_add(1, std::memory_order_relaxed) % kOverflowsPerPanic == 0) {
            PANIC("Too much data called from Stream: %d > %d", mDataCount, mBufferSize);
        }
        mpCurrWritePtr = mpFilteredBuffer.get();
        mDataCount = 0;
        return 0;
    }
    std::memcpy(mpCurrWritePtr, addData, static_cast<std::size_t>(len));
    mpCurrWritePtr += len;
    return mDataCount < mPacketSize ? 0 : SendWaiting();
}

/// Sends all that waits, after a reconnect where the destination changed or the last send failed.
/// The wait of a reconnect lies inside the filter's lock: the whole filter pauses for it.
int Streamer::SendWaiting() {
    if (mMulticastChanged) {
        mMulticastChanged = false;
        mpUdp->Disconnect();
        mpUdp->Connect(mMulticastPort, mMulticastIp);
        platform::Sleep(kReconnectWait);
    }
    int sent = 0;
    while (mDataCount > 0) {
        const int chunk = std::min(mDataCount, kMaxChunk);
        const int written = SendChunk(mpFilteredBuffer.get() + sent, chunk);
        mDataCount -= std::max(written, 0);
        sent += std::max(written, 0);
        if (written < chunk) {
            PANIC("Send");
            mMulticastChanged = true;
            mDataCount = 0;  // what a failed send leaves is dropped: old video is worth nothing
        }
    }
    if (mDataCount < 0) PANIC("Negative data count %d", mDataCount);
    mpCurrWritePtr = mpFilteredBuffer.get();
    Statistics::Self()->AddOutBytes(static_cast<unsigned>(sent));
    return sent;
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
