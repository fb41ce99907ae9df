/// The programmes found on each channel, with their languages and their guide, and their results file.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>

#include "guide/programme.h"
#include "guide/role.h"
#include "platform/mutex.h"

/// A list of programmes per tuner channel. The analysers fill the list of the current channel on the host's thread,
/// the commands read, and a scan empties the store. Its lock is taken inside the filter's.
class ProgrammeStore {
 public:
    static constexpr int kChannels = 159;  ///< lists of the store, channel 0 to 158

    explicit ProgrammeStore(Role role);
    ProgrammeStore(const ProgrammeStore&) = delete;
    ProgrammeStore& operator=(const ProgrammeStore&) = delete;

    // Current channel: its list is the one that the analysers fill
    int CurrentChannel() const { return mCurrentChannel.load(std::memory_order_relaxed); }
    /// Makes a channel current. For channel 159 and above, its list is always empty.
    void SetCurrentChannel(int channel) EXCLUDES(mMutex);
    /// Makes a channel current before it is tuned, and restarts the count of its programmes at 0.
    void BeginChannel(int channel) EXCLUDES(mMutex);
    /// \return programmes added since the last `BeginChannel`
    int ProgramsOnChannel() const { return mProgramsOnChannel.load(std::memory_order_relaxed); }
    /// Sets the signal strength that programmes are filed with, 0 to 5.
    void SetStrength(int strength) { mCurrentStrength.store(strength, std::memory_order_relaxed); }

    // Filing, by the analysers
    /// Adds a programme of the PAT to the current channel unless it is already present. \return true
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
    /// Files a long text of an event or a channel. \param etmIdHi  source_id \param etmIdLo  low half of the ETM_id
    /// \return false when nothing of the current channel matches
    bool SetExtendedText(std::uint16_t etmIdHi, std::uint16_t etmIdLo, const char* text, std::uint32_t length,
                         std::uint8_t unicode_mode) EXCLUDES(mMutex);

    /// Counts the changes of everything that filing an EIT or ETT depends on: while the count is unchanged, filing the
    /// same section again has no effect.
    std::uint32_t GuideChanges() const { return mGuideChanges.load(std::memory_order_relaxed); }

    // Removal
    void Clear() EXCLUDES(mMutex);  ///< Removes all programmes. Channel 0 is then current, with strength 0.
    /// Removes the languages of every programme of the current channel, for the next PMT to fill them again.
    void CleanScalProgramDescriptors() EXCLUDES(mMutex);

    // Results file and SCAL report
    /// Writes the results file. \return false when the disk can't be made writable or the file can't be opened
    bool SaveScanResults() EXCLUDES(mMutex);
    /// Reads the results file into the empty store. \return false when it can't be opened
    bool LoadScanResults() EXCLUDES(mMutex);
    /// Restarts the SCAL report. \return true
    bool RewindScan();
    /// Writes the next programme's SCAL line. \param buffer  room for a line \return its length, 0 at the end
    int GetNextProgramScalFormatted(char* buffer, std::size_t size) EXCLUDES(mMutex);
    bool ClearScanResults(int channelNo);  ///< \return false; it changes nothing

    // Access under the lock
    /// Calls `visit(ScalProgramDesc&)` for the programmes of the current channel, in order, until it returns false.
    template <typename Visitor>
    void VisitCurrent(Visitor visit) EXCLUDES(mMutex) {
        const platform::MutexLock lock(mMutex);
        for (ScalProgramDesc& program : CurrentList()) {
            if (!visit(program)) return;
        }
    }

    /// Calls `visit(ScalProgramDesc&)` for the programmes of all channels, in order.
    /// \return the store's generation: while it is unchanged, no programme or event is removed
    template <typename Visitor>
    std::uint32_t VisitAll(Visitor visit) EXCLUDES(mMutex) {
        const platform::MutexLock lock(mMutex);
        for (ProgramList& list : mScalProgramDescriptors) {
            for (ScalProgramDesc& program : list) visit(program);
        }
        return mGeneration;
    }

    /// Calls `action()` if the store still has this generation. \return whether it was called
    template <typename Action>
    bool IfStill(std::uint32_t generation, Action action) EXCLUDES(mMutex) {
        const platform::MutexLock lock(mMutex);
        if (mGeneration != generation) return false;
        action();
        return true;
    }

 private:
    using ProgramList = std::list<ScalProgramDesc>;

    ProgramList& CurrentList() REQUIRES(mMutex);
    ScalProgramDesc* FindProgramme(std::uint16_t programId) REQUIRES(mMutex);
    ScalProgramDesc* FindSource(std::uint16_t sourceId) REQUIRES(mMutex);
    const ScalProgramDesc* NextOfReport() REQUIRES(mMutex);
    Event* GetEvent(ScalProgramDesc& program, std::uint32_t textLen, std::uint16_t eventId) REQUIRES(mMutex);
    bool SetEventText(ScalProgramDesc& program, std::uint16_t eventId, const char* text, std::uint32_t length,
                      std::uint8_t unicode_mode) REQUIRES(mMutex);
    void CountGuideChange() REQUIRES(mMutex) { mGuideChanges.fetch_add(1, std::memory_order_relaxed); }

    const Role mRole;
    platform::Mutex mMutex;
    ProgramList mScalProgramDescriptors[kChannels] GUARDED_BY(mMutex);  ///< by channelId
    ProgramList mChanProgramDescriptors GUARDED_BY(mMutex);             ///< always empty: the list of channel 159
    std::uint32_t mGeneration GUARDED_BY(mMutex) = 0;                   ///< how often the store was emptied
    int mScalChannel GUARDED_BY(mMutex) = 0;                            ///< position of the SCAL report
    ProgramList::iterator mScalIt GUARDED_BY(mMutex);
    std::atomic<bool> mScalRestart{true};
    std::atomic<int> mCurrentChannel{0};  ///< written under mMutex
    std::atomic<int> mCurrentStrength{0};
    std::atomic<int> mProgramsOnChannel{0};
    std::atomic<std::uint32_t> mGuideChanges{1};  ///< written under mMutex
};
