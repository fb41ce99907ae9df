/// The module's memory of the broadcast: programmes by channel, their languages and their guide, and the scan
/// that fills it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <list>
#include <memory>
#include <optional>

#include "core/udpcom.h"
#include "guide/eventindex.h"
#include "guide/slist.h"
#include "platform/mutex.h"

class ReplyText;
class ScanFilter;
class UdpServer;

/// One audio track or caption service of a programme.
class Language {
 public:
    enum LanguageModeEnum { eAudio = 0, eCaption = 1 };

    /// \param code  three characters \return true when they are those of this entry
    bool IsIn(const char* code) const { return std::memcmp(language, code, 3) == 0; }

    char language[4] = "";  ///< ISO 639 code and a terminator
    int audioType = 0;      ///< audio_type of the ISO 639 language descriptor, or the type given with a caption
    int audioPid = 0;       ///< PID of the elementary stream that carries it
    int languageCount = 0;  ///< ageing: kLanguageCount when seen, lowered by each walk that passes it
    LanguageModeEnum languageMode = eAudio;
    int captionType = 0;
    int captionServiceNum = 0;
};

/// One guide event.
class Event {
 public:
    static constexpr unsigned kTitleSize = 128;  ///< bytes of a title; longer ones are cut

    std::uint32_t eventId = 0;    ///< event_id of the EIT
    std::uint32_t sourceId = 0;   ///< source_id of the EIT
    std::uint32_t channelId = 0;  ///< tuner channel when the event was stored
    std::uint16_t transportId = 0;
    std::uint16_t programId = 0;
    std::uint32_t startTime = 0;                ///< GPS seconds
    std::uint32_t duration = 0;                 ///< seconds
    std::uint32_t titleLen = 0;                 ///< bytes in titleShort
    std::uint8_t unicodeModeForTitleShort = 0;  ///< mode byte of the title; 0 is plain text
    char titleShort[kTitleSize + 1] = "";
    std::uint8_t unicodeModeForLongInfo = 0;  ///< mode byte of the long text
    std::unique_ptr<char[]> pLongInfo;        ///< longInfoSize + 4 bytes, or null
    std::uint32_t longInfoSize = 0;           ///< bytes asked for when the buffer was made
    bool eitWasSet = false;
    bool ettWasSet = false;

    std::uint32_t place = 0;  ///< in the list of its programme, from 0
};

/// One programme of one channel, with what it owns.
class ScalProgramDesc {
 public:
    static constexpr unsigned kEventPool = 100;  ///< nodes of the event list's pool
    static constexpr std::size_t kNameBytes = 14;

    ScalProgramDesc() : mEvents(kEventPool) {}
    ~ScalProgramDesc();
    ScalProgramDesc(const ScalProgramDesc&) = delete;
    ScalProgramDesc& operator=(const ScalProgramDesc&) = delete;

    /// Writes the programme's line of the results file. \return false when it can't be written
    bool SaveToFile(FILE* file) const;
    /// Reads one line of the results file into this element. \return true when all 22 fields were read
    bool LoadFromFile(FILE* file);

    int channelId = 0;  ///< tuner channel, and index of the list that holds the element
    std::uint16_t transportId = 0;
    std::uint16_t programId = 0;
    int signalStrength = 0;  ///< 0 to 5
    char encryption = 'C';   ///< 'C' clear, 'E' once a stream was seen scrambled
    std::uint32_t videoType = 0;
    std::uint32_t audioType = 0;
    int channelNo = 0;                           ///< major number x 10 + minor number
    std::uint32_t channelFreq = 0;               ///< carrier_frequency of the VCT
    char channelShortName[kNameBytes + 2] = "";  ///< short_name of the VCT: seven UTF-16 characters, high byte first
    std::uint16_t channelMajorNo = 0;
    std::uint16_t channelMinorNo = 0;
    std::uint8_t modulationMode = 0;
    std::uint16_t channelTsid = 0;
    std::uint16_t sourceId = 0;  ///< source_id of the VCT: by it EIT and ETT reach the programme
    std::uint8_t unicodeModeForLongName = 0;
    std::unique_ptr<char[]> channelLongName;  ///< channel text of the ETT, terminated, or null
    std::uint32_t channelLongNameSize = 0;    ///< its bytes
    SList<Event> mEvents;                     ///< in order of first arrival; owned
    EventIndex mEventIndex;                   ///< over the same events
    bool mWasSet = false;                     ///< the VCT has named the programme once
    std::list<Language> language;             ///< in order of first arrival
};

