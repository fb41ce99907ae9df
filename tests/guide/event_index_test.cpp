// The index of a programme's events, compared with walks of their list.
#include "guide/eventindex.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "guide/programme.h"

namespace {

/// The linear search by id that the index replaces.
Event* WalkForId(SList<Event>& events, std::uint16_t id) {
    Event* event = events.begin(0);
    while (event != nullptr && static_cast<std::uint16_t>(event->eventId) != id) event = events.next(0);
    return event;
}

/// The linear search by time. An event without an EIT isn't found.
Event* WalkForTime(SList<Event>& events, std::uint32_t moment) {
    for (Event* event = events.begin(1); event != nullptr; event = events.next(1)) {
        const std::uint32_t end = event->startTime + event->duration;
        if (event->eitWasSet && event->startTime <= moment && moment <= end) return event;
    }
    return nullptr;
}

/// A kind of guide that a programme may have.
struct Broadcast {
    const char* what;
    std::uint32_t origin, span;  ///< starts are in origin .. origin + span
    std::uint32_t longest;       ///< seconds
    int events;
    unsigned ids;
};

const Broadcast kBroadcasts[] = {
    {"hours in order of their ids", 1000000000, 86400 * 16, 3600, 3000, 0x10000},
    {"all at once", 1000000000, 600, 86400 * 12, 800, 0x4000},
    {"moments, often the same", 1000000000, 300, 2, 800, 0x4000},
    {"few ids, always retimed", 1000000000, 86400, 7200, 3000, 150},
    {"around the end of 32-bit time", 0xFFFFF000, 0x0FFF, 0x2000, 1000, 0x4000},
    {"the start of time, any length", 0, 100, 0xFFFFFFFF, 500, 0x4000},
};

void CompareWithTheWalk(const Broadcast& broadcast) {
    std::mt19937 random(7);
    const auto upTo = [&](std::uint32_t most) {
        return static_cast<std::uint32_t>(random() % (most + std::uint64_t{1}));
    };
    ScalProgramDesc programme;
    SList<Event>& events = programme.mEvents;
    EventIndex& index = programme.mEventIndex;
    std::set<std::uint32_t> moments{0, 1, 0xFFFFFFFF};
    for (int i = 0; i < broadcast.events; ++i) {
        const auto id = static_cast<std::uint16_t>(upTo(broadcast.ids - 1));
        Event* event = WalkForId(events, id);
        ASSERT_EQ(index.FindId(id), event) << broadcast.what << ", id " << id;
        if (event == nullptr) {
            event = new Event;
            event->eventId = id;
            events.push_back(event);
            index.MakeRoom(static_cast<std::uint16_t>(event->eventId));
            index.Append(event);
        }
        if (upTo(9) != 0) {  // some have only a long text so far
            index.SetTime(*event, broadcast.origin + upTo(broadcast.span), upTo(broadcast.longest));
            event->eitWasSet = true;
            const std::uint32_t end = event->startTime + event->duration;
            for (const std::uint32_t edge : {event->startTime, end}) moments.insert({edge - 1, edge, edge + 1});
        }
        const std::uint32_t moment = broadcast.origin + upTo(broadcast.span);
        ASSERT_EQ(index.FindEventPlayingAtDtime(moment), WalkForTime(events, moment))
            << broadcast.what << ", moment " << moment;
    }
    for (const std::uint32_t moment : moments) {
        ASSERT_EQ(index.FindEventPlayingAtDtime(moment), WalkForTime(events, moment))
            << broadcast.what << ", moment " << moment;
    }
}

}  // namespace

TEST(EventIndex, FindsWhatTheWalkFinds) {
    for (const Broadcast& broadcast : kBroadcasts) CompareWithTheWalk(broadcast);
}
