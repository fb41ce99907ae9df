/// The transport-stream filter: every byte that a transmitter is given passes through it.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "bytes.h"
#include "filter/debugfile.h"
#include "filter/filedsections.h"
#include "filter/pidtable.h"
#include "guide/scanfilter.h"
#include "platform/mutex.h"
#include "psip/packet.h"

struct PatEntry;
class Statistics;
class TableCollector;
class Time;
class TunerManager;

/// The filter. One per process, alive until its end. `Filter` runs on the host's thread, the stream table's operations
/// on the command and scan threads. One lock guards the PID table, the streams, the collector and the debug files; it
/// is held for a whole buffer.
class TsFilter final : public ScanFilter {
 public:
    /// \param type   role, 'T' or 'R'
    /// \param tuner  gets the results of the analysis; not owned
    TsFilter(char type, TunerManager* tuner);
    ~TsFilter() override;

    /// The one filter, or null before it is made.
    static TsFilter* Self();

    // The walk: tsfilter_walk.cpp, tsfilter_analysis.cpp
    /// Walks one buffer of transport stream; packets may be split over buffers.
    /// \return false when the filter is stopped, the debug input ends, or the buffer contains no sync
    bool Filter(unsigned char* inData, int size) EXCLUDES(mMutex);
    /// \return offset of a packet's payload, 0 for none; not checked
    static unsigned int GetTsPayloadIndex(const unsigned char* packetPtr, std::uint16_t packetId);

    // Run state, PID table and debug files: tsfilter.cpp
    /// Starts the filter at the next buffer, with a full analysis of the PAT; or stops it, without waiting.
    void FilterActive(bool active);
    /// \return true while `Filter` accepts buffers
    bool FilterActive() const { return mFilterRunning.load(std::memory_order_acquire); }
    /// Resets all rows to their initial state; the lists of streams are deleted.
    void CleanPacketIdMap() EXCLUDES(mMutex);
    /// Takes a file to read in place of the host's data; null: none. The old one is closed.
    void SetDebugInput(FILE* file) EXCLUDES(mMutex);
    /// Takes a file that the streams write to in place of the network; null: none. The old one is closed.
    void SetDebugOutput(FILE* file) EXCLUDES(mMutex);
    /// \return the current broadcast time as text, in a static buffer
    char* GetMjdDateTime();

    // PAT and PMT: tsfilter_pat.cpp, tsfilter_pmt.cpp
    /// Analyses a PAT of the host. \param sectionPtr  a whole section
    /// \return false only for a bad section_length
    bool AnalyzeSectionPat(unsigned char* sectionPtr) EXCLUDES(mMutex);
    /// Analyses a PMT of the host. \param packetPtr  a whole section \param packetId  its PID, 0 on a receiver
    /// \return false when its section_length is refused
    bool AnalyzeSectionPmt(unsigned char* packetPtr, std::uint16_t packetId) EXCLUDES(mMutex);

    // The stream table: tsfilter_streams.cpp, tsfilter_multicast.cpp. Stream ids are 0 to 7.
    /// Adds a stream, or changes the destination of one. \return false for an id out of range or a slot in use
    bool AddStream(int streamId, const char* mcastIp, std::uint16_t mcastPort) EXCLUDES(mMutex);
    /// Removes a stream. \return false for an id out of range
    bool RemoveStream(int streamId) EXCLUDES(mMutex);
    /// Attaches a stream to the known PIDs of a programme. \return true
    bool AddProgramToStream(int streamId, std::uint16_t transportId, std::uint16_t programId) EXCLUDES(mMutex);
    /// Attaches a stream to every PID seen three times or more. \return true
    bool AddAllProgramsToStream(int streamId) EXCLUDES(mMutex);
    /// Detaches a stream from all PIDs. \return true
    bool RemoveAllProgramsFromStream(int streamId) EXCLUDES(mMutex);
    /// Tunes, runs the filter for 5 s and starts a stream.
    /// \param cmd  "ip,port,channel[,transportId,programId ...]", cut in place; hexadecimal but for the port
    /// \return false, with nothing changed, when one of the first three fields is missing or the address or id is bad
    bool StartMulticast(int streamId, char* cmd) EXCLUDES(mMutex);
    static constexpr int kAllStreams = -1;
    /// Stops one stream or all; with `really`, the filter keeps running while another one is left. \return true
    bool StopMulticast(int streamId, bool really) EXCLUDES(mMutex);
    /// Stops the filter and all streams; with `enter` restarts the filter. \return true
    bool EnterScanMode(bool enter) override EXCLUDES(mMutex);
    /// Sets the datagram size of the running streams and saves it. \return false when it can't be saved
    bool SetPacketSize(int packetSize) EXCLUDES(mMutex);

