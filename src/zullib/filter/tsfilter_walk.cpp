// The walk over the host's buffers: sync, PID look-up, routing. ISO/IEC 13818-1, 2.4.3.2. The hot path of the module:
// a packet costs one look-up, and a reference to its bytes for each stream that it goes to.
#include <cstring>

#include "core/log.h"
#include "core/sharedmem.h"
#include "core/statistics.h"
#include "filter/tsfilter.h"

namespace {

/// Bytes that confirm a packet: its own and the sync byte of the next.
constexpr std::size_t kConfirmed = kPacketSize + 1;

/// Prefetch distance for the heads of packets: hardware prefetchers don't follow strides of one packet.
constexpr std::size_t kAhead = 16 * kPacketSize;

constexpr std::size_t kPidBytes = 3;  ///< bytes at a packet's start that include its PID

constexpr std::uint16_t PidOf(std::uint8_t byte1, std::uint8_t byte2) {
    return static_cast<std::uint16_t>((byte1 & 0x1Fu) << 8 | byte2);
}

}  // namespace

bool TsFilter::Filter(unsigned char* inData, int size) {
    const platform::MutexLock lock(mMutex);
    if (!mRunFilter.load(std::memory_order_acquire)) {
        mFilterRunning.store(false, std::memory_order_release);
        mHeldCount = 0;  // the rest of that packet is lost
        return false;
    }
    mFilterRunning.store(true, std::memory_order_release);
    if (size <= 0) return true;
    const auto bytes = static_cast<std::size_t>(size);
    if (mDebugInput && std::fread(inData, 1, bytes, mDebugInput.get()) != bytes) return false;

    const bool walked = WalkBuffer(Bytes(inData, bytes));
    FlushStreams();
    mpStatistics->AddDroppedBytes(mDroppedBytes);
    mDroppedBytes = 0;
    mpStatistics->AddInBytes(static_cast<unsigned>(bytes));
    return walked;
}

/// Walks one buffer.
/// \return false when the search for sync reaches the buffer's end; the rest isn't forwarded then
bool TsFilter::WalkBuffer(Bytes buffer) {
    if (mHeldCount != 0 && !SendHeldTail(buffer)) return true;
    const std::uint8_t* const start = buffer.data();
    std::size_t at = 0;
    std::size_t expected = mExpectedSync;
    while (buffer.size() - at >= kConfirmed) {
        if (start[at] == kSyncByte && start[at + kPacketSize] == kSyncByte) {
            __builtin_prefetch(start + at + kAhead);
            RouteInStep(start + at);
            at += kPacketSize;
            expected = at;
            continue;
        }
        std::size_t sync = expected;
        if (start[sync] != kSyncByte) {
            // The search starts one packet before the missing sync byte.
            at = expected < kConfirmed ? 0 : expected - kPacketSize;
            const auto found = FindSync(buffer, at);
            if (!found) {
                mDroppedBytes += static_cast<std::uint32_t>(buffer.size() - at);
                mExpectedSync = 0;
                return false;
            }
            LOG("S b %x exp %d act %d\n", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(start)),
                static_cast<int>(expected), static_cast<int>(*found));
            mpStatistics->AddNoSync();
            sync = *found;
        }
        // Bytes before the sync belong to the packet before, and are routed like it.
        if (at < sync && !mBlock) Forward(buffer.subspan(at, sync - at));
        expected = sync + kPacketSize;
        at = sync;
    }
    FinishBuffer(buffer.subspan(at));
    return true;
}

/// Routes a packet that is followed by another sync byte.
void TsFilter::RouteInStep(const std::uint8_t* packet) {
    const std::uint16_t pid = PidOf(packet[1], packet[2]);
    PacketIdMapType& row = mPacketIdMap[pid];
    ++row.count;
    if (row.status == ePidUnknown) AnalyzePacket(packet, pid);
    // After the analysis, which may change the routing.
    mBlock = row.block;
    mpStreamerList = row.streamers.get();
    if (!mBlock) Forward(Bytes(packet, kPacketSize));
}

/// Passes bytes to the streams of the packet routed last. They must stay unchanged until the streams are flushed.
void TsFilter::Forward(Bytes bytes) {
    if (mpStreamerList == nullptr) {
        mDroppedBytes += static_cast<std::uint32_t>(bytes.size());
        return;
    }
    for (Streamer* streamer : *mpStreamerList) streamer->Collect(bytes.data(), static_cast<int>(bytes.size()));
}

/// Sends pending datagrams and has the streams copy the rest; the host may reuse its buffer after return.
void TsFilter::FlushStreams() {
    for (const auto& streamer : mStreamersList) {
        if (streamer) streamer->Flush();
    }
}

/// Selects the routing of a PID for bytes that are neither counted nor analysed.
void TsFilter::RouteBy(std::uint16_t pid) {
    mBlock = mPacketIdMap[pid].block;
    mpStreamerList = mPacketIdMap[pid].streamers.get();
}

/// Looks for two sync bytes a packet apart.
/// \return offset of the first, `from` or above; nothing when the buffer has none
std::optional<std::size_t> TsFilter::FindSync(Bytes buffer, std::size_t from) {
    const std::size_t end = buffer.size() - kPacketSize;
    std::size_t at = from;
    while (at < end && !(buffer[at] == kSyncByte && buffer[at + kPacketSize] == kSyncByte)) ++at;
    if (at - from >= kConfirmed) {
        LOG("No sync in %d B! strength %d\n", static_cast<int>(at - from),
            SharedMem::Self()->GetSignalStrengthTransmitter());
    }
    if (at < end) return at;
    LOG("Can't find sync in the entire buffer!!!\n");
    return std::nullopt;
}

/// Forwards the last bytes of the buffer, at most a packet; the next buffer continues them.
void TsFilter::FinishBuffer(Bytes tail) {
    mExpectedSync = kPacketSize - tail.size();
    if (tail[0] == kSyncByte) {
        if (tail.size() < kPidBytes) {
            // The PID isn't complete: keep the bytes for the next buffer.
            mHeldCount = tail.size();
            std::memcpy(mHeldTail, tail.data(), tail.size());
            return;
        }
        RouteBy(PidOf(tail[1], tail[2]));
    }
    if (!mBlock) Forward(tail);
}

/// Forwards the bytes held from the last buffer, under the PID that this buffer completes.
/// \return false when the PID is still incomplete; the buffer is then held as well
bool TsFilter::SendHeldTail(Bytes buffer) {
    std::uint8_t head[kPidBytes];
    std::memcpy(head, mHeldTail, mHeldCount);
    const std::size_t taken = std::min(buffer.size(), kPidBytes - mHeldCount);
    std::memcpy(head + mHeldCount, buffer.data(), taken);
    if (mHeldCount + taken < kPidBytes) {
        mHeldCount += taken;
        std::memcpy(mHeldTail, head, mHeldCount);
        mExpectedSync = kPacketSize - mHeldCount;
        return false;
    }
    RouteBy(PidOf(head[1], head[2]));
    if (!mBlock) {
        Forward(Bytes(head, mHeldCount));
        FlushStreams();
    }
    mHeldCount = 0;
    return true;
}
