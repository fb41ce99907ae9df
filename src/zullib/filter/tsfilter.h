/// The transport-stream filter: every byte that a transmitter is given passes through it.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "bytes.h"
#include "filter/filedsections.h"
#include "filter/streamer.h"
#include "guide/scanfilter.h"
#include "platform/mutex.h"
#include "psip/packet.h"

struct PatEntry;
class Statistics;
class TableCollector;
class Time;
class TunerManager;

constexpr int kStreams = 8;  ///< slots of the stream table, stream id 0 to 7

/// What the transport_scrambling_control bits of a PID showed.
enum PacketScrambleEnum { eNotKnown = 0, eClear = 1, eScrambled = 2 };

/// How packets of a PID are treated.
enum PidStatusEnum : std::int8_t {
    ePidUnknown = 0,  ///< each is analysed
    ePidKnown = 1,    ///< forwarded without analysis
    ePidIgnored = 2,  ///< no analysis, and not part of the whole multiplex
};

/// What a PID carries.
enum PidTypeEnum : std::int8_t {
    ePidNone = 0,
    ePidElementary = 1,
    ePidPat = 2,
    ePidPmt = 3,
    ePidVct = 6,
    ePidRrt = 7,
    ePidEit = 9,
    ePidEtt = 10,
    ePidDcc = 11,
};

/// The streams that a PID goes to, in order of attachment; a stream stands in it once at most.
class StreamerList {
 public:
    Streamer* const* begin() const { return mStreamers; }
    Streamer* const* end() const { return mStreamers + mCount; }
    int Count() const { return mCount; }
    bool Contains(const Streamer* streamer) const;
    /// \return the entry with this stream id, or null
    Streamer* FindId(int id) const;
    /// REQUIRES: fewer than kStreams entries.
    void Append(Streamer* streamer) { mStreamers[mCount++] = streamer; }
    /// Takes the entry with this stream id out. \return false when there is none
    bool RemoveId(int id);

 private:
    Streamer* mStreamers[kStreams] = {};
    int mCount = 0;
};

/// One row of the PID table. It fills one cache line, so that a packet's way costs no more than that.
struct alignas(64) PacketIdMapType {
    std::uint8_t channelId = 0;     ///< tuner channel on which a PAT named the PID
    std::int8_t status = 0;         ///< PidStatusEnum
    std::int8_t type = 0;           ///< PidTypeEnum
    std::uint8_t streamType = 0;    ///< stream_type of the PMT
    std::uint16_t transportId = 0;  ///< transport_stream_id, 0 while unidentified
    std::uint16_t programId = 0;    ///< program_number, 0 while unidentified
    std::uint16_t programMapPid = 0;
    bool block = false;                       ///< packets are never forwarded
    std::unique_ptr<StreamerList> streamers;  ///< null while no stream is attached
    std::uint32_t count = 0;                  ///< packets seen
    char audioLanguage[4] = "";               ///< ISO 639 code, terminated
    int audioLangType = 0;                    ///< audio_type
    char captionLanguage[4] = "";
    PacketScrambleEnum scrambling = eNotKnown;
    std::uint8_t dbg1 = 0;  ///< counts descriptors, wraps freely
};
static_assert(sizeof(PacketIdMapType) == 64);

/// The filter. One per process, made once and alive until its end; `Filter` runs on the host's thread, the stream
/// table's operations on the command and scan threads. One lock guards the PID table, the streams, the collector and
/// the debug files; it is held for the whole of a buffer.
class TsFilter final : public ScanFilter {
 public:
    /// \param type   role, 'T' or 'R'
    /// \param tuner  gets what the analysis finds; not owned
    TsFilter(char type, TunerManager* tuner);
    ~TsFilter();
    TsFilter(const TsFilter&) = delete;
    TsFilter& operator=(const TsFilter&) = delete;

    /// The one filter, or null before it is made.
    static TsFilter* Self();

