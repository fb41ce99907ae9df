/// Sections rebuilt from the payload of transport packets (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "bytes.h"

class Statistics;

/// CRC_32 of ISO/IEC 13818-1, Annex A: polynomial 0x04C11DB7, start 0xFFFFFFFF, most significant bit first.
/// \return the CRC; 0xFFFFFFFF for no bytes
std::uint32_t crc32(const std::uint8_t* data, std::uint32_t len);

/// Continuity counters last seen, one for each PID, shared by all sections and tables of the PID.
class Continuity {
 public:
    /// Counts a packet, and follows the stream where it jumped.
    /// \param pid         0 to 0x1FFF
    /// \param continuity  counter in the low nibble; a high nibble of 0xF tells that the packet was counted before
    /// \return true when the packet is the one that was due
    bool Count(std::uint16_t pid, std::uint8_t continuity);

    /// \return the counter that was due when Count was called last
    int Due() const { return mDue; }

 private:
    std::array<std::uint8_t, 8192> mPerPid{};
    int mDue = 0;
};

/// Reassembles one section number of one table on one PID.
class PsipSection {
 public:
    /// The bytes of a section's head that tell its table and number; shorter pieces can't start one.
    static constexpr std::size_t kHead = 8;

    /// What PrintStats tells of one section.
    struct Stats {
        int tableId, pid, sectionNo;
        std::uint32_t good, ignored, droppedContinuity, droppedCrc, droppedReserved, versionChanges;
    };

    /// \param buffer_size  bytes; a section may use all but 16 of them. Below 1 there is no buffer, and a panic line
    explicit PsipSection(int buffer_size);

    /// Takes a piece of payload.
    /// \param data            from the piece's first byte to the end of the transport packet
    /// \param startOfSection  the piece begins with a table_id, and kHead bytes are there
    /// \param inStep          the packet's continuity counter was the one due
    /// \param continuity      the counter's value, for the log
    /// \param due             the value that was due, for the log
    /// \param tableId         gets the table_id of a delivered section, else -1
    /// \return the whole section, good until the object's next section begins; empty while it goes on or is dropped
    Bytes CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, bool inStep, int continuity, int due,
                             int* tableId);

    Stats GetStats() const;

 private:
    friend class TableCollector;

    PsipSection();
    void Renew(int buffer_size);
    bool StartDuringSection(std::uint16_t pid, bool inStep, int continuity);
    bool Begin(Bytes data);
    Bytes Complete(std::uint16_t pid, int continuity, int* tableId);
    bool CrcIsGood(std::uint16_t pid, int continuity);
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
    int mCapacity = 0;        ///< bytes behind mSectionBuffer: mBufferSize, or more in an object taken again
    Statistics* mpStat;
};

/// Owns the section objects and finds the right one for a piece of payload. Runs under the filter's lock.
class TableCollector {
 public:
    static constexpr std::size_t kMaxSections = 1024;  ///< objects; beyond that the oldest idle one is taken again

    TableCollector() { mTables.reserve(kMaxSections); }
    virtual ~TableCollector() = default;
    TableCollector(const TableCollector&) = delete;
    TableCollector& operator=(const TableCollector&) = delete;

    /// Takes a piece of payload of any table on any PID.
    /// \param data            from the piece's first byte to the end of the transport packet
    /// \param startOfSection  the piece begins with a table_id
    /// \param continuity      the packet's counter in the low nibble; 0xF0 added when the packet was counted already
    /// \param table_id        gets the table_id of a delivered section, else -1
    /// \return the whole section, good until its next one begins; empty while it goes on or is dropped
    Bytes CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity,
                             int* table_id);

    /// \return counters of every section, in order of creation
    std::vector<PsipSection::Stats> GetStats() const;

    /// Logs the signal strength and every section's counters.
    static void PrintStats(const std::vector<PsipSection::Stats>& sections);

 private:
    /// A section's first bytes, too few to tell its table and number: they wait for the PID's next packet.
    struct SplitHead {
        std::uint16_t pid;
        std::size_t size;  ///< below kHead
        std::uint8_t bytes[PsipSection::kHead];
    };

    std::size_t FindOrMake(std::uint16_t pid, Bytes head);
    std::size_t Make(std::uint8_t tableId, std::uint16_t pid, std::uint8_t sectionNo);
    std::size_t InProgress(std::uint16_t pid) const;
    SplitHead* FindHead(std::uint16_t pid);
    void KeepHead(std::uint16_t pid, Bytes data);
    Bytes JoinHead(SplitHead* head, Bytes data, std::array<std::uint8_t, 256>& joined);

    std::vector<std::unique_ptr<PsipSection>> mTables;  ///< in order of creation
    // What a look-up compares stands side by side, in the order of mTables: a walk of all costs little, and a stream
    // that wants every object there is can't make it cost much.
    std::array<std::uint32_t, kMaxSections> mKeys{};        ///< table_id, PID and section_number of each object
    std::array<std::uint16_t, kMaxSections> mCollecting{};  ///< its PID while a section is in progress, else kNoPid
    std::vector<SplitHead> mHeads;
    Continuity mContinuity;
    bool mReparseEit = false;  ///< the next EIT section to start is taken as new
    bool mReparseEtt = false;
};