/// The store, the scan and the queries on them. The analysers fill it on the host's thread, the commands read it,
/// the scan thread empties and refills it.
class TunerManager {
 public:
    enum ScanStateEnum { eScanIdle = 0, eScanInProgress = 1, eScanDone = 2, eScanError = 3 };
    enum ScanTypeEnum { eScanUk = 0, eScanEurope = 1, eScanAustralia = 2, eScanAsia = 3, eScanMax = 4, eScanStop = 99 };
    enum TunerModeEnum { eATSC = 0, eQAM64 = 1, eQAM256 = 2, eModeMax = 3 };

    static constexpr int kChannels = 159;  ///< lists of the store, channel 0 to 158
    /// Bytes of the command buffer, over which the queries build their replies.
    static constexpr std::size_t kReplySize = 8192;

    /// \param type  role, 'T' or 'R'
    explicit TunerManager(char type);
    ~TunerManager();
    TunerManager(const TunerManager&) = delete;
    TunerManager& operator=(const TunerManager&) = delete;

    // Accessors
    ScanStateEnum ScanState() const { return mScanState.load(std::memory_order_acquire); }
    int GetCurrentChannel() const { return mCurrentChannel.load(std::memory_order_relaxed); }
    int GetTotalChannelsFound();
    /// \return the list of a channel; of the current one for a negative channel; null for 159 and above
    std::list<ScalProgramDesc>* GetScalProgramDesc(int channel);
    /// Empties the languages of every programme of the current channel, so that the next PMT fills them afresh.
    void CleanScalProgramDescriptors() EXCLUDES(mMutex);

    // Tuner and scan
    bool StartTuner();  ///< \return true; nothing to do at start
    bool StopTuner();   ///< Stops the tuner's video. \return true
    void SetMode(TunerModeEnum mode);
    /// Tunes, waits 3 s and reads the signal. \return false when the mode has no such channel; nothing changes then
    bool TuneToChannel(int channelNo) EXCLUDES(mMutex);
    /// Starts or stops a scan and returns when the scan thread has reacted.
    /// \return false when a scan was wanted and there is no scan thread
    bool BlindScan(ScanTypeEnum type) EXCLUDES(mMutex);
    /// One whole scan, on the scan thread. \return 0
    int DoScan() EXCLUDES(mMutex);
    /// The next scan covers this channel alone; 0 and below is no request.
    void ScanOneChannel(int channel);
    /// Fixes the peer of progress messages and guide replies, if there is none yet, to the last client of `pUdp`;
    /// null takes the peer away.
    void SetTunerForwarding(UdpServer* pUdp) EXCLUDES(mMutex);
    /// Gives the scan the filter that it stops and starts, or takes it away with null.
    void SetScanFilter(ScanFilter* filter) { mpFilter.store(filter, std::memory_order_release); }
    /// Runs the body of the scan thread, forever.
    void RunScanThread();

