// The stream table: streams in their slots, and the PIDs that each is attached to.
#include <algorithm>

#include "core/log.h"
#include "core/replytext.h"
#include "filter/packetsizefile.h"
#include "filter/tsfilter.h"

namespace {

constexpr int kStreamBuffer = 65536;            ///< bytes that a stream can hold
constexpr int kMaxUnidentified = 256;           ///< attachments to PIDs that belong to no programme
constexpr std::uint32_t kSeenUnidentified = 2;  ///< packets of such a PID; fewer count as noise
constexpr std::uint32_t kSeenMultiplex = 3;     ///< packets of a PID that is part of the whole multiplex

/// PIDs of PSI that every stream carries (ISO/IEC 13818-1, 2.4.3.3; ETSI EN 300 468, 5.1.3; ATSC A/65, 4.1). The last
/// ends the list and isn't attached: null packets are never forwarded.
constexpr std::uint16_t knownPids[] = {0x0000, 0x0001, 0x0010, 0x0011, 0x0012, 0x0013, 0x0014, kPsipBasePid, kNullPid};
static_assert(std::is_sorted(std::begin(knownPids), std::end(knownPids)) && *std::rbegin(knownPids) == kNullPid);

bool IsStreamId(int streamId) { return streamId >= 0 && streamId < kStreams; }

}  // namespace

bool TsFilter::AddStream(int streamId, const char* mcastIp, std::uint16_t mcastPort) {
    if (!IsStreamId(streamId)) {
        PANIC("AddStream: streamId out of range: %d", streamId);
        return false;
    }
    const platform::MutexLock lock(mMutex);
    std::unique_ptr<Streamer>& slot = mStreamersList[streamId];
    if (slot && slot->IdGet() != streamId) {
        PANIC("Too many streams defined");
        return false;
    }
    if (slot) {
        LOG("=== Found Existing Stream id %d\n", streamId);
        return slot->StreamSet(mcastPort, mcastIp);
    }
    auto streamer = std::make_unique<Streamer>(kStreamBuffer, Streamer::kMinPacketSize);
    streamer->SetOutputFile(mDebugOutput.get());
    streamer->StreamSet(mcastPort, mcastIp);
    streamer->IdSet(streamId);
    {
        const platform::MutexLock slots(mSlotMutex);
        slot = std::move(streamer);
    }
    AddStreamerToPsi(slot.get());
    AddStreamerToUnidentified(slot.get());
    LOG("=== Added New Stream id %d\n", streamId);
    return true;
}

/// Attaches a stream to a PID and activates it. \return false when it was attached already
bool TsFilter::Attach(PacketIdMapType& row, Streamer* streamer) {
    if (!row.streamers) row.streamers = std::make_unique<StreamerList>();
    if (Streamer* const there = row.streamers->FindId(streamer->IdGet())) {
        there->Activated(true);
        return false;
    }
    row.streamers->Append(streamer);
    streamer->Activated(true);
    return true;
}

/// Attaches a stream to the PIDs of PSI, and has them analysed again.
void TsFilter::AddStreamerToPsi(Streamer* streamer) {
    for (const std::uint16_t pid : knownPids) {
        if (pid == kNullPid) break;
        mPacketIdMap[pid].status = ePidUnknown;
        Attach(mPacketIdMap[pid], streamer);
    }
}

/// Attaches a stream to the PIDs that were seen and that no PAT or PMT names, such as the tables that the MGT lists.
void TsFilter::AddStreamerToUnidentified(Streamer* streamer) {
    for (unsigned pid = 0; pid < kNullPid; ++pid) {
        PacketIdMapType& row = mPacketIdMap[pid];
        if (row.transportId != 0 || row.programId != 0 || row.count < kSeenUnidentified) continue;
        if (++mUnindentifiedStreamers > kMaxUnidentified) {
            LOG("PROBLEM: Too many unindentified streamers\n");
            return;
        }
        if (!Attach(row, streamer) || row.type != ePidNone) continue;
        row.status = ePidKnown;
        LOG("Mark pid %x known %d\n", pid, row.status);
    }
}

