/// The judge of a stream: takes datagrams one by one and reports their content. It opens no socket, so that any source
/// of datagrams can use it.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <string>
#include <vector>

#include "common/psi.h"
#include "common/ts_packet.h"
#include "output/output.h"

namespace zulctl {

using common::kNullPid;
using common::kTsPacketSize;
using common::StreamTypeName;

/// Smallest, largest and mean of what was noted.
class Spread {
 public:
    void Note(double value) {
        mLeast = mCount == 0 || value < mLeast ? value : mLeast;
        mMost = mCount == 0 || value > mMost ? value : mMost;
        mSum += value;
        ++mCount;
    }
    std::uint64_t Count() const { return mCount; }
    double Least() const { return mLeast; }
    double Most() const { return mMost; }
    double Mean() const { return mCount == 0 ? 0 : mSum / static_cast<double>(mCount); }

 private:
    std::uint64_t mCount = 0;
    double mLeast = 0, mMost = 0, mSum = 0;
};

/// Findings on one PID.
struct PidReport {
    std::uint64_t packets = 0;
    std::uint64_t continuityErrors = 0;
    std::uint64_t duplicates = 0;  ///< second copies, which ISO/IEC 13818-1, 2.4.3.3 allows
    std::uint64_t scrambled = 0;
    std::uint64_t damaged = 0;  ///< transport_error_indicator set
};

/// Repetition and versions of a table.
struct TableReport {
    std::uint64_t sections = 0;
    std::uint64_t crcErrors = 0;
    std::uint64_t versionChanges = 0;
    int version = -1;                              ///< the last one; -1 before the first section
    Spread interval;                               ///< seconds from one to the next
    std::chrono::steady_clock::time_point last{};  ///< arrival of the last one
};

struct ProgrammeReport {
    std::uint16_t pmtPid = 0;
    std::uint16_t pcrPid = kNullPid;
    std::vector<common::PmtSection::Stream> streams;
    TableReport pmt;
};

struct StreamCounts {
    std::uint64_t datagrams = 0, bytes = 0, packets = 0, continuityErrors = 0;
    std::uint64_t syncLosses = 0;  ///< places without a sync byte where a packet should begin
};

struct StreamReport : StreamCounts {
    std::uint64_t repeatedDatagrams = 0;           ///< equal to the one before
    std::uint64_t oddDatagrams = 0;                ///< not whole packets
    double seconds = 0;                            ///< from the first datagram to the last
    std::chrono::steady_clock::time_point last{};  ///< arrival of the last datagram
    Spread datagramSize, interArrival;             ///< bytes; seconds
    std::map<std::uint16_t, PidReport> pids;
    TableReport pat;
    int transportId = -1;
    unsigned blankedEntries = 0;                          ///< of the last PAT, numbered 0
    std::map<std::uint16_t, ProgrammeReport> programmes;  ///< of the last PAT
    std::vector<StreamCounts> perSecond;                  ///< counted from the first datagram
    std::uint64_t lostHere = 0;  ///< datagrams that the receiving machine dropped; set by the socket's owner

    double BitRate() const { return seconds > 0 ? static_cast<double>(bytes) * 8 / seconds : 0; }
    /// \return "PAT", "PMT of 3", "AC-3 audio of 3 (eng)", "null" and the like
    std::string PidPurpose(std::uint16_t pid) const;
};

/// Datagrams in, report out. A packet may begin in one datagram and end in the next.
class StreamProbe {
 public:
    using Time = std::chrono::steady_clock::time_point;

    void Add(Bytes datagram, Time arrived);
    const StreamReport& Report() const { return mReport; }
    StreamReport& Report() { return mReport; }
    /// Begins a new report. State across packets is kept: continuity, partial sections, the PAT.
    void StartOver();

 private:
    struct PidState {
        int continuity = -1;
        bool lastWasDuplicate = false;
        std::array<std::uint8_t, kTsPacketSize> last{};
        std::unique_ptr<common::SectionGatherer> sections;
    };
    void Packet(Bytes packet);
    bool ContinuityHolds(Bytes packet, PidReport& report, PidState& state);
    void Pat(Bytes section);
    void Pmt(Bytes section, std::uint16_t pid);
    /// \return true for a valid section; intervals are measured between these
    bool NoteSection(Bytes section, TableReport& table, int version);
    void Count(std::uint64_t StreamCounts::*what, std::uint64_t number = 1) {
        mReport.*what += number, mReport.perSecond.back().*what += number;
    }

    StreamReport mReport;
    std::vector<std::uint8_t> mBytes;  ///< not yet cut into packets: at most one cut packet between datagrams
    bool mInStep = true;
    Time mFirst{};
    std::size_t mLastHash = 0;
    std::map<std::uint16_t, PidState> mStates;
    std::map<std::uint8_t, common::PatSection> mPat;  ///< by section_number
};

/// A finding of the judge.
struct Finding {
    bool fault;
    std::string text;
};

/// \return faults and notes; a good stream has no fault. An entry numbered 0 in the PAT of a stream that carries part
/// of a multiplex is no fault.
std::vector<Finding> Judge(const StreamReport& report);

/// The report as JSON.
Json JsonOf(const std::string& stream, const StreamReport& report, const std::vector<Finding>& findings, bool good);

}  // namespace zulctl
