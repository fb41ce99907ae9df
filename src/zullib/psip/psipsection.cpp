// One section, from its first byte to its CRC and version (ISO/IEC 13818-1, 2.4.4.10 and 2.4.4.11).
#include <algorithm>

#include "core/log.h"
#include "core/statistics.h"
#include "psip/tablecollector.h"

namespace {

constexpr int kReserve = 16;               ///< bytes of the buffer that a section may not use
constexpr std::uint32_t kCrcFailures = 5;  ///< behind so many, with no good section, a table's CRC isn't believed
constexpr std::uint32_t kRepeatsPerLine = 1024;
constexpr std::uint8_t kReservedBits = 0xC0;
constexpr int kTableStt = 0xCD;

}  // namespace

bool Continuity::Count(std::uint16_t pid, std::uint8_t continuity) {
    std::uint8_t& counter = mPerPid[pid];
    if ((continuity & 0xF0) != 0xF0) counter = (counter + 1) & 0x0F;
    mDue = counter;
    counter = continuity & 0x0F;
    return mDue == counter;
}

PsipSection::PsipSection() : mpStat(Statistics::Self()) {}

PsipSection::PsipSection(int buffer_size) : PsipSection() {
    if (buffer_size < 1) {
        PANIC("buffer_size is 0");
        return;
    }
    Renew(buffer_size);
}

/// Makes the object what a new one is. A buffer that is large enough stays: sooner or later no one is too small.
void PsipSection::Renew(int buffer_size) {
    const int capacity = std::max(mCapacity, buffer_size);
    if (capacity > mCapacity) mSectionBuffer = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(capacity));
    std::unique_ptr<std::uint8_t[]> buffer = std::move(mSectionBuffer);
    *this = PsipSection();
    mSectionBuffer = std::move(buffer);
    mCapacity = capacity;
    mBufferSize = buffer_size;
}

Bytes PsipSection::CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, bool inStep, int continuity,
                                      int due, int* tableId) {
    *tableId = -1;
    if (startOfSection && mRemainingSectionLen != 0) {
        if (!StartDuringSection(pid, inStep, continuity)) return {};
    } else if (startOfSection) {
        if (!Begin(data)) return {};
    } else if (!inStep) {
        LOG("DROP2 my %d coming %d tbl 0x%x pid 0x%x continued\n", due, continuity, static_cast<unsigned>(mTableId),
            pid);
        Drop(mDroppedSectionsContinuity);
        return {};
    }
    const int size = std::min(mRemainingSectionLen, static_cast<int>(data.size()));
    std::copy_n(data.data(), size, mSectionBuffer.get() + mSectionPos);
    mSectionPos += size;
    mRemainingSectionLen -= size;
    return mRemainingSectionLen == 0 ? Complete(pid, continuity, tableId) : Bytes{};
}

/// A start while a section is in progress: with the continuity in step its bytes continue that section.
/// \return false when the section is given up
bool PsipSection::StartDuringSection(std::uint16_t pid, bool inStep, int continuity) {
    const auto table = static_cast<unsigned>(mTableId);
    LOG("PROBLEM: CollectSection: sect 0x%x len %d (should be 0) pid/mPid 0x%x/0x%x, cont %d\n",
        static_cast<unsigned>(mSectionNo), mRemainingSectionLen, pid, static_cast<unsigned>(mPid), continuity);
    if (!inStep) {
        LOG("DROP1 CONTIN tbl 0x%x pid 0x%x\n", table, pid);
        Drop(mDroppedSectionsContinuity);
        return false;
    }
    if (mGoodSections == 0 && mDroppedSectionsCrc >= kCrcFailures) {
        mIgnoreCrc = true;
        LOG("Ignore CRC for tbl 0x%x pid 0x%x\n", table, pid);
    }
    return true;
}

