// The guide's three queries: the event at a moment, now and next, and a listing from now.
#include <cstring>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "core/replytext.h"
#include "guide/tunermanager.h"

namespace {

constexpr char kEnd[] = "OK\r\n";
constexpr std::size_t kEndSize = sizeof kEnd - 1;
constexpr std::size_t kReserve = 512;  ///< a listing ends when fewer bytes are left

/// A text of an event, as a line shows it.
struct ShownText {
    const char* bytes;
    std::uint32_t length;  ///< as stored
    std::uint8_t mode;     ///< 0: plain text
    const char* lengthName;
};

/// Adds "length,mode[text": plain text as it is, other modes in hexadecimal.
bool AddText(ReplyText& line, const char* mark, const ShownText& text) {
    if (text.mode == 0) {
        const std::size_t real_length = std::strlen(text.bytes);
        if (real_length != text.length) {
            LOG("FormatEvent: real_length %d != itev->%s %d !!!\n", static_cast<int>(real_length), text.lengthName,
                static_cast<int>(text.length));
        }
        return line.Add("%s%d,%.2x[%s", mark, static_cast<int>(real_length), text.mode, text.bytes);
    }
    bool whole = line.Add("%s%d,%.2x[", mark, static_cast<int>(text.length), text.mode);
    for (std::uint32_t i = 0; i < text.length && whole; ++i) {
        whole = line.Add(i == 0 ? "%.2x" : " %.2x", static_cast<unsigned char>(text.bytes[i]));
    }
    return whole;
}

/// Adds the line of an event. \return false when it doesn't fit; nothing is added then
bool FormatEvent(ReplyText& reply, const Event& event) {
    const std::size_t before = reply.Length();
    char start[Time::kDateTimeSize];
    const ShownText title{event.titleShort, event.titleLen, event.unicodeModeForTitleShort, "titleLen"};
    const ShownText longInfo = event.pLongInfo ? ShownText{event.pLongInfo.get(), event.longInfoSize,
                                                           event.unicodeModeForLongInfo, "longInfoSize"}
                                               : ShownText{"", 0, 0, "longInfoSize"};
    const bool whole = reply.Add("EITI %s %.4u ", Time::Self()->GetMjdDateTime(event.startTime, start),
                                 Time::GetMjdDuration(event.duration)) &&
                       AddText(reply, "S", title) && reply.Add("]") && AddText(reply, "L", longInfo) &&
                       reply.Add("]\r\n");
    if (!whole) reply.CutTo(before);
    return whole;
}

/// Checks that a query has the parameters of its type and no others. \return what is wrong with it, or null
const char* WhatIsWrong(std::uint32_t date, std::uint32_t time, std::uint32_t timeFrame, char cmdType) {
    switch (cmdType) {
        case 'i': return date != 0 && timeFrame == 0 ? nullptr : "Bad params for i\n";
        case 'n': return date == 0 && time == 0 && timeFrame == 0 ? nullptr : "Bad params for n\n";
        case 'l': return date == 0 && time == 0 && timeFrame != 0 ? nullptr : "Bad params for l\n";
        default: return "Invalid command recvd";
    }
}

/// \return the event playing one second after another's end, or null
const Event* NextEvent(const ScalProgramDesc& program, const Event& event) {
    return program.mEventIndex.FindEventPlayingAtDtime(event.startTime + event.duration + 1);
}

const Event* PlayingNow(const ScalProgramDesc& program) {
    return program.mEventIndex.FindEventPlayingAtDtime(Time::Self()->GetSystemTime());
}

/// \return false when the programme has no event at that moment
bool QueryMoment(ReplyText& reply, const ScalProgramDesc& program, std::uint32_t moment) {
    const Event* const event = program.mEventIndex.FindEventPlayingAtDtime(moment);
    if (event == nullptr) return false;
    FormatEvent(reply, *event);
    return true;
}

void QueryNowAndNext(ReplyText& reply, const ScalProgramDesc& program) {
    const Event* const now = PlayingNow(program);
    if (now == nullptr) return;
    FormatEvent(reply, *now);
    const Event* const next = NextEvent(program, *now);
    if (next != nullptr) FormatEvent(reply, *next);
}

/// \param timeFrame  minutes; the listing ends with the event whose duration brings the sum above it
/// \return false when the listing ended for lack of room
bool QueryListing(ReplyText& reply, const ScalProgramDesc& program, std::uint32_t timeFrame) {
    std::uint32_t minutes = 0;
    for (const Event* event = PlayingNow(program); event != nullptr && minutes <= timeFrame;) {
        if (!FormatEvent(reply, *event)) return false;
        minutes += event->duration / 60;
        event = NextEvent(program, *event);
        if (TunerManager::kReplySize - reply.Length() < kReserve) return false;
    }
    return true;
}

}  // namespace

char* TunerManager::ProcessEpgData(char* buffer, std::uint16_t transportId, std::uint16_t programId, std::uint32_t date,
                                   std::uint32_t time, std::uint32_t timeFrame, char cmdType) {
    static char ko[] = "KO\r\n";
    const Time* const pTime = Time::Self();
    LOG("ProcessEpgData: trid %x, progid %x, date %x, time %d, timeFrame %x, cmdType %c, now is %s (0x%x)\n",
        transportId, programId, date, static_cast<int>(time), timeFrame, cmdType, pTime->GetMjdDateTime(0, nullptr),
        pTime->GetSystemTime());
    if (const char* const wrong = WhatIsWrong(date, time, timeFrame, cmdType)) {
        if (cmdType == 'i' || cmdType == 'n' || cmdType == 'l') {
            PANIC("%s", wrong);
        } else {
            PANIC("Invalid command recvd %c", cmdType);
        }
        return ko;
    }
    ReplyText reply(buffer, kReplySize - kEndSize);
    bool whole = true;
    mStore.VisitCurrent([&](const ScalProgramDesc& program) {
        if (program.programId != programId) return true;
        switch (cmdType) {
            case 'i':
                // Another programme with the same number may have an event at that moment.
                return !QueryMoment(reply, program, pTime->MjdToSystem(date, time));
            case 'n': QueryNowAndNext(reply, program); return false;
            default: whole = QueryListing(reply, program, timeFrame); return false;
        }
    });
    if (!whole) PANIC("Buffer too small for EPG");
    if (reply.Length() == 0) reply.Add("EITI ");
    std::memcpy(buffer + reply.Length(), kEnd, sizeof kEnd);
    LOG("\n%s\n\n", buffer);
    mPeer.Send({buffer, reply.Length() + kEndSize});
    return nullptr;
}