    // Filled by the analysers
    /// Adds a programme of the PAT to the current channel unless it is there. \return true
    bool AddProgramToScanResults(std::uint16_t transportId, std::uint16_t programId) EXCLUDES(mMutex);
    /// Files one elementary stream of a PMT. \param scrambling  a PacketScrambleEnum \return true
    bool SetInfoForProgram(std::uint16_t transportId, std::uint16_t programId, std::uint8_t streamType, int scrambling)
        EXCLUDES(mMutex);
    /// Files one channel of a VCT. \param shortName  14 bytes \return false when the programme isn't known
    bool SetPsipInfoForProgram(std::uint16_t transportId, std::uint16_t programId, const char* shortName,
                               std::uint16_t majorChanNo, std::uint16_t minorChanNo, std::uint8_t modulationMode,
                               std::uint32_t carrierFreq, std::uint16_t channelTsid, std::uint16_t sourceId)
        EXCLUDES(mMutex);
    /// Files a language or caption service. \param langCode  four bytes
    /// \return true when it is new; false when it was known or there is no such programme
    bool SetLanguageForProgram(std::uint16_t transportId, std::uint16_t progamId, const char* langCode,
                               Language::LanguageModeEnum langMode, int langType, std::uint16_t pid,
                               int captionServiceNum) EXCLUDES(mMutex);
    /// Files the EIT's part of an event. \param titleText  titleLen bytes; control characters become '*' in place
    /// \return false when no programme of the current channel has this source
    bool SetEventInfoForProgram(std::uint16_t sourceId, std::uint16_t eventId, std::uint32_t startTime,
                                std::uint32_t lengthInSecs, std::uint8_t titleLen, char* titleText,
                                std::uint8_t unicode_mode) EXCLUDES(mMutex);
    /// Files a long text. \param etmIdHi  source_id \param etmIdLo  low half of the ETM_id
    /// \return false when nothing of the current channel matches
    bool SetExtendedText(std::uint16_t etmIdHi, std::uint16_t etmIdLo, const char* text, std::uint32_t length,
                         std::uint8_t unicode_mode) EXCLUDES(mMutex);

    /// State of all that decides what filing an EIT or ETT leaves in the store: while it stays, filing the same again
    /// changes nothing.
    std::uint32_t GuideChanges() const { return mGuideChanges.load(std::memory_order_relaxed); }

    // Scan results
    bool ClearScanResults(int channelNo);  ///< \return false; it changes nothing
    bool RewindScan();                     ///< The next SCAL line is the first again. \return true
    /// Writes the next programme's SCAL line. \param buffer  room for a line \return its length, 0 at the end
    int GetNextProgramScalFormatted(char* buffer, std::size_t size) EXCLUDES(mMutex);
    /// Reads the results file into the empty store. \return false when it can't be opened
    bool LoadScanResults() EXCLUDES(mMutex);

    // Queries
    /// Answers a guide query, cmdType 'i', 'n' or 'l', on the forwarding peer.
    /// \param buffer  kReplySize bytes \return null, or "KO\r\n" for a bad request
    char* ProcessEpgData(char* buffer, std::uint16_t transportId, std::uint16_t programId, std::uint32_t date,
                         std::uint32_t time, std::uint32_t timeFrame, char cmdType) EXCLUDES(mMutex);
    /// Sends the listing of languages or captions to the forwarding peer. \param buffer  kReplySize bytes \return null
    char* GetLanguagesOrSubtitles(Language::LanguageModeEnum mode, char* buffer) EXCLUDES(mMutex);
    /// \return service number of a caption language of the programme being received, or -1 after three seconds
    int GetSubtitleIndex(const char* language) EXCLUDES(mMutex);
    /// \return PID of an audio language of the programme being received, or 0 after three seconds
    int GetAudioPid(const char* language, int audioType) EXCLUDES(mMutex);
    void DumpEitInfo() EXCLUDES(mMutex);       ///< Writes the whole guide to the log.
    void DumpLanguageInfo() EXCLUDES(mMutex);  ///< Writes the languages of the current channel to the log.

 private:
    using ProgramList = std::list<ScalProgramDesc>;

