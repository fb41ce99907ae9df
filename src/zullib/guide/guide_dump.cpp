// The whole guide, to the log. It is copied under the lock and logged after it.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "broadcasttime.h"
#include "tunermanager.h"
#include "udpcom.h"

namespace {

constexpr int kDumpCursor = 1;
constexpr std::size_t kLongNameShown = 12;
constexpr std::size_t kLongInfoShown = 8;

/// The first bytes of a text, 0 where it has none.
template <std::size_t Size>
std::array<unsigned char, Size> FirstBytes(const char* text, std::size_t length) {
    std::array<unsigned char, Size> bytes{};
    std::memcpy(bytes.data(), text, std::min(length, Size));
    return bytes;
}

struct DumpedEvent {
    std::uint32_t id, source, start, duration;
    std::string title;
    std::array<unsigned char, kLongInfoShown> longInfo;
};

struct DumpedProgramme {
    unsigned channel, transport, programme;
    std::array<unsigned char, ScalProgramDesc::kNameBytes> shortName;
    std::array<unsigned char, kLongNameShown> longName;
    std::vector<DumpedEvent> events;
};

/// The texts seen last: they stand in for those that a programme or an event doesn't have.
struct LastSeen {
    std::array<unsigned char, kLongNameShown> longName;
    std::array<unsigned char, kLongInfoShown> longInfo;
};

DumpedProgramme Copy(ScalProgramDesc& program, LastSeen& seen) {
    if (program.channelLongName) {
        seen.longName = FirstBytes<kLongNameShown>(program.channelLongName.get(), program.channelLongNameSize);
    }
    DumpedProgramme copy{static_cast<unsigned>(program.channelId),
                         program.transportId,
                         program.programId,
                         FirstBytes<ScalProgramDesc::kNameBytes>(program.channelShortName, ScalProgramDesc::kNameBytes),
                         seen.longName,
                         {}};
    for (const Event* event = program.mEvents.begin(kDumpCursor); event != nullptr; event = program.mEvents.next(kDumpCursor)) {
        if (event->pLongInfo) seen.longInfo = FirstBytes<kLongInfoShown>(event->pLongInfo.get(), event->longInfoSize);
        copy.events.push_back(
            {event->eventId, event->sourceId, event->startTime, event->duration, event->titleShort, seen.longInfo});
    }
    return copy;
}

void Log(const DumpedProgramme& programme) {
    const auto& name = programme.shortName;
    const auto& longName = programme.longName;
    LOG("Ch id 0x%x, sh name %c%c%c%c%c, tr id %.4x pr id %.4x long name %c%c%c%c%c%c \n", programme.channel, name[1], name[3],
        name[5], name[7], name[9], programme.transport, programme.programme, longName[1], longName[3], longName[5],
        longName[7], longName[9], longName[11]);
    for (const DumpedEvent& event : programme.events) {
        char start[Time::kDateTimeSize];
        LOG("EvId %d (src %d), startTime %s, duration %d, title %s\n", static_cast<int>(event.id),
            static_cast<int>(event.source), Time::Self()->GetMjdDateTime(event.start, start),
            static_cast<int>(event.duration / 60), event.title.c_str());
        const auto& info = event.longInfo;
        LOG("Long info %x %x %x %x %x %x %x %x\n", info[0], info[1], info[2], info[3], info[4], info[5], info[6], info[7]);
    }
    LOG("\n");
}

}  // namespace

void TunerManager::DumpEitInfo() {
    if (!LogIsWanted()) return;
    std::vector<DumpedProgramme> programmes;
    {
        const platform::MutexLock lock(mMutex);
        GetChannelProgramsRange();
        LastSeen seen;
        seen.longName.fill(' ');
        seen.longInfo.fill(' ');
        for (ProgramList& list : mScalProgramDescriptors) {
            for (ScalProgramDesc& program : list) programmes.push_back(Copy(program, seen));
        }
    }
    char now[Time::kDateTimeSize];
    LOG("\n === Now is %s\n", Time::Self()->GetMjdDateTime(0, now));
    for (const DumpedProgramme& programme : programmes) Log(programme);
}
