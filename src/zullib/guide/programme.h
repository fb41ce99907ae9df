/// What the store keeps of the broadcast: programmes, with their languages and their guide events.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <list>
#include <memory>

#include "guide/eventindex.h"
#include "guide/slist.h"

/// One audio track or caption service of a programme.
class Language {
 public:
    enum LanguageModeEnum { eAudio = 0, eCaption = 1 };

    /// \param code  three characters
    /// \return whether they are those of this entry
    bool IsIn(const char* code) const { return std::memcmp(language, code, 3) == 0; }

    char language[4] = "";  ///< ISO 639 code and a terminator
    int audioType = 0;      ///< audio_type of the ISO 639 language descriptor, or the type given with a caption
    int audioPid = 0;       ///< PID of the elementary stream that carries it
    int languageCount = 0;  ///< ageing: LANG_CNT when seen, lowered by each walk that passes it
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
    std::uint32_t longInfoSize = 0;           ///< bytes requested when the buffer was allocated
    bool eitWasSet = false;
    bool ettWasSet = false;

    std::uint32_t place = 0;  ///< in the list of its programme, from 0
};

/// One programme of one channel, with what it owns.
class ScalProgramDesc {
 public:
    static constexpr unsigned kEventPool = 100;  ///< nodes of the event list's pool
    static constexpr std::size_t kNameBytes = 14;
    /// Cursors of `mEvents`: one for its owner, one for the dump.
    static constexpr int kOwnersCursor = 0, kDumpCursor = 1;

    ScalProgramDesc() : mEvents(kEventPool) {}
    ~ScalProgramDesc() {
        for (Event* event = mEvents.begin(kOwnersCursor); event != nullptr;) {
            Event* const next = mEvents.next(kOwnersCursor);
            delete event;
            event = next;
        }
    }
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
    std::uint16_t sourceId = 0;  ///< source_id of the VCT, by which EIT and ETT reach the programme
    std::uint8_t unicodeModeForLongName = 0;
    std::unique_ptr<char[]> channelLongName;  ///< channel text of the ETT, terminated, or null
    std::uint32_t channelLongNameSize = 0;    ///< its bytes
    SList<Event> mEvents;                     ///< in order of first arrival; owned
    EventIndex mEventIndex;                   ///< over the same events
    bool mWasSet = false;                     ///< a VCT has named the programme
    std::list<Language> language;             ///< in order of first arrival
};
