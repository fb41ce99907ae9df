/// What filter and commands use of the guide: the programme store, the tuner and the scan.
#pragma once

#include <cstddef>
#include <cstdint>

#include "guide/messagepeer.h"
#include "guide/programme.h"
#include "guide/programmestore.h"
#include "guide/role.h"
#include "guide/scan.h"
#include "guide/tuner.h"

class UdpServer;

/// Facade of four parts, each with its own lock or atomic state: programme store, tuner, message peer and scan.
/// The queries read the store and send to the peer; every other operation belongs to one part and is described there.
class TunerManager {
 public:
    using ScanStateEnum = Scan::ScanStateEnum;
    using ScanTypeEnum = Scan::ScanTypeEnum;
    using TunerModeEnum = Tuner::TunerModeEnum;
    using enum Scan::ScanStateEnum;
    using enum Scan::ScanTypeEnum;
    using enum Tuner::TunerModeEnum;

    static constexpr int kChannels = ProgrammeStore::kChannels;
    /// Bytes of the command buffer, over which the queries build their replies.
    static constexpr std::size_t kReplySize = 8192;

    /// \param type  role, 'T' or 'R'
    explicit TunerManager(char type)
        : mStore(Role(type)), mTuner(Role(type), mStore), mScan(Role(type), mStore, mTuner, mPeer) {}
    TunerManager(const TunerManager&) = delete;
    TunerManager& operator=(const TunerManager&) = delete;

    // Queries, on the command thread
    /// Answers a guide query, cmdType 'i', 'n' or 'l', on the forwarding peer.
    /// \param buffer  kReplySize bytes
    /// \return null, or "KO\r\n" for a bad request
    char* ProcessEpgData(char* buffer, std::uint16_t transportId, std::uint16_t programId, std::uint32_t date,
                         std::uint32_t time, std::uint32_t timeFrame, char cmdType);
    /// Sends the listing of languages or captions to the forwarding peer. \param buffer  kReplySize bytes \return null
    char* GetLanguagesOrSubtitles(Language::LanguageModeEnum mode, char* buffer);
    /// \return PID of an audio language of the programme being received, or 0 after three seconds
    int GetAudioPid(const char* language, int audioType);
    void DumpEitInfo();       ///< Writes the whole guide to the log.
    void DumpLanguageInfo();  ///< Writes the languages of the current channel to the log.
    /// Makes the last client of `pUdp` the peer of progress messages and query replies, if there is none yet;
    /// null removes the peer.
    void SetTunerForwarding(UdpServer* pUdp) { mPeer.Set(pUdp); }

    // Programme store
    ProgrammeStore& Store() { return mStore; }
    int GetCurrentChannel() const { return mStore.CurrentChannel(); }
    void CleanScalProgramDescriptors() { mStore.CleanScalProgramDescriptors(); }
    std::uint32_t GuideChanges() const { return mStore.GuideChanges(); }
    bool LoadScanResults() { return mStore.LoadScanResults(); }
    bool RewindScan() { return mStore.RewindScan(); }
    int GetNextProgramScalFormatted(char* buffer, std::size_t size) {
        return mStore.GetNextProgramScalFormatted(buffer, size);
    }
    bool AddProgramToScanResults(std::uint16_t transportId, std::uint16_t programId) {
        return mStore.AddProgramToScanResults(transportId, programId);
    }
    bool SetInfoForProgram(std::uint16_t transportId, std::uint16_t programId, std::uint8_t streamType,
                           int scrambling) {
        return mStore.SetInfoForProgram(transportId, programId, streamType, scrambling);
    }
    bool SetPsipInfoForProgram(std::uint16_t transportId, std::uint16_t programId, const char* shortName,
                               std::uint16_t majorChanNo, std::uint16_t minorChanNo, std::uint8_t modulationMode,
                               std::uint32_t carrierFreq, std::uint16_t channelTsid, std::uint16_t sourceId) {
        return mStore.SetPsipInfoForProgram(transportId, programId, shortName, majorChanNo, minorChanNo, modulationMode,
                                            carrierFreq, channelTsid, sourceId);
    }
    bool SetLanguageForProgram(std::uint16_t transportId, std::uint16_t progamId, const char* langCode,
                               Language::LanguageModeEnum langMode, int langType, std::uint16_t pid,
                               int captionServiceNum) {
        return mStore.SetLanguageForProgram(transportId, progamId, langCode, langMode, langType, pid,
                                            captionServiceNum);
    }
    bool SetEventInfoForProgram(std::uint16_t sourceId, std::uint16_t eventId, std::uint32_t startTime,
                                std::uint32_t lengthInSecs, std::uint8_t titleLen, char* titleText,
                                std::uint8_t unicode_mode) {
        return mStore.SetEventInfoForProgram(sourceId, eventId, startTime, lengthInSecs, titleLen, titleText,
                                             unicode_mode);
    }
    bool SetExtendedText(std::uint16_t etmIdHi, std::uint16_t etmIdLo, const char* text, std::uint32_t length,
                         std::uint8_t unicode_mode) {
        return mStore.SetExtendedText(etmIdHi, etmIdLo, text, length, unicode_mode);
    }

    // Tuner
    bool StartTuner() { return mTuner.StartTuner(); }
    void SetMode(TunerModeEnum mode) { mTuner.SetMode(mode); }
    bool TuneToChannel(int channelNo) { return mTuner.TuneToChannel(channelNo); }

    // Scan
    ScanStateEnum ScanState() const { return mScan.ScanState(); }
    int GetTotalChannelsFound() { return mScan.GetTotalChannelsFound(); }
    bool BlindScan(ScanTypeEnum type) { return mScan.BlindScan(type); }
    int DoScan() { return mScan.DoScan(); }
    void ScanOneChannel(int channel) { mScan.ScanOneChannel(channel); }
    void SetScanFilter(ScanFilter* filter) { mScan.SetScanFilter(filter); }

    // Fixed by the interface, though no command or analyser uses them
    /// \return service number of a caption language of the programme being received, or -1 after three seconds
    int GetSubtitleIndex(const char* language);
    bool StopTuner() { return mTuner.StopTuner(); }
    bool ClearScanResults(int channelNo) { return mStore.ClearScanResults(channelNo); }

 private:
    ProgrammeStore mStore;
    Tuner mTuner;
    MessagePeer mPeer;
    Scan mScan;
};
