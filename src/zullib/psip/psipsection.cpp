// One section, from its first byte to its CRC and version (ISO/IEC 13818-1, 2.4.4.10 and 2.4.4.11).
#include <algorithm>

#include "core/log.h"
#include "core/statistics.h"
#include "psip/crc32.h"
#include "psip/tablecollector.h"
#include "psip/tableids.h"

namespace {

constexpr int kReserve = 16;               ///< bytes of the buffer that a section may not use
constexpr std::uint32_t kCrcFailures = 5;  ///< after this many without a good section, a table's CRC may be ignored
constexpr std::uint32_t kRepeatsPerLine = 1024;
constexpr std::uint8_t kReservedBits = 0xC0;

}  // namespace

bool Continuity::Count(std::uint16_t pid, std::uint8_t continuity) {
    std::uint8_t& counter = mPerPid[pid];
    if ((continuity & 0xF0) != 0xF0) counter = (counter + 1) & 0x0F;
    mExpected = counter;
    counter = continuity & 0x0F;
    return mExpected == counter;
}

PsipSection::PsipSection() : mpStat(Statistics::Self()) {}

PsipSection::PsipSection(int buffer_size) : PsipSection() {
    if (buffer_size < 1) {
        PANIC("buffer_size is 0");
        return;
    }
    Renew(buffer_size);
}

/// Resets to the initial state. A buffer that is large enough is kept, so that reallocation ends sooner or later.
void PsipSection::Renew(int buffer_size) {
    const int capacity = std::max(mCapacity, buffer_size);
    if (capacity > mCapacity) mSectionBuffer = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(capacity));
    std::unique_ptr<std::uint8_t[]> buffer = std::move(mSectionBuffer);
    *this = PsipSection();
    mSectionBuffer = std::move(buffer);
    mCapacity = capacity;
    mBufferSize = buffer_size;
}

Bytes PsipSection::CollectPsipSection(const Piece& piece) {
    if (piece.start && mRemainingSectionLen != 0) {
        if (!StartDuringSection(piece)) return {};
    } else if (piece.start) {
        if (!Begin(piece.data)) return {};
    } else if (!piece.inStep) {
        LOG("DROP2 my %d coming %d tbl 0x%x pid 0x%x continued\n", piece.expected, piece.continuity,
            static_cast<unsigned>(mTableId), piece.pid);
        Drop(mDroppedSectionsContinuity);
        return {};
    }
    const int size = std::min(mRemainingSectionLen, static_cast<int>(piece.data.size()));
    std::copy_n(piece.data.data(), size, mSectionBuffer.get() + mSectionPos);
    mSectionPos += size;
    mRemainingSectionLen -= size;
    return mRemainingSectionLen == 0 ? Complete(piece) : Bytes{};
}

/// A start while a section is in progress: with the expected continuity counter its bytes continue that section.
/// \return false when the section is abandoned
bool PsipSection::StartDuringSection(const Piece& piece) {
    const auto table = static_cast<unsigned>(mTableId);
    LOG("PROBLEM: CollectSection: sect 0x%x len %d (should be 0) pid/mPid 0x%x/0x%x, cont %d\n",
        static_cast<unsigned>(mSectionNo), mRemainingSectionLen, piece.pid, static_cast<unsigned>(mPid),
        piece.continuity);
    if (!piece.inStep) {
        LOG("DROP1 CONTIN tbl 0x%x pid 0x%x\n", table, piece.pid);
        Drop(mDroppedSectionsContinuity);
        return false;
    }
    if (mGoodSections == 0 && mDroppedSectionsCrc >= kCrcFailures) {
        mIgnoreCrc = true;
        LOG("Ignore CRC for tbl 0x%x pid 0x%x\n", table, piece.pid);
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

/// Checks a complete section. \return the section, or nothing when it is dropped
Bytes PsipSection::Complete(const Piece& piece) {
    if (mTotalSectionLen < static_cast<int>(kCrcSize)) {
        PANIC("Zero length section !!!\n");
        Drop(mDroppedSectionsOther);
        return {};
    }
    if (!CrcIsGood(piece)) return {};
    // Every repetition is delivered: the analysers and the scan depend on it.
    if (piece.pid != kPatPid && mTableId != kTableStt && !VersionApplies(piece.pid)) return {};
    ++mGoodSections;
    mpStat->AddGoodSections(static_cast<unsigned>(mTableId));
    return Bytes(mSectionBuffer.get(), static_cast<std::size_t>(mTotalSectionLen));
}

bool PsipSection::CrcIsGood(const Piece& piece) {
    const auto covered = static_cast<std::uint32_t>(mTotalSectionLen) - static_cast<std::uint32_t>(kCrcSize);
    const std::uint32_t theirs = Be32(Bytes(mSectionBuffer.get() + covered, kCrcSize), 0);
    const std::uint32_t mine = crc32(mSectionBuffer.get(), covered);
    if (theirs == mine) return true;
    LOG("=== CRC32 ERR (their %.8x != %.8x mine)! Drop sect table 0x%x pid 0x%x cont %d\n\n", theirs, mine,
        static_cast<unsigned>(mTableId), piece.pid, piece.continuity);
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

/// Abandons the section in progress.
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