    using StreamStatus = Streamer::Status;
    /// \return a copy of the state of each stream, by slot
    std::vector<StreamStatus> StatusOfStreams() EXCLUDES(mMutex);

    // tsfilter_languages.cpp
    /// Blocks the audio PIDs of other languages on all streams, if one PID matches. \return true
    bool SetLanguageFilter(const char* langPri, int langPriType, const char* langSec, int langSecType) EXCLUDES(mMutex);

    // tsfilter_dumps.cpp
    void DumpPids() EXCLUDES(mMutex);                  ///< Logs the PID table.
    void DumpLanguagesAndCaptions() EXCLUDES(mMutex);  ///< Logs the PIDs' languages.
    void DumpCollectionStats() EXCLUDES(mMutex);       ///< Logs the sections' counters.

    // Bench tools: tsfilter_savedstream.cpp
    void DebugSaveStream();                      ///< Keeps the file open while the filter runs.
    [[noreturn]] void DebugFilterSavedStream();  ///< Walks a saved stream and ends the process.

    // Fixed by the interface; nothing acts on them.
    void ToggleDebugSimpleStream() { m_dbg_simple_stream = !m_dbg_simple_stream; }
    bool GetStreamingStatus() const { return false; }
    const char* GetStreamingAddress() const { return "0.0.0.0"; }
    int GetStreamingPort() const { return 0; }

 private:
    friend class TsFilterTest;

    // The walk: tsfilter_walk.cpp
    bool WalkBuffer(Bytes buffer) REQUIRES(mMutex);
    bool SendHeldTail(Bytes buffer) REQUIRES(mMutex);
    void RouteInStep(const std::uint8_t* packet) REQUIRES(mMutex);
    std::optional<std::size_t> FindSync(Bytes buffer, std::size_t from) REQUIRES(mMutex);
    void FinishBuffer(Bytes tail) REQUIRES(mMutex);
    void RouteBy(std::uint16_t pid) REQUIRES(mMutex);
    void Forward(Bytes bytes) REQUIRES(mMutex);
    void FlushStreams() REQUIRES(mMutex);
    void CleanRows() REQUIRES(mMutex);

    // From a packet to its payload, to a section, to the section's analyser: tsfilter_analysis.cpp
    bool AnalyzePacket(const unsigned char* packetPtr, std::uint16_t packetId) REQUIRES(mMutex);
    void AnalyzePayload(std::uint16_t pid, Bytes data, bool startOfSection, std::uint8_t continuity) REQUIRES(mMutex);
    void AnalyzeSection(Bytes section, std::uint16_t pid) REQUIRES(mMutex);
    void FileInGuide(Bytes section, bool (TsFilter::*analyze)(Bytes)) REQUIRES(mMutex);

    // PAT: tsfilter_pat.cpp. Sections are whole, cut to their own length, here and below.
    bool AnalyzePat(Bytes section) REQUIRES(mMutex);
    void AnalyzePatInFull(Bytes section, const StreamerList& streams) REQUIRES(mMutex);
    void AnalyzePatEntry(const PatEntry& entry, std::size_t offset, std::uint16_t transportId,
                         const StreamerList& streams) REQUIRES(mMutex);