/// Takes the head of a new section. \return false when it can't be kept
bool PsipSection::Begin(Bytes data) {
    if (data.size() < kHead || !mSectionBuffer) return false;
    mIgnoreCrc = false;
    mTableId = data[0];
    mTotalSectionLen = mRemainingSectionLen = static_cast<int>(SectionLength(data) + kSectionHead);
    const int limit = mBufferSize - kReserve;
    if (limit < mTotalSectionLen) {
        PANIC("Table 0x%x too large: %d > %d\n", static_cast<unsigned>(mTableId), mTotalSectionLen, limit);
        Drop(mDroppedSectionsOther);
        return false;
    }
    mSectionPos = 0;
    if ((data[5] & kReservedBits) != kReservedBits) ++mDroppedSectionsReserved;
    return true;
}

/// Judges a section whose bytes are all there. \return the section, or nothing when it is dropped
Bytes PsipSection::Complete(std::uint16_t pid, int continuity, int* tableId) {
    if (mTotalSectionLen < static_cast<int>(kCrcSize)) {
        PANIC("Zero length section !!!\n");
        Drop(mDroppedSectionsOther);
        return {};
    }
    if (!CrcIsGood(pid, continuity)) return {};
    // Every repetition is delivered: the analysers and the scan rest on that.
    if (pid != 0 && mTableId != kTableStt && !VersionApplies(pid)) return {};
    ++mGoodSections;
    mpStat->AddGoodSections(static_cast<unsigned>(mTableId));
    *tableId = mTableId;
    return Bytes(mSectionBuffer.get(), static_cast<std::size_t>(mTotalSectionLen));
}

bool PsipSection::CrcIsGood(std::uint16_t pid, int continuity) {
    const auto covered = static_cast<std::uint32_t>(mTotalSectionLen) - static_cast<std::uint32_t>(kCrcSize);
    const std::uint32_t theirs = Be32(Bytes(mSectionBuffer.get() + covered, kCrcSize), 0);
    const std::uint32_t mine = crc32(mSectionBuffer.get(), covered);
    if (theirs == mine) return true;
    LOG("=== CRC32 ERR (their %.8x != %.8x mine)! Drop sect table 0x%x pid 0x%x cont %d\n\n", theirs, mine,
        static_cast<unsigned>(mTableId), pid, continuity);
    if (mIgnoreCrc) return true;
    Drop(mDroppedSectionsCrc);
    return false;
}

/// \return false for a table that isn't in force yet (current_next_indicator 0)
bool PsipSection::VersionApplies(std::uint16_t pid) {
    const auto table = static_cast<unsigned>(mTableId);
    const int version = VersionByte() >> 1 & 0x1F;
    if ((VersionByte() & 1) == 0) {
        if (mCurNextCounter++ % kRepeatsPerLine == 0) {
            LOG("!!! tbl 0x%x pid 0x%x/0x%x not valid yet: version %d\n", table, pid, static_cast<unsigned>(mPid),
                version);
        }
        Drop(mDroppedSectionsFuture);
        return false;
    }
    if (version != mVersion) {
        TakeVersion(pid, version);
    } else if (mVersionCounter++ % kRepeatsPerLine == 0) {
        LOG("tbl 0x%x pid 0x%x/0x%x same, good, old version %d\n", table, pid, static_cast<unsigned>(mPid), version);
    }
    return true;
}

void PsipSection::TakeVersion(std::uint16_t pid, int version) {
    if (mVersion != -1) {
        LOG("tbl 0x%x pid 0x%x/0x%x VERSION CHANGE, old %d new %d\n", static_cast<unsigned>(mTableId), pid,
            static_cast<unsigned>(mPid), mVersion, version);
        ++mVersionChanges;
        mGoodSections = mDroppedSectionsContinuity = mDroppedSectionsCrc = mDroppedSectionsOther = 0;
        mDroppedSectionsFuture = mDroppedSectionsReserved = mIgnoredSections = 0;
    }
    mVersion = version;
}

/// Gives the section in progress up.
void PsipSection::Drop(std::uint32_t& counter) {
    ++counter;
    mRemainingSectionLen = 0;
    mpStat->AddDroppedSections(static_cast<unsigned>(mTableId));
}

PsipSection::Stats PsipSection::GetStats() const {
    return {mTableId,
            mPid,
            mSectionNo,
            mGoodSections,
            mIgnoredSections,
            mDroppedSectionsContinuity,
            mDroppedSectionsCrc,
            mDroppedSectionsReserved,
            mVersionChanges};
}