    // The walk: tsfilter_walk.cpp
    /// Walks one buffer of transport stream; packets may be split over buffers.
    /// \return false when the filter is stopped, the substitute input runs out, or the buffer holds no sync at all
    bool Filter(unsigned char* inData, int size) EXCLUDES(mMutex);
    /// Starts the filter at the next buffer, with the PAT analysed in full; or stops it, without waiting.
    void FilterActive(bool active);
    /// \return true while `Filter` accepts buffers
    bool FilterActive() const { return mFilterRunning.load(std::memory_order_acquire); }
    /// Puts all rows back to their start; lists that are left are deleted.
    void CleanPacketIdMap() EXCLUDES(mMutex);
    /// \return offset of a packet's payload, 0 for none; not checked
    static unsigned int GetTsPayloadIndex(const unsigned char* packetPtr, std::uint16_t packetId);
    /// Toggles a debug flag that nothing acts on.
    void ToggleDebugSimpleStream() { m_dbg_simple_stream = !m_dbg_simple_stream; }
    /// Feeds the filter from a file in place of the host's data, or from the host again with null; closes the old file.
    void SetDebugInput(FILE* file) EXCLUDES(mMutex);
    /// Sends the streams to a file in place of the network, or to the network again with null; closes the old file.
    void SetDebugOutput(FILE* file) EXCLUDES(mMutex);
    bool GetStreamingStatus() const { return mStreamingStatus; }
    const char* GetStreamingAddress() const { return "0.0.0.0"; }
    int GetStreamingPort() const { return 0; }

    // PAT and PMT: tsfilter_pat.cpp, tsfilter_pmt.cpp
    /// Analyses a PAT that the host hands over. \param sectionPtr  a whole section
    /// \return false only for a bad section_length
    bool AnalyzeSectionPat(unsigned char* sectionPtr) EXCLUDES(mMutex);
    /// Analyses a PMT that the host hands over. \param packetPtr  a whole section \param packetId  its PID, 0 on a
    /// receiver \return false when its section_length is refused
    bool AnalyzeSectionPmt(unsigned char* packetPtr, std::uint16_t packetId) EXCLUDES(mMutex);

    // The stream table: tsfilter_streams.cpp, tsfilter_multicast.cpp. Stream ids are 0 to 7.
    /// Makes a stream, or gives an existing one a new destination. \return false for an id out of range or a full slot
    bool AddStream(int streamId, const char* mcastIp, std::uint16_t mcastPort) EXCLUDES(mMutex);
    /// Ends a stream. \return false for an id out of range
    bool RemoveStream(int streamId) EXCLUDES(mMutex);
    /// Attaches a stream to the PIDs that the table has for a programme. \return true
    bool AddProgramToStream(int streamId, std::uint16_t transportId, std::uint16_t programId) EXCLUDES(mMutex);
    /// Attaches a stream to every PID seen three times or more. \return true
    bool AddAllProgramsToStream(int streamId) EXCLUDES(mMutex);
    /// Takes a stream off all PIDs. \return true
    bool RemoveAllProgramsFromStream(int streamId) EXCLUDES(mMutex);
    /// Tunes, runs the filter for 5 s and starts a stream.
    /// \param cmd  "ip,port,channel[,transportId,programId ...]", cut in place; hexadecimal but for the port
    /// \return false when one of the first three fields is missing, the address or the id is bad; nothing was changed
    /// then
    bool StartMulticast(int streamId, char* cmd) EXCLUDES(mMutex);
    static constexpr int kAllStreams = -1;
    /// Stops one stream, or all with kAllStreams; with `really`, the filter keeps running while another one is left.
    /// \return true
    bool StopMulticast(int streamId, bool really) EXCLUDES(mMutex);
    /// Stops the filter and all streams; with `enter` true starts the filter afresh. \return true
    bool EnterScanMode(bool enter) override EXCLUDES(mMutex);

    // Services: tsfilter_services.cpp
    /// Blocks the audio PIDs of other languages on all streams, when one PID matches. \return true
    bool SetLanguageFilter(const char* langPri, int langPriType, const char* langSec, int langSecType) EXCLUDES(mMutex);
    /// Sets the datagram size of the running streams and saves it. \return false when it can't be saved
    bool SetPacketSize(int packetSize) EXCLUDES(mMutex);
    void DumpPids() EXCLUDES(mMutex);                  ///< Writes the PID table to the log.
    void DumpLanguagesAndCaptions() EXCLUDES(mMutex);  ///< Writes the PIDs' languages to the log.
    void DumpCollectionStats() EXCLUDES(mMutex);       ///< Writes the sections' counters to the log.
    void DebugSaveStream();                            ///< Bench tool: opens a file while the filter runs.
    [[noreturn]] void DebugFilterSavedStream();        ///< Bench tool: walks a saved stream and ends the process.
    /// \return the present broadcast time as text, in a static buffer
    char* GetMjdDateTime();

