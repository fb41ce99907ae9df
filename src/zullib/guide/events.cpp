// Guide events: EIT and ETT are filed under the programme with their source_id.
#include <cstring>
#include <new>
#include <utility>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "guide/programmestore.h"

namespace {

constexpr std::uint32_t kTextReserve = 4;  ///< bytes of a text's buffer after the text

/// Replaces control characters by '*', except for zero bytes, CR and LF.
void ReplaceControls(char* text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 && c != '\0' && c != '\r' && c != '\n') text[i] = '*';
    }
}

/// \return a zeroed buffer for a text, or null when out of memory
std::unique_ptr<char[]> MakeText(std::uint32_t length) {
    return std::unique_ptr<char[]>(new (std::nothrow) char[length + kTextReserve]());
}

/// Copies bytes. \return whether they differ from those overwritten
bool Replace(void* to, const void* from, std::size_t size) {
    if (std::memcmp(to, from, size) == 0) return false;
    std::memcpy(to, from, size);
    return true;
}

/// Stores a title; an empty one leaves the mode as it was. \return whether anything changed
bool SetTitle(Event& event, char* text, std::uint32_t length, std::uint8_t mode) {
    if (length > Event::kTitleSize) {
        PANIC("Tilte too long... (%d)", static_cast<int>(length));
        length = Event::kTitleSize;
    }
    char title[Event::kTitleSize + 1] = "";
    if (length == 0) {
        mode = event.unicodeModeForTitleShort;
    } else {
        ReplaceControls(text, length);
        std::memcpy(title, text, strnlen(text, length));
    }
    bool changed = Replace(event.titleShort, title, length + 1);
    changed |= std::exchange(event.titleLen, length) != length;
    changed |= std::exchange(event.unicodeModeForTitleShort, mode) != mode;
    return changed;
}

}  // namespace

/// Finds or creates an event, with room for `textLen` bytes of long text unless memory runs out.
Event* ProgrammeStore::GetEvent(ScalProgramDesc& program, std::uint32_t textLen, std::uint16_t eventId) {
    Event* event = program.mEventIndex.FindId(eventId);
    if (event == nullptr) {
        auto made = std::make_unique<Event>();
        made->eventId = eventId;
        program.mEventIndex.MakeRoom(eventId);
        program.mEvents.push_back(made.get());
        event = made.release();
        program.mEventIndex.Append(event);
        CountGuideChange();
    }
    if (textLen > event->longInfoSize) {
        event->pLongInfo = MakeText(textLen);
        event->longInfoSize = event->pLongInfo ? textLen : 0;
        CountGuideChange();
    }
    return event;
}

/// \return the first programme of the current channel with this source, or null
ScalProgramDesc* ProgrammeStore::FindSource(std::uint16_t sourceId) {
    for (ScalProgramDesc& program : CurrentList()) {
        if (program.sourceId == sourceId) return &program;
    }
    return nullptr;
}

bool ProgrammeStore::SetEventInfoForProgram(std::uint16_t sourceId, std::uint16_t eventId, std::uint32_t startTime,
                                            std::uint32_t lengthInSecs, std::uint8_t titleLen, char* titleText,
                                            std::uint8_t unicode_mode) {
    const platform::MutexLock lock(mMutex);
    ScalProgramDesc* const program = FindSource(sourceId);
    if (program == nullptr) return false;
    Event* const event = GetEvent(*program, 0, eventId);
    event->channelId = static_cast<std::uint32_t>(CurrentChannel());
    event->eventId = eventId;
    event->sourceId = sourceId;
    if (!event->eitWasSet || event->startTime != startTime || event->duration != lengthInSecs) {
        CountGuideChange();  // first, as the index may run out of memory half-way
        // Unset meanwhile: if the index runs out of memory and throws, the next repetition files the event again.
        const bool wasSet = std::exchange(event->eitWasSet, false);
        program->mEventIndex.SetTime(*event, startTime, lengthInSecs);
        event->eitWasSet = wasSet;
    }
    if (SetTitle(*event, titleText, titleLen, unicode_mode)) CountGuideChange();
    if (event->eitWasSet) return true;
    event->eitWasSet = true;
    char start[Time::kDateTimeSize];
    LOG("SetEventInfo chanId %d evId %d srcId %d startTime %s duration %d titleShort %s (%d), Unimode 0x%x\n",
        CurrentChannel(), eventId, sourceId, Time::Self()->GetMjdDateTime(startTime, start),
        static_cast<int>(lengthInSecs), event->titleShort, static_cast<int>(event->titleLen), unicode_mode);
    return true;
}

bool ProgrammeStore::SetExtendedText(std::uint16_t etmIdHi, std::uint16_t etmIdLo, const char* text,
                                     std::uint32_t length, std::uint8_t unicode_mode) {
    const platform::MutexLock lock(mMutex);
    const auto event_id = static_cast<std::uint16_t>(etmIdLo >> 2);
    for (ScalProgramDesc& program : CurrentList()) {
        if (program.sourceId != etmIdHi) continue;
        if (event_id != 0) return SetEventText(program, event_id, text, length, unicode_mode);
        if (program.channelLongName) continue;  // a channel's first text stays
        program.channelLongName = MakeText(length);
        CountGuideChange();
        if (!program.channelLongName) return false;
        program.channelLongNameSize = length;
        std::memcpy(program.channelLongName.get(), text, length);
        if (length > 0) program.channelLongName[length - 1] = '\0';
        program.unicodeModeForLongName = unicode_mode;
        return true;
    }
    return false;
}

bool ProgrammeStore::SetEventText(ScalProgramDesc& program, std::uint16_t eventId, const char* text,
                                  std::uint32_t length, std::uint8_t unicode_mode) {
    Event* const event = GetEvent(program, length, eventId);
    if (event->longInfoSize < length) {
        PANIC("longInfoSize %d, length %d\n", static_cast<int>(event->longInfoSize), static_cast<int>(length));
        return false;
    }
    bool changed = !event->ettWasSet;
    if (event->pLongInfo) {
        changed |= Replace(event->pLongInfo.get(), text, length);
        changed |= std::exchange(event->pLongInfo[length], '\0') != '\0';
    }
    changed |= std::exchange(event->unicodeModeForLongInfo, unicode_mode) != unicode_mode;
    if (changed) CountGuideChange();
    if (event->ettWasSet) return true;
    event->ettWasSet = true;
    LOG("SetExtendedText at %x (len %d) len %d for ev_id %x, src_id %x unicode 0x%x: %s\n",
        static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(event->pLongInfo.get())),
        static_cast<int>(event->longInfoSize), static_cast<int>(length), eventId, program.sourceId, unicode_mode,
        event->pLongInfo ? event->pLongInfo.get() : "");
    return true;
}