bool TsFilter::AddProgramToStream(int streamId, std::uint16_t transportId, std::uint16_t programId) {
    const platform::MutexLock lock(mMutex);
    for (const std::unique_ptr<Streamer>& streamer : mStreamersList) {
        if (!streamer || streamer->IdGet() != streamId) continue;
        LOG("AddProgramToStream: Found streamId %d\n", streamId);
        for (unsigned pid = 1; pid < kNullPid; ++pid) {
            PacketIdMapType& row = mPacketIdMap[pid];
            if (row.programId != programId || row.transportId != transportId || !Attach(row, streamer.get())) continue;
            streamer->AddProgramToList(programId, static_cast<std::uint16_t>(pid));
            LOG("Added TS %x Prog. %x to stream ID %d at PID %x, packet type %d\n", transportId, programId, streamId,
                pid, row.type);
        }
    }
    return true;
}

bool TsFilter::AddAllProgramsToStream(int streamId) {
    const platform::MutexLock lock(mMutex);
    for (const std::unique_ptr<Streamer>& streamer : mStreamersList) {
        if (!streamer || streamer->IdGet() != streamId) continue;
        LOG("AddProgramsAllToStream: Found streamId %d\n", streamId);
        for (unsigned pid = 1; pid < kNullPid; ++pid) {
            PacketIdMapType& row = mPacketIdMap[pid];
            if (row.status == ePidIgnored || row.count < kSeenMultiplex) {
                if (row.count != 0)
                    LOG("Ignore pid 0x%x status %d count %d\n", pid, row.status, static_cast<int>(row.count));
                continue;
            }
            if (!Attach(row, streamer.get())) continue;
            streamer->AddProgramToList(row.programId, static_cast<std::uint16_t>(pid));
            LOG("Added TS 0x%x Prog. 0x%x to stream ID %d at PID 0x%x\n", row.transportId, row.programId, streamId,
                pid);
        }
    }
    return true;
}

/// Removes a stream from a row; an empty list is deleted. \return false when the stream wasn't there
bool TsFilter::Detach(PacketIdMapType& row, int streamId) {
    if (!row.streamers || !row.streamers->RemoveId(streamId)) return false;
    if (row.streamers->Count() != 0) return true;
    if (mpStreamerList == row.streamers.get()) mpStreamerList = nullptr;
    row.streamers.reset();
    return true;
}

bool TsFilter::RemoveAllProgramsFromStream(int streamId) {
    for (unsigned pid = 0; pid < kPids; ++pid) {
        // One lock for each entry, so that a running walk isn't held up for all of them.
        const platform::MutexLock lock(mMutex);
        while (pid < kPids && !Detach(mPacketIdMap[pid], streamId)) ++pid;
    }
    return true;
}

/// Stops a stream's sends, without the filter lock: a running walk may hold that for many failed sends, 100 ms each.
/// \return false for an empty slot
bool TsFilter::Deactivate(int streamId) {
    const platform::MutexLock slots(mSlotMutex);
    Streamer* const streamer = mStreamersList[streamId].get();
    if (streamer != nullptr) streamer->Activated(false);
    return streamer != nullptr;
}

bool TsFilter::RemoveStream(int streamId) {
    if (!IsStreamId(streamId)) {
        PANIC("RemoveStream: streamId out of range: %d", streamId);
        return false;
    }
    if (!Deactivate(streamId)) return true;
    RemoveAllProgramsFromStream(streamId);
    {
        const platform::MutexLock lock(mMutex);
        const platform::MutexLock slots(mSlotMutex);
        mStreamersList[streamId].reset();
    }
    LOG("=== Removed stream id %d\n", streamId);
    return true;
}

std::vector<TsFilter::StreamStatus> TsFilter::StatusOfStreams() {
    std::vector<StreamStatus> all;
    const platform::MutexLock lock(mMutex);
    for (const std::unique_ptr<Streamer>& streamer : mStreamersList) {
        if (!streamer) continue;
        StreamStatus& status = all.emplace_back(StreamStatus{streamer->Activated(), streamer->IdGet(), "",
                                                             streamer->MulticastPort(), streamer->ProgramList()});
        CopyText(status.address, streamer->MulticastIp());
    }
    return all;
}

bool TsFilter::SetPacketSize(int packetSize) {
    {
        const platform::MutexLock lock(mMutex);
        for (const std::unique_ptr<Streamer>& streamer : mStreamersList) {
            if (streamer) streamer->SetPacketSize(packetSize);
        }
    }
    return SavePacketSize(packetSize);
}