    [[gnu::format(printf, 2, 3)]] void M710CmmdSet(const char* format, ...);
    void RequireTransmitter() const;
    bool SaveScanResults() EXCLUDES(mMutex);
    bool StartScan() EXCLUDES(mMutex);
    int EndScan(ScanStateEnum state);
    void EnterScanMode(bool enter);
    void ScanChannel(int channel) EXCLUDES(mMutex);
    void ListenToChannel(int channel, int strength) EXCLUDES(mMutex);
    void ClearStore() EXCLUDES(mMutex);
    void SetCurrentChannel(int channel) EXCLUDES(mMutex);
    void SendMessage(const char* text) EXCLUDES(mMutex);
    void SendToPeer(const char* text, std::size_t length) EXCLUDES(mMutex);
    ScalProgramDesc* FindProgramme(std::uint16_t programId) REQUIRES(mMutex);
    bool GetChannelProgramsRange() REQUIRES(mMutex);
    ProgramList& CurrentList() REQUIRES(mMutex);
    const ScalProgramDesc* NextOfReport() REQUIRES(mMutex);
    ScalProgramDesc* FindSource(std::uint16_t sourceId) REQUIRES(mMutex);
    void CountGuideChange() REQUIRES(mMutex) { mGuideChanges.fetch_add(1, std::memory_order_relaxed); }
    Event* GetEvent(ScalProgramDesc& program, std::uint32_t textLen, std::uint16_t eventId) REQUIRES(mMutex);
    bool SetEventText(ScalProgramDesc& program, std::uint16_t eventId, const char* text, std::uint32_t length,
                      std::uint8_t unicode_mode) REQUIRES(mMutex);
    void QueryMoment(ReplyText& reply, std::uint16_t programId, std::uint32_t moment) REQUIRES(mMutex);
    void QueryNowAndNext(ReplyText& reply, const ScalProgramDesc& program) REQUIRES(mMutex);
    bool QueryListing(ReplyText& reply, const ScalProgramDesc& program, std::uint32_t timeFrame) REQUIRES(mMutex);
    std::optional<Language> FindLanguage(Language::LanguageModeEnum mode, const char* language, int audioType)
        EXCLUDES(mMutex);
    std::optional<Language> FindLanguageNow(Language::LanguageModeEnum mode, const char* language, int audioType,
                                            int programId) EXCLUDES(mMutex);
    struct GuideDump;
    bool CopyNextEvents(GuideDump& dump, ScalProgramDesc& program, bool fromFront) EXCLUDES(mMutex);

    std::atomic<ScanFilter*> mpFilter{nullptr};
    std::atomic<bool> mRunScan{false};
    platform::Mutex mSenderMutex;  ///< held over a send, so that the sender can't go away under it; outside mMutex
    std::unique_ptr<UdpSender> mpUdp GUARDED_BY(mSenderMutex);
    platform::Mutex mMutex;  ///< lists, languages and events; taken inside the filter's lock
    std::atomic<bool> mScanRunning{false};
    std::atomic<bool> mReportScanResults{false};
    std::atomic<TunerModeEnum> mTunerMode{eATSC};
    ProgramList mScalProgramDescriptors[kChannels] GUARDED_BY(mMutex);
    ProgramList mChanProgramDescriptors GUARDED_BY(mMutex);  ///< always empty: the list of index 159
    std::atomic<int> mCurrentChannel{0};
    std::atomic<int> mCurrentStrength{0};
    std::atomic<int> mProgramsOnChannel{0};
    std::atomic<bool> mScalRestart{true};
    int mScalChannel GUARDED_BY(mMutex) = 0;  ///< where the SCAL report stands
    ProgramList::iterator mScalIt GUARDED_BY(mMutex);
    std::uint32_t mEmptied GUARDED_BY(mMutex) = 0;  ///< how often; while it stays, no programme or event goes away
    std::atomic<std::uint32_t> mGuideChanges{1};    ///< counted under mMutex
    ProgramList::iterator mChannelStartIt GUARDED_BY(mMutex);
    ProgramList::iterator mChannelEndIt GUARDED_BY(mMutex);
    std::atomic<ScanStateEnum> mScanState{eScanIdle};
    std::atomic<int> mTotalChannelsFound{0};
    std::atomic<int> mScanOneChannel{0};
    bool mRecalculateRange = true;
    char mMyType;
};
