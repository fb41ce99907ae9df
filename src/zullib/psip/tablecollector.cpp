// Finds the section object for a piece of payload, by PID, table and section number.
#include "psip/tablecollector.h"

#include <algorithm>

#include "core/log.h"
#include "core/statistics.h"

namespace {

constexpr int kSmallBuffer = 1040;  ///< for tables whose sections have at most 1024 bytes
constexpr int kLargeBuffer = 4112;  ///< for those of at most 4096

constexpr int kTableMgt = 0xC7;
constexpr int kTableEit = 0xCB;
constexpr int kTableEtt = 0xCC;
constexpr std::uint8_t kStuffing = 0xFF;  ///< in place of a table_id: nothing but padding follows

constexpr std::uint16_t kPids = 8192;
constexpr std::uint16_t kNoPid = 0xFFFF;

constexpr std::size_t kMaxHeads = 64;  ///< split heads that wait at a time; beyond that the oldest is lost

constexpr int BufferSize(int tableId) {
    const bool small = tableId == 0x00 || tableId == 0x02 || (tableId >= 0xC0 && tableId <= 0xC5) || tableId == 0xC8 ||
                       tableId == 0xC9 || tableId == 0xCD;
    return small ? kSmallBuffer : kLargeBuffer;
}

constexpr std::uint32_t Key(std::uint8_t tableId, std::uint16_t pid, std::uint8_t sectionNo) {
    return static_cast<std::uint32_t>(tableId) << 24 | static_cast<std::uint32_t>(pid) << 8 | sectionNo;
}

}  // namespace

Bytes TableCollector::CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity,
                                         int* table_id) {
    *table_id = -1;
    pid %= kPids;
    SplitHead* const head = FindHead(pid);
    std::size_t index = 0;
    std::array<std::uint8_t, 256> joined;
    if (!startOfSection && head == nullptr) {
        index = InProgress(pid);
        if (index == mTables.size()) {
            LOG("Section continuation before start; drop\n");
            return {};
        }
    }
    const bool inStep = mContinuity.Count(pid, continuity);
    const int counter = continuity & 0x0F;
    const int due = mContinuity.Due();
    if (startOfSection && head != nullptr) head->size = 0;  // its rest never came
    if (!startOfSection && head != nullptr) {
        if (!inStep) {
            LOG("DROP2 my %d coming %d tbl 0x%x pid 0x%x continued\n", due, counter, head->bytes[0], pid);
            head->size = 0;
            Statistics::Self()->AddDroppedSections(head->bytes[0]);
            return {};
        }
        data = JoinHead(head, data, joined);
        startOfSection = true;
    }
    if (startOfSection && data.size() < PsipSection::kHead) {
        KeepHead(pid, data);
        return {};
    }
    if (startOfSection) index = FindOrMake(pid, data);
    PsipSection& section = *mTables[index];
    const Bytes whole = section.CollectPsipSection(pid, data, startOfSection, inStep, counter, due, table_id);
    mCollecting[index] = section.mRemainingSectionLen > 0 ? pid : kNoPid;
    if (*table_id == kTableMgt) mReparseEit = mReparseEtt = true;
    return whole;
}

/// \return index of the object for the section that begins with `head`, told to forget its version where an MGT asked
std::size_t TableCollector::FindOrMake(std::uint16_t pid, Bytes head) {
    const std::uint8_t tableId = head[0];
    const std::uint8_t sectionNo = head[6];
    const auto end = mKeys.begin() + static_cast<std::ptrdiff_t>(mTables.size());
    const auto found = std::find(mKeys.begin(), end, Key(tableId, pid, sectionNo));
    if (found == end) return Make(tableId, pid, sectionNo);
    const auto index = static_cast<std::size_t>(found - mKeys.begin());
    for (const auto& [table, reparse] : {std::pair{kTableEit, &mReparseEit}, {kTableEtt, &mReparseEtt}}) {
        if (tableId != table || !*reparse) continue;
        mTables[index]->mVersion = -1;
        *reparse = false;
    }
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

/// \return the head that waits on a PID, or null
TableCollector::SplitHead* TableCollector::FindHead(std::uint16_t pid) {
    for (SplitHead& head : mHeads) {
        if (head.size > 0 && head.pid == pid) return &head;
    }
    return nullptr;
}

void TableCollector::KeepHead(std::uint16_t pid, Bytes data) {
    if (data.empty() || data[0] == kStuffing) return;
    auto place = std::find_if(mHeads.begin(), mHeads.end(), [](const SplitHead& head) { return head.size == 0; });
    if (place == mHeads.end()) {
        if (mHeads.size() >= kMaxHeads) mHeads.erase(mHeads.begin());
        place = mHeads.insert(mHeads.end(), SplitHead{});
    }
    place->pid = pid;
    place->size = data.size();
    std::ranges::copy(data, place->bytes);
}

/// Puts a head that waited in front of the bytes that followed it.
/// \return the joined bytes, in `joined`; the head is free again
Bytes TableCollector::JoinHead(SplitHead* head, Bytes data, std::array<std::uint8_t, 256>& joined) {
    const std::size_t size = std::min(data.size(), joined.size() - head->size);
    std::copy_n(head->bytes, head->size, joined.data());
    std::copy_n(data.data(), size, joined.data() + head->size);
    const Bytes whole(joined.data(), head->size + size);
    head->size = 0;
    return whole;
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