    /// What the status reply tells of one stream.
    struct StreamStatus {
        bool active;
        int id;
        char address[16];
        int port;
        std::list<std::uint16_t> programs;
    };
    /// \return a copy of the state of each stream, by slot
    std::vector<StreamStatus> StatusOfStreams() EXCLUDES(mMutex);

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

    // PAT: tsfilter_pat.cpp. Sections are whole, cut to their own length.
    bool AnalyzePat(Bytes section) REQUIRES(mMutex);
    void AnalyzePatInFull(Bytes section, const StreamerList& streams) REQUIRES(mMutex);
    void AnalyzePatEntry(const PatEntry& entry, std::size_t offset, std::uint16_t transportId,
                         const StreamerList& streams) REQUIRES(mMutex);
    void FinishPrivatePats(std::size_t sectionSize, const StreamerList& streams) REQUIRES(mMutex);
    static void SendPrivatePats(const StreamerList& streams);
    static int PacketizeSection(std::uint16_t pid, int* continuity, Bytes section, std::uint8_t* packetized_buffer);

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
    void Detach(PacketIdMapType& row, int streamId) REQUIRES(mMutex);
    bool Deactivate(int streamId) EXCLUDES(mSlotMutex) NO_THREAD_SAFETY_ANALYSIS;
    void RestartCollector() EXCLUDES(mMutex);
    int LowestStream() EXCLUDES(mMutex);

    bool m_dbg_simple_stream = false;
    TunerManager* mpTunerManager;
    bool mStreamingStatus = false;
    std::atomic<bool> mFilterRunning{false};
    bool mMulticastChanged = false;
    std::atomic<bool> mRunFilter{false};
    bool mDoMulticast = false;
    void* mpFifo = nullptr;
    int mUnindentifiedStreamers GUARDED_BY(mMutex) = 0;
    platform::FairMutex mMutex;  ///< fair, as a host may hand over buffers without a pause
    platform::Mutex mSlotMutex;  ///< a slot of mStreamersList changes under both locks, inside mMutex
    bool mScanMode = false;
    Time* mpTime;
    std::unique_ptr<TableCollector> mpTableCollector GUARDED_BY(mMutex);
    FiledSections mFiledSections GUARDED_BY(mMutex);
    Statistics* mpStatistics;
    std::unique_ptr<PacketIdMapType[]> mPacketIdMap GUARDED_BY(mMutex);
    StreamerList* mpStreamerList GUARDED_BY(mMutex) = nullptr;  ///< of the packet routed last
    // What outlives a call of Filter.
    std::size_t mExpectedSync GUARDED_BY(mMutex) = 0;   ///< offset in the next buffer where a sync byte is expected
    bool mBlock GUARDED_BY(mMutex) = false;             ///< block flag of the packet routed last
    std::uint8_t mHeldTail[2] GUARDED_BY(mMutex) = {};  ///< a packet's first bytes, too few to name its PID
    std::size_t mHeldCount GUARDED_BY(mMutex) = 0;
    std::uint32_t mDroppedBytes GUARDED_BY(mMutex) = 0;  ///< of the buffer being walked
    unsigned mBufferCount GUARDED_BY(mMutex) = 0;
    unsigned mPayloadIndexDrops GUARDED_BY(mMutex) = 0;
    unsigned mNextSectionDrops GUARDED_BY(mMutex) = 0;
    unsigned mLostForMemory GUARDED_BY(mMutex) = 0;

    // Of the PAT analysis.
    unsigned mPatVersionCounter GUARDED_BY(mMutex) = 0;  ///< PATs seen
    int mPatContinuity GUARDED_BY(mMutex) = 0;           ///< counter of the packetised PATs
    int mPatCurrentNextIndicator = 0;
    std::atomic<int> mPatVersion{-1};  ///< masked byte 5 of the last PAT; -1: analyse the next in full
    int mPacketSize = Streamer::kMinPacketSize;
    int mElementaryStreamCount = 0;
    char mMyType;
    std::unique_ptr<Streamer> mStreamersList[kStreams] GUARDED_BY(mMutex);
};
