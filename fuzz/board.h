/// The data path as a host sees it, for the fuzz targets of broadcast data.
#pragma once

#include "commands/entry.h"
#include "filter/tsfilter.h"
#include "guide/tunermanager.h"
#include "psip/tablecollector.h"
#include "psip/tableids.h"
#include "target.h"
#include "zul.h"

/// Opens the filter's inside, as to the tests of its room.
class TsFilterTest {
 public:
    static PacketIdMapType& Row(TsFilter& filter, unsigned pid) NO_THREAD_SAFETY_ANALYSIS {
        return filter.mPacketIdMap[pid];
    }

    /// Attaches a PID to the first stream, as a command would that walks all rows.
    static void Attach(TsFilter& filter, unsigned pid) {
        const platform::MutexLock lock(filter.mMutex);
        filter.Attach(filter.mPacketIdMap[pid], filter.mStreamersList[0].get());
    }

    /// Passes a section to the analyser of its table, as the collector does.
    static void Analyse(TsFilter& filter, Bytes section, unsigned pid) {
        const platform::MutexLock lock(filter.mMutex);
        switch (section[0]) {
            case kTablePat: filter.AnalyzePat(section); break;
            case kTablePmt: filter.AnalyzePmt(section, static_cast<std::uint16_t>(pid)); break;
            case kTableMgt: filter.AnalyzeSectionMgt(section); break;
            case kTableTvct:
            case kTableCvct: filter.AnalyzeSectionVct(section); break;
            case kTableEit: filter.AnalyzeSectionEit(section); break;
            case kTableEtt: filter.AnalyzeSectionEtt(section); break;
            case kTableStt: filter.AnalyzeSectionStt(section); break;
            default: break;
        }
    }
};

namespace fuzz {

constexpr std::uint16_t kTransport = 0x55, kProgramme = 3, kSource = 0x0102;
constexpr unsigned kPmtPid = 0x30, kGuidePid = 0x1D00;

/// A filter with its store, reached by `Zul_Filter`, in a role: on a transmitter it runs and has a stream.
class Board {
 public:
    explicit Board(char role);
    ~Board();
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    /// Sets up the state in which a programme of the current channel is known, with its source and its PIDs.
    void KnowProgramme();

    /// Runs all queries of the store.
    void AskStore();
    /// Runs all queries of the PID table, each of which costs a walk.
    void AskTable();

    TunerManager tuner;
    TsFilter filter;

 private:
    char mRole;
};

/// A section in its own packets, followed by the head of another packet, which confirms the last one.
Block Packets(unsigned pid, Bytes section, unsigned continuity);

/// Writes section_length and CRC_32 of a section that takes all the bytes; too few or too many stay as they are.
void Seal(std::span<std::uint8_t> section);

/// The fuzz target of one table: a section to its analyser, to the collector, in packets to `Zul_Filter`, or on a
/// receiver.
/// \param flags   0 to 3 the path, 4 the store is queried afterwards, 8 the PID table
/// \param tables  the table_ids that it reads; the first is used for all others
void EnterTable(Input& input, unsigned flags, std::initializer_list<std::uint8_t> tables, unsigned pid);

}  // namespace fuzz
