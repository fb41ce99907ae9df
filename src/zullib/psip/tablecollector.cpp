// Finds the section object for a piece of payload, by PID, table and section number.
#include "psip/tablecollector.h"

#include <algorithm>
#include <utility>

#include "core/log.h"
#include "core/statistics.h"
#include "psip/tableids.h"

namespace {

constexpr int kSmallBuffer = 1040;  ///< for tables whose sections have at most 1024 bytes
constexpr int kLargeBuffer = 4112;  ///< for those of at most 4096

constexpr std::uint16_t kNoPid = 0xFFFF;

constexpr std::size_t kMaxHeads = 64;  ///< split heads kept at a time; beyond that the oldest is lost

constexpr int BufferSize(std::uint8_t tableId) {
    switch (tableId) {
        case kTablePat:
        case kTablePmt:
        case kTableTvct:
        case kTableCvct:
        case kTableStt: return kSmallBuffer;
        default: return tableId >= kTableFirstMessage && tableId <= kTableLastMessage ? kSmallBuffer : kLargeBuffer;
    }
}

constexpr std::uint32_t Key(std::uint8_t tableId, std::uint16_t pid, std::uint8_t sectionNo) {
    return static_cast<std::uint32_t>(tableId) << 24 | static_cast<std::uint32_t>(pid) << 8 | sectionNo;
}

}  // namespace

Bytes TableCollector::CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity) {
    pid %= kPids;
    SplitHead* const head = FindHead(pid);
    if (startOfSection) {
        if (head != nullptr) head->size = 0;  // its continuation never came
        return StartSection(CountPiece(pid, data, startOfSection, continuity));
    }
    if (head != nullptr) return ContinueHead(*head, CountPiece(pid, data, startOfSection, continuity));
    const std::size_t index = InProgress(pid);
    if (index == mTables.size()) {
        LOG("Section continuation before start; drop\n");
        return {};
    }
    return AddTo(index, CountPiece(pid, data, startOfSection, continuity));
}

PsipSection::Piece TableCollector::CountPiece(std::uint16_t pid, Bytes data, bool startOfSection,
                                              std::uint8_t continuity) {
    const bool inStep = mContinuity.Count(pid, continuity);
    return {pid, data, startOfSection, inStep, continuity & 0x0F, mContinuity.Expected()};
}

/// Passes the start of a section to its object; one that can't be assigned yet is kept.
Bytes TableCollector::StartSection(const PsipSection::Piece& piece) {
    if (piece.data.size() < PsipSection::kHead) {
        KeepHead(piece.pid, piece.data);
        return {};
    }
    return AddTo(FindOrMake(piece.pid, piece.data), piece);
}

/// Joins a split head and the bytes that follow it, and starts the section with them.
Bytes TableCollector::ContinueHead(SplitHead& head, PsipSection::Piece piece) {
    const std::size_t kept = std::exchange(head.size, 0);
    if (!piece.inStep) {
        LOG("DROP2 my %d coming %d tbl 0x%x pid 0x%x continued\n", piece.expected, piece.continuity, head.bytes[0],
            piece.pid);
        Statistics::Self()->AddDroppedSections(head.bytes[0]);
        return {};
    }
    std::array<std::uint8_t, PsipSection::kHead + kPacketSize> joined;
    const Bytes rest = piece.data.first(std::min(piece.data.size(), joined.size() - kept));
    std::copy_n(head.bytes, kept, joined.begin());
    std::ranges::copy(rest, joined.data() + kept);
    piece.data = Bytes(joined.data(), kept + rest.size());
    piece.start = true;
    return StartSection(piece);
}

/// Adds a piece to the section of one object.
Bytes TableCollector::AddTo(std::size_t index, const PsipSection::Piece& piece) {
    PsipSection& section = *mTables[index];
    const Bytes whole = section.CollectPsipSection(piece);
    mCollecting[index] = section.mRemainingSectionLen > 0 ? piece.pid : kNoPid;
    if (!whole.empty() && whole[0] == kTableMgt) mReparseEit = mReparseEtt = true;
    return whole;
}