    // PMT and descriptors: tsfilter_pmt.cpp, tsfilter_descriptors.cpp
    bool AnalyzePmt(Bytes section, std::uint16_t packetId) REQUIRES(mMutex);
    bool AnalyzePmtProgramInfoLoop(Bytes loop, std::uint16_t packetMapPid, std::uint16_t program_number)
        REQUIRES(mMutex);
    bool AnalyzeDescriptor(Bytes loop, std::uint16_t pid, int caller) REQUIRES(mMutex);
    bool IsReported(const PacketIdMapType& row) const;
    void AnalyzeDescriptorLanguage(Bytes body, std::size_t descriptor_length, std::uint16_t pid) REQUIRES(mMutex);
    void AnalyzeDescriptorCaption(Bytes body, std::size_t descriptor_length, std::uint16_t pid) REQUIRES(mMutex);

    // The tables of ATSC A/65: tsfilter_psip.cpp
    bool AnalyzeSectionMgt(Bytes section) REQUIRES(mMutex);
    bool AnalyzeSectionVct(Bytes section) REQUIRES(mMutex);
    bool AnalyzeSectionStt(Bytes section) REQUIRES(mMutex);
    // These two return true when nothing was reported, so that a repetition needs no analysis.
    bool AnalyzeSectionEit(Bytes section) REQUIRES(mMutex);
    bool AnalyzeSectionEtt(Bytes section) REQUIRES(mMutex);

    // The stream table: tsfilter_streams.cpp
    void AddStreamerToPsi(Streamer* streamer) REQUIRES(mMutex);
    void AddStreamerToUnidentified(Streamer* streamer) REQUIRES(mMutex);
    bool Attach(PacketIdMapType& row, Streamer* streamer) REQUIRES(mMutex);
    bool Detach(PacketIdMapType& row, int streamId) REQUIRES(mMutex);
    bool Deactivate(int streamId) EXCLUDES(mSlotMutex) NO_THREAD_SAFETY_ANALYSIS;
    void RestartCollector() EXCLUDES(mMutex);
    int LowestStream() EXCLUDES(mMutex);

    char mMyType;
    TunerManager* mpTunerManager;
    Time* mpTime;
    Statistics* mpStatistics;
    std::atomic<bool> mFilterRunning{false};
    std::atomic<bool> mRunFilter{false};
    platform::FairMutex mMutex;  ///< fair, as a host may hand over buffers without a pause
    platform::Mutex mSlotMutex;  ///< a slot of mStreamersList changes under both locks, inside mMutex
    std::unique_ptr<Streamer> mStreamersList[kStreams] GUARDED_BY(mMutex);
    int mUnindentifiedStreamers GUARDED_BY(mMutex) = 0;
    DebugFile mDebugInput GUARDED_BY(mMutex);
    DebugFile mDebugOutput GUARDED_BY(mMutex);
    std::unique_ptr<TableCollector> mpTableCollector GUARDED_BY(mMutex);
    FiledSections mFiledSections GUARDED_BY(mMutex);
    std::unique_ptr<PacketIdMapType[]> mPacketIdMap GUARDED_BY(mMutex);

    // Of the walk; most of it outlives a call of Filter.
    StreamerList* mpStreamerList GUARDED_BY(mMutex) = nullptr;  ///< of the packet routed last
    bool mBlock GUARDED_BY(mMutex) = false;                     ///< block flag of the packet routed last
    std::size_t mExpectedSync GUARDED_BY(mMutex) = 0;           ///< offset of the first sync byte in the next buffer
    std::uint8_t mHeldTail[2] GUARDED_BY(mMutex) = {};          ///< a packet's first bytes, with an incomplete PID
    std::size_t mHeldCount GUARDED_BY(mMutex) = 0;
    std::uint32_t mDroppedBytes GUARDED_BY(mMutex) = 0;  ///< of the current buffer
    unsigned mPayloadIndexDrops GUARDED_BY(mMutex) = 0;
    unsigned mNextSectionDrops GUARDED_BY(mMutex) = 0;
    unsigned mLostForMemory GUARDED_BY(mMutex) = 0;

    // Of the PAT analysis.
    unsigned mPatVersionCounter GUARDED_BY(mMutex) = 0;  ///< PATs seen
    int mPatContinuity GUARDED_BY(mMutex) = 0;           ///< counter of the packetised PATs
    std::atomic<int> mPatVersion{-1};  ///< masked byte 5 of the last PAT; -1: analyse the next in full

    bool m_dbg_simple_stream = false;  ///< nothing acts on it
};
