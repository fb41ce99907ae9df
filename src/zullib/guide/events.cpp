// The guide's events: filed by EIT and ETT under the programme with their source.
#include <algorithm>
#include <cstring>

#include "broadcasttime.h"
#include "tunermanager.h"
#include "udpcom.h"

namespace {

constexpr int kOwnersCursor = 0;
constexpr std::uint32_t kTextReserve = 4;  ///< bytes of a text's buffer behind the text

/// Makes control characters visible; the zero byte and line ends stay.
void ReplaceControls(char* text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 && c != '\0' && c != '\r' && c != '\n') text[i] = '*';
    }
}

std::unique_ptr<char[]> MakeText(std::uint32_t length) { return std::make_unique<char[]>(length + kTextReserve); }

}  // namespace

ScalProgramDesc::~ScalProgramDesc() {
    for (Event* event = mEvents.begin(kOwnersCursor); event != nullptr;) {
        Event* const next = mEvents.next(kOwnersCursor);
        delete event;
        event = next;
    }
}

void EventIndex::Append(Event* event) {
    event->place = static_cast<std::uint32_t>(mEvents.size());
    mEvents.push_back(event);
    mSpans.push_back({event->startTime, event->startTime + event->duration});
    mById.emplace(static_cast<std::uint16_t>(event->eventId), event);
}

void EventIndex::Retime(const Event& event) { mSpans[event.place] = {event.startTime, event.startTime + event.duration}; }

Event* EventIndex::FindId(std::uint16_t eventId) const {
    const auto found = mById.find(eventId);
    return found != mById.end() ? found->second : nullptr;
}

Event* EventIndex::FindTime(std::uint32_t moment) const {
    const auto found = std::find_if(mSpans.begin(), mSpans.end(),
                                    [moment](const Span& span) { return span.start <= moment && moment <= span.end; });
    return found != mSpans.end() ? mEvents[static_cast<std::size_t>(found - mSpans.begin())] : nullptr;
}

/// \return the event with this id, made if needed, with room for `textLen` bytes of long text
Event* TunerManager::GetEvent(ScalProgramDesc& program, std::uint32_t textLen, std::uint16_t eventId) {
    Event* event = program.mEventIndex.FindId(eventId);
    if (event == nullptr) {
        event = new Event;
        event->eventId = eventId;
        program.mEvents.push_back(event);
        program.mEventIndex.Append(event);
    }
    if (textLen > event->longInfoSize) {
        event->pLongInfo = MakeText(textLen);
        event->longInfoSize = textLen;
    }
    return event;
}

/// \return the first programme of the current channel with this source, or null
ScalProgramDesc* TunerManager::FindSource(std::uint16_t sourceId) {
    for (ScalProgramDesc& program : CurrentList()) {
        if (program.sourceId == sourceId) return &program;
    }
    return nullptr;
}

bool TunerManager::SetEventInfoForProgram(std::uint16_t sourceId, std::uint16_t eventId, std::uint32_t startTime,
                                          std::uint32_t lengthInSecs, std::uint8_t titleLen, char* titleText,
                                          std::uint8_t unicode_mode) {
    const platform::MutexLock lock(mMutex);
    ScalProgramDesc* const program = FindSource(sourceId);
    if (program == nullptr) return false;
    Event* const event = GetEvent(*program, 0, eventId);
    event->channelId = static_cast<std::uint32_t>(GetCurrentChannel());
    event->eventId = eventId;
    event->sourceId = sourceId;
    event->startTime = startTime;
    event->duration = lengthInSecs;
    program->mEventIndex.Retime(*event);
    if (titleLen > Event::kTitleSize) PANIC("Tilte too long... (%d)", titleLen);
    event->titleLen = std::min<std::uint32_t>(titleLen, Event::kTitleSize);
    if (event->titleLen == 0) {
        event->titleShort[0] = '\0';  // the mode stays as it was
    } else {
        ReplaceControls(titleText, event->titleLen);
        const std::size_t size = strnlen(titleText, event->titleLen);
        std::memset(event->titleShort, 0, sizeof event->titleShort);
        std::memcpy(event->titleShort, titleText, size);
        event->unicodeModeForTitleShort = unicode_mode;
    }
    if (event->eitWasSet) return true;
    event->eitWasSet = true;
    char start[Time::kDateTimeSize];
    LOG("SetEventInfo chanId %d evId %d srcId %d startTime %s duration %d titleShort %s (%d), Unimode 0x%x\n",
        GetCurrentChannel(), eventId, sourceId, Time::Self()->GetMjdDateTime(startTime, start),
        static_cast<int>(lengthInSecs), event->titleShort, static_cast<int>(event->titleLen), unicode_mode);
    return true;
}

bool TunerManager::SetExtendedText(std::uint16_t etmIdHi, std::uint16_t etmIdLo, const char* text, std::uint32_t length,
                                   std::uint8_t unicode_mode) {
    const platform::MutexLock lock(mMutex);
    const auto event_id = static_cast<std::uint16_t>(etmIdLo >> 2);
    for (ScalProgramDesc& program : CurrentList()) {
        if (program.channelId != GetCurrentChannel() || program.sourceId != etmIdHi) continue;
        if (event_id != 0) return SetEventText(program, event_id, text, length, unicode_mode);
        if (program.channelLongName) continue;  // a channel's first text stays
        program.channelLongName = MakeText(length);
        program.channelLongNameSize = length;
        std::memcpy(program.channelLongName.get(), text, length);
        if (length > 0) program.channelLongName[length - 1] = '\0';
        program.unicodeModeForLongName = unicode_mode;
        return true;
    }
    return false;
}

bool TunerManager::SetEventText(ScalProgramDesc& program, std::uint16_t eventId, const char* text, std::uint32_t length,
                                std::uint8_t unicode_mode) {
    Event* const event = GetEvent(program, length, eventId);
    if (event->longInfoSize < length) {
        PANIC("longInfoSize %d, length %d\n", static_cast<int>(event->longInfoSize), static_cast<int>(length));
        return false;
    }
    if (event->pLongInfo) {
        std::memcpy(event->pLongInfo.get(), text, length);
        event->pLongInfo[length] = '\0';
    }
    event->unicodeModeForLongInfo = unicode_mode;
    if (event->ettWasSet) return true;
    event->ettWasSet = true;
    LOG("SetExtendedText at %x (len %d) len %d for ev_id %x, src_id %x unicode 0x%x: %s\n",
        static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(event->pLongInfo.get())),
        static_cast<int>(event->longInfoSize), static_cast<int>(length), eventId, program.sourceId, unicode_mode, text);
    return true;
}
