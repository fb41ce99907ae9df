/// Sections rebuilt from the payload of transport packets (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "bytes.h"
#include "psip/packet.h"

class Statistics;

/// Continuity counters last seen, one for each PID, shared by all sections and tables of the PID.
class Continuity {
 public:
    /// Counts a packet, and resynchronises after a jump of the counter.
    /// \param pid         0 to 0x1FFF
    /// \param continuity  counter in the low nibble; a high nibble of 0xF: the packet was counted before
    /// \return true when the packet is the expected one
    bool Count(std::uint16_t pid, std::uint8_t continuity);

    /// \return the counter that the last call of Count expected
    int Expected() const { return mExpected; }

 private:
    std::array<std::uint8_t, kPids> mPerPid{};
    int mExpected = 0;
};

/// Reassembles one section number of one table on one PID.
class PsipSection {
 public:
    /// Bytes at a section's start that name its table and number; shorter pieces can't start one.
    static constexpr std::size_t kHead = 8;

    /// What PrintStats prints for one section.
    struct Stats {
        int tableId, pid, sectionNo;
        std::uint32_t good, ignored, droppedContinuity, droppedCrc, droppedReserved, versionChanges;
    };

    /// \param buffer_size  bytes; a section may use all but 16 of them. Below 1: no buffer, and a panic line
    explicit PsipSection(int buffer_size);

    /// A piece of payload.
    struct Piece {
        std::uint16_t pid;
        Bytes data;      ///< to the end of the transport packet
        bool start;      ///< it begins with a table_id, and kHead bytes are present
        bool inStep;     ///< the packet's continuity counter was the expected one
        int continuity;  ///< the counter, for the log
        int expected;    ///< the value that was expected, for the log
    };

    /// Adds a piece to the section.
    /// \return the whole section, valid until the object's next section begins; empty while it is incomplete or when
    /// it is dropped
    Bytes CollectPsipSection(const Piece& piece);

    Stats GetStats() const;

 private:
    friend class TableCollector;

    PsipSection();
    void Renew(int buffer_size);
    bool StartDuringSection(const Piece& piece);
    bool Begin(Bytes data);
    Bytes Complete(const Piece& piece);
    bool CrcIsGood(const Piece& piece);
    bool VersionApplies(std::uint16_t pid);
    void TakeVersion(std::uint16_t pid, int version);
    void Drop(std::uint32_t& counter);
    std::uint8_t VersionByte() const { return mTotalSectionLen > 5 ? mSectionBuffer[5] : 0; }

    int mTableId = -1;
    int mPid = 0;
    int mSectionNo = -1;
    int mBufferSize = 0;
    int mTotalSectionLen = 0;      ///< section_length + 3 of the section in progress
    int mRemainingSectionLen = 0;  ///< bytes still missing; 0: no section in progress
    int mSectionPos = 0;
    int mVersion = -1;
    std::unique_ptr<std::uint8_t[]> mSectionBuffer;
    std::uint32_t mCurNextCounter = 0;
    std::uint32_t mVersionCounter = 0;
    std::uint32_t mGoodSections = 0;
    std::uint32_t mDroppedSectionsContinuity = 0;
    std::uint32_t mDroppedSectionsCrc = 0;
    std::uint32_t mDroppedSectionsOther = 0;
    std::uint32_t mDroppedSectionsFuture = 0;
    std::uint32_t mDroppedSectionsReserved = 0;
    std::uint32_t mIgnoredSections = 0;
    std::uint32_t mVersionChanges = 0;
    bool mIgnoreCrc = false;  ///< for the section in progress: its table's CRC never matched
    int mCapacity = 0;        ///< bytes of mSectionBuffer: mBufferSize, or more in a reused object
    Statistics* mpStat;
};

/// Owns the section objects and finds the right one for a piece of payload. Runs under the filter's lock.
class TableCollector {
 public:
    static constexpr std::size_t kMaxSections = 1024;  ///< objects; beyond that the oldest idle one is reused

    TableCollector() { mTables.reserve(kMaxSections); }
    virtual ~TableCollector() = default;
    TableCollector(const TableCollector&) = delete;
    TableCollector& operator=(const TableCollector&) = delete;

    /// Adds a piece of payload, of any table on any PID, to its section.
    /// \param data            from the piece's first byte to the end of the transport packet
    /// \param startOfSection  the piece begins with a table_id
    /// \param continuity      the packet's counter in the low nibble; 0xF0 added when the packet was counted already
    /// \return the whole section, valid until the next call; empty while it is incomplete or when it is dropped
    Bytes CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity);

    /// \return counters of every section, in order of creation
    std::vector<PsipSection::Stats> GetStats() const;

    /// Logs the signal strength and every section's counters.
    static void PrintStats(const std::vector<PsipSection::Stats>& sections);

 private:
    /// A section's first bytes, too few to name its table and number: they are kept for the PID's next packet.
    struct SplitHead {
        std::uint16_t pid;
        std::size_t size;  ///< below kHead
        std::uint8_t bytes[PsipSection::kHead];
    };

    PsipSection::Piece CountPiece(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity);
    Bytes StartSection(const PsipSection::Piece& piece);
    Bytes ContinueHead(SplitHead& head, PsipSection::Piece piece);
    Bytes AddTo(std::size_t index, const PsipSection::Piece& piece);
    std::size_t FindOrMake(std::uint16_t pid, Bytes head);
    std::size_t Make(std::uint8_t tableId, std::uint16_t pid, std::uint8_t sectionNo);
    std::size_t InProgress(std::uint16_t pid) const;
    SplitHead* FindHead(std::uint16_t pid);
    void KeepHead(std::uint16_t pid, Bytes data);

    std::vector<std::unique_ptr<PsipSection>> mTables;  ///< in order of creation
    // The fields that a look-up compares, contiguous and in the order of mTables: a scan of all 1024 stays cheap.
    std::array<std::uint32_t, kMaxSections> mKeys{};        ///< table_id, PID and section_number of each object
    std::array<std::uint16_t, kMaxSections> mCollecting{};  ///< its PID while a section is in progress, else kNoPid
    std::vector<SplitHead> mHeads;
    Continuity mContinuity;
    bool mReparseEit = false;  ///< the next EIT section to start is taken as new
    bool mReparseEtt = false;
};
