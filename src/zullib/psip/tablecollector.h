/// Sections rebuilt from the payload of transport packets (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <cstdint>
#include <list>
#include <memory>

#include "bytes.h"

class Statistics;

/// CRC_32 of ISO/IEC 13818-1, Annex A: polynomial 0x04C11DB7, start 0xFFFFFFFF, most significant bit first.
/// \return the CRC; 0xFFFFFFFF for no bytes
std::uint32_t crc32(const std::uint8_t* data, std::uint32_t len);

/// Reassembles one section number of one table on one PID.
class PsipSection {
   public:
    /// \param buffer_size  bytes; a section may use all but 16 of them. Below 1 there is no buffer, and a panic line
    explicit PsipSection(int buffer_size);

    /// Takes a piece of payload.
    /// \param data            from the piece's first byte to the end of the transport packet
    /// \param startOfSection  the piece begins with a table_id
    /// \param continuity      the packet's counter in the low nibble; 0xF0 added when the packet was counted already
    /// \param tableId         gets the table_id of a delivered section, else -1
    /// \return the whole section, good until the object's next section begins; empty while it goes on or is dropped
    Bytes CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity, int* tableId);

    /// Logs the counters in one line.
    void PrintStats() const;

   private:
    friend class TableCollector;

    bool Begin(Bytes data);
    bool CheckCrc(std::uint16_t pid, std::uint8_t continuity, bool ignoreCrc);
    bool CheckVersion(std::uint16_t pid);
    void Abandon(std::uint32_t* counter);

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
    Statistics* mpStat;
};

/// Owns the section objects and finds the right one for a piece of payload. Runs under the filter's lock.
class TableCollector {
   public:
    static constexpr std::size_t kMaxSections = 1024;  ///< objects; beyond that the oldest idle one is taken again

    TableCollector();
    virtual ~TableCollector();
    TableCollector(const TableCollector&) = delete;
    TableCollector& operator=(const TableCollector&) = delete;

    /// As PsipSection::CollectPsipSection, for any table on any PID.
    Bytes CollectPsipSection(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity, int* table_id);

    /// Logs the signal strength and every section's counters.
    void PrintStats() const;

   private:
    std::list<std::unique_ptr<PsipSection>> mTables;  ///< in order of creation
    bool mReparseEit = false;
    bool mReparseEtt = false;
};
