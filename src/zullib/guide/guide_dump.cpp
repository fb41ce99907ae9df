// DUMPEIT: the whole guide in the log. It is copied piece by piece under the store's lock and logged outside it.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "core/broadcasttime.h"
#include "core/log.h"
#include "guide/tunermanager.h"

namespace {

constexpr std::size_t kLongNameShown = 12;
constexpr std::size_t kLongInfoShown = 8;
constexpr std::size_t kEventsAtOnce = 64;

/// The first `Size` bytes of a text, padded with zeros.
template <std::size_t Size>
std::array<unsigned char, Size> FirstBytes(const char* text, std::size_t length) {
    std::array<unsigned char, Size> bytes{};
    std::memcpy(bytes.data(), text, std::min(length, Size));
    return bytes;
}

template <std::size_t Size>
std::array<unsigned char, Size> Blanks() {
    std::array<unsigned char, Size> bytes;
    bytes.fill(' ');
    return bytes;
}

struct ProgrammeLine {
    explicit ProgrammeLine(ScalProgramDesc& from)
        : program(&from),
          channel(static_cast<unsigned>(from.channelId)),
          transportId(from.transportId),
          programId(from.programId),
          shortName(FirstBytes<ScalProgramDesc::kNameBytes>(from.channelShortName, ScalProgramDesc::kNameBytes)) {}

    ScalProgramDesc* program;
    unsigned channel, transportId, programId;
    std::array<unsigned char, ScalProgramDesc::kNameBytes> shortName;
    std::array<unsigned char, kLongNameShown> longName{};
};

struct EventLine {
    std::uint32_t id, source, start, duration;
    char title[sizeof Event::titleShort];
    std::array<unsigned char, kLongInfoShown> longInfo;
};

void Log(const ProgrammeLine& line) {
    const auto& name = line.shortName;
    const auto& longName = line.longName;
    LOG("Ch id 0x%x, sh name %c%c%c%c%c, tr id %.4x pr id %.4x long name %c%c%c%c%c%c \n", line.channel, name[1],
        name[3], name[5], name[7], name[9], line.transportId, line.programId, longName[1], longName[3], longName[5],
        longName[7], longName[9], longName[11]);
}

void Log(const EventLine& line) {
    char start[Time::kDateTimeSize];
    LOG("EvId %d (src %d), startTime %s, duration %d, title %s\n", static_cast<int>(line.id),
        static_cast<int>(line.source), Time::Self()->GetMjdDateTime(line.start, start),
        static_cast<int>(line.duration / 60), line.title);
    const auto& info = line.longInfo;
    LOG("Long info %x %x %x %x %x %x %x %x\n", info[0], info[1], info[2], info[3], info[4], info[5], info[6], info[7]);
}

/// A dump in progress. A programme or event without a text shows the text seen last.
struct GuideDump {
    std::uint32_t generation = 0;  ///< of the store that the programmes belong to
    std::vector<ProgrammeLine> programmes;
    std::vector<EventLine> events;  ///< at most kEventsAtOnce
    std::array<unsigned char, kLongInfoShown> lastLongInfo = Blanks<kLongInfoShown>();
};

/// Copies the events after those copied before, few enough at a time that the stream hardly waits.
/// \return false when none is left or a scan has emptied the store
bool CopyNextEvents(ProgrammeStore& store, GuideDump& dump, ScalProgramDesc& program, bool fromFront) {
    dump.events.clear();
    store.IfStill(dump.generation, [&] {
        SList<Event>& events = program.mEvents;
        while (dump.events.size() < kEventsAtOnce) {
            const Event* const event =
                fromFront ? events.begin(ScalProgramDesc::kDumpCursor) : events.next(ScalProgramDesc::kDumpCursor);
            if (event == nullptr) break;
            fromFront = false;
            if (event->pLongInfo) {
                dump.lastLongInfo = FirstBytes<kLongInfoShown>(event->pLongInfo.get(), event->longInfoSize);
            }
            EventLine& line = dump.events.emplace_back();
            line = {event->eventId, event->sourceId, event->startTime, event->duration, "", dump.lastLongInfo};
            std::memcpy(line.title, event->titleShort, sizeof line.title);
        }
    });
    return !dump.events.empty();
}

}  // namespace

void TunerManager::DumpEitInfo() {
    if (!LogIsWanted()) return;
    char now[Time::kDateTimeSize];
    LOG("\n === Now is %s\n", Time::Self()->GetMjdDateTime(0, now));
    GuideDump dump;
    auto lastLongName = Blanks<kLongNameShown>();
    dump.generation = mStore.VisitAll([&](ScalProgramDesc& program) {
        if (program.channelLongName) {
            lastLongName = FirstBytes<kLongNameShown>(program.channelLongName.get(), program.channelLongNameSize);
        }
        dump.programmes.emplace_back(program).longName = lastLongName;
    });
    for (const ProgrammeLine& line : dump.programmes) {
        Log(line);
        for (bool fromFront = true; CopyNextEvents(mStore, dump, *line.program, fromFront); fromFront = false) {
            for (const EventLine& event : dump.events) Log(event);
        }
        LOG("\n");
    }
}