/// \return index of the object for the section that begins with `head`; after an MGT it forgets its version
std::size_t TableCollector::FindOrMake(std::uint16_t pid, Bytes head) {
    const std::uint8_t tableId = head[0];
    const std::uint8_t sectionNo = head[6];
    const auto end = mKeys.begin() + static_cast<std::ptrdiff_t>(mTables.size());
    const auto found = std::find(mKeys.begin(), end, Key(tableId, pid, sectionNo));
    if (found == end) return Make(tableId, pid, sectionNo);
    const auto index = static_cast<std::size_t>(found - mKeys.begin());
    if (tableId == kTableEit && std::exchange(mReparseEit, false)) mTables[index]->mVersion = -1;
    if (tableId == kTableEtt && std::exchange(mReparseEtt, false)) mTables[index]->mVersion = -1;
    return index;
}

/// Appends an object: a new one, or with kMaxSections of them the oldest idle one, or the oldest of all where none is.
/// \return its index, the last
std::size_t TableCollector::Make(std::uint8_t tableId, std::uint16_t pid, std::uint8_t sectionNo) {
    const int size = BufferSize(tableId);
    LOG("new pPsip bufsize %d for tbl 0x%x pid 0x%x\n", size, tableId, pid);
    if (mTables.size() < kMaxSections) {
        mTables.push_back(std::make_unique<PsipSection>(size));
    } else {
        const auto idle = std::find(mCollecting.begin(), mCollecting.end(), kNoPid);
        const auto oldest = idle != mCollecting.end() ? idle - mCollecting.begin() : 0;
        const auto moveLast = [oldest](auto& rows) {
            std::rotate(rows.begin() + oldest, rows.begin() + oldest + 1, rows.end());
        };
        moveLast(mTables);
        moveLast(mKeys);
        moveLast(mCollecting);
        mTables.back()->Renew(size);
    }
    PsipSection& section = *mTables.back();
    section.mTableId = tableId;
    section.mPid = pid;
    section.mSectionNo = sectionNo;
    const std::size_t index = mTables.size() - 1;
    mKeys[index] = Key(tableId, pid, sectionNo);
    mCollecting[index] = kNoPid;
    return index;
}

/// \return index of the oldest object of a PID with a section in progress, or the number of objects
std::size_t TableCollector::InProgress(std::uint16_t pid) const {
    const auto end = mCollecting.begin() + static_cast<std::ptrdiff_t>(mTables.size());
    return static_cast<std::size_t>(std::find(mCollecting.begin(), end, pid) - mCollecting.begin());
}

/// \return the head that is kept for a PID, or null
TableCollector::SplitHead* TableCollector::FindHead(std::uint16_t pid) {
    for (SplitHead& head : mHeads) {
        if (head.size > 0 && head.pid == pid) return &head;
    }
    return nullptr;
}

void TableCollector::KeepHead(std::uint16_t pid, Bytes data) {
    if (data.empty() || data[0] == kTableStuffing) return;
    auto place = std::find_if(mHeads.begin(), mHeads.end(), [](const SplitHead& head) { return head.size == 0; });
    if (place == mHeads.end()) {
        if (mHeads.size() >= kMaxHeads) mHeads.erase(mHeads.begin());
        place = mHeads.insert(mHeads.end(), SplitHead{});
    }
    place->pid = pid;
    place->size = data.size();
    std::ranges::copy(data, place->bytes);
}

std::vector<PsipSection::Stats> TableCollector::GetStats() const {
    std::vector<PsipSection::Stats> stats;
    for (const auto& section : mTables) stats.push_back(section->GetStats());
    return stats;
}

void TableCollector::PrintStats(const std::vector<PsipSection::Stats>& sections) {
    LOG("\n======== TableCollector::Printstats ===========\n");
    LOG("Signal Strength: %d\n", Statistics::Self()->SignalStrength());
    for (const PsipSection::Stats& section : sections) {
        LOG("tbl 0x%.2x pid 0x%.4x sect %.2d good %u \tignored %u \tdrop cont %u \tdrop crc %u \tdrop res %u \tvers ch "
            "%u\n",
            static_cast<unsigned>(section.tableId), static_cast<unsigned>(section.pid), section.sectionNo, section.good,
            section.ignored, section.droppedContinuity, section.droppedCrc, section.droppedReserved,
            section.versionChanges);
    }
    LOG("\n======== TableCollector:: end stats ===========\n");
}
