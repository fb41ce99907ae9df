// The guide as a master sees it: events from EIT and ETT, the replies to the three queries, and the
// index of the events, compared with walks of their list.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "guide/eventindex.h"
#include "guide/programme.h"
#include "guide_fixture.h"

namespace {

constexpr std::uint16_t kProgram = 0x3c4d;
constexpr std::uint16_t kSource = 9;
constexpr std::uint32_t kOffset = 18;  ///< seconds between GPS and UTC
constexpr std::uint32_t kDay = 0xd3a4;
constexpr std::uint32_t kMidnight = (kDay - 44244) * 86400 + kOffset;

class Guide : public GuideTest {
 protected:
    Guide() { Fill(); }

    void Fill() {
        Tune(17);
        AddProgramme(0x1a2b, kProgram, kSource);
        SetNow(kMidnight);
    }

    void SetNow(std::uint32_t time) { Time::Self()->SetTime(time, kOffset, 0); }

    /// \return the titles of a reply, each followed by a blank, then the rest of the reply
    static std::string Titles(const std::string& reply) {
        std::string titles;
        std::size_t at = 0;
        while (reply.compare(at, 5, "EITI ") == 0 && reply.compare(at, 9, "EITI OK\r\n") != 0) {
            const std::size_t open = reply.find('[', at), close = reply.find("]L", open);
            titles += reply.substr(open + 1, close - open - 1) + ' ';
            at = reply.find("]\r\n", close) + 3;
        }
        return titles + reply.substr(at);
    }
};

constexpr const char* kNothing = "EITI OK\r\n";

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

TEST_F(Guide, ShowsAnEventAsTheProtocolHasIt) {
    EXPECT_EQ(Epg('i', kProgram, kDay, 1930), kNothing);
    EXPECT_TRUE(SetEvent(kSource, 5, kMidnight + 70200, 36900, "News"));
    EXPECT_EQ(Epg('i', kProgram, kDay, 1930), "EITI d3a4 1930 1015 S4,00[News]L0,00[]\r\nOK\r\n");
    EXPECT_EQ(Epg('i', kProgram, kDay, 1929), kNothing);
    EXPECT_EQ(Epg('i', kProgram + 1, kDay, 1930), kNothing);
    EXPECT_EQ(Epg('i', kProgram, kDay + 1, 545), "EITI d3a4 1930 1015 S4,00[News]L0,00[]\r\nOK\r\n")
        << "its last second";
    EXPECT_EQ(Epg('i', kProgram, kDay + 1, 546), kNothing);
    Tune(16);
    EXPECT_EQ(Epg('i', kProgram, kDay, 1930), kNothing) << "the guide is that of the channel";
    Tune(17);
    EXPECT_TRUE(SetEvent(kSource, 5, kMidnight, 60, "Late News"));
    EXPECT_EQ(Epg('i', kProgram, kDay, 0), "EITI d3a4 0000 0001 S9,00[Late News]L0,00[]\r\nOK\r\n")
        << "set anew in its place";
    EXPECT_EQ(Epg('i', kProgram, kDay, 1930), kNothing);
    EXPECT_FALSE(SetEvent(kSource + 1, 5, kMidnight, 60, "x")) << "no such source";
    EXPECT_FALSE(SetText(kSource + 1, 5, "x"));
}

TEST_F(Guide, NowAndNextTakeBothEndsAndTheFirstArrival) {
    const struct {
        const char* title;
        std::uint32_t start, seconds;
    } events[] = {{"A", kMidnight, 600},        {"B", kMidnight + 601, 599}, {"C", kMidnight + 2000, 100},
                  {"D", kMidnight + 1100, 200}, {"G", kMidnight + 2102, 10}, {"F", 0xFFFFFF00, 0x1000},
                  {"E", 0xFFFFFF00, 0xFF}};
    std::uint16_t id = 0;
    for (const auto& event : events) SetEvent(kSource, ++id, event.start, event.seconds, event.title);
    SetText(kSource, ++id, "a text whose EIT hasn't come");
    const struct {
        std::uint32_t now;
        const char* titles;
    } rows[] = {{kMidnight - 1, kNothing},        {kMidnight, "A B OK\r\n"},
                {kMidnight + 600, "A B OK\r\n"},  {kMidnight + 601, "B D OK\r\n"},
                {kMidnight + 1099, "B D OK\r\n"}, {kMidnight + 1200, "B D OK\r\n"},
                {kMidnight + 1201, "D OK\r\n"},   {kMidnight + 1300, "D OK\r\n"},
                {kMidnight + 1301, kNothing},     {kMidnight + 2000, "C OK\r\n"},
                {kMidnight + 2101, kNothing},     {0xFFFFFEFF, kNothing},
                {0xFFFFFFFF, "E OK\r\n"},         {0, kNothing}};
    for (const auto& row : rows) {
        SetNow(row.now);
        EXPECT_EQ(Titles(Epg('n', kProgram)), row.titles) << row.now - kMidnight;
    }
}

TEST_F(Guide, ShowsTextsByTheirMode) {
    const std::string full(128, 't');
    const std::string text1023(1023, 'l');
    const struct {
        std::string what, title;
        std::uint8_t titleMode;
        std::string text;
        std::uint8_t textMode;
        std::string shown;
    } rows[] = {
        {"plain", "News", 0, "All of it", 0, "S4,00[News]L9,00[All of it]"},
        {"no title", "", 0, "", 0, "S0,00[]L0,00[]"},
        {"a counted terminator", std::string("News\0", 5), 0, std::string("Text\0", 5), 0, "S4,00[News]L4,00[Text]"},
        {"a terminator in the middle", std::string("Ne\0ws", 5), 0, std::string("Te\0xt", 5), 0, "S2,00[Ne]L2,00[Te]"},
        {"controls", "\x01\x1f\r\n\x7f\x80\xff", 0, "\x01", 0, "S7,00[**\r\n\x7f\x80\xff]L1,00[\x01]"},
        {"128 bytes", full, 0, "", 0, "S128,00[" + full + "]L0,00[]"},
        {"129 bytes", full + "x", 0, text1023, 0, "S128,00[" + full + "]L1023,00[" + text1023 + "]"},
        {"other modes", std::string("\x04\x41\x80\0\xff", 5), 0x3f, std::string("\0\x80", 2), 0xff,
         "S5,3f[2a 41 80 00 00]L2,ff[00 80]"},
    };
    for (const auto& row : rows) {
        Begin('T');
        Fill();
        constexpr std::uint16_t kLastId = 0x3FFF;
        SetEvent(kSource, kLastId, kMidnight, 60, row.title, row.titleMode);
        if (!row.text.empty()) SetText(kSource, kLastId, row.text, row.textMode);
        EXPECT_EQ(Epg('n', kProgram), "EITI d3a4 0000 0001 " + row.shown + "\r\nOK\r\n") << row.what;
    }
}

TEST_F(Guide, KeepsTheTextsThatAnUpdateDoesNotTouch) {
    const auto shown = [&] {
        const std::string reply = Epg('n', kProgram);
        return reply.substr(20, reply.size() - 20 - 6);
    };
    EXPECT_TRUE(SetText(kSource, 5, "abcdef", 1)) << "the text may come first";
    SetEvent(kSource, 5, kMidnight, 60, "T");
    const struct {
        const char* what;
        std::string text;
        std::uint8_t mode;
        const char* shown;
    } rows[] = {{"longer", "abcdefgh", 1, "S1,00[T]L8,01[61 62 63 64 65 66 67 68]"},
                {"shorter: the buffer stays with its tail", "xyz", 1, "S1,00[T]L8,01[78 79 7a 00 65 66 67 68]"},
                {"plain ends at its terminator", "xy", 0, "S1,00[T]L2,00[xy]"},
                {"empty", "", 0, "S1,00[T]L0,00[]"}};
    for (const auto& row : rows) {
        EXPECT_TRUE(SetText(kSource, 5, row.text, row.mode)) << row.what;
        EXPECT_EQ(shown(), row.shown) << row.what;
    }
    SetEvent(kSource, 5, kMidnight, 120, "", 7);
    EXPECT_EQ(shown(), "S0,00[]L0,00[]") << "an empty title leaves the mode";
    SetEvent(kSource, 6, kMidnight, 120, "");
    EXPECT_TRUE(SetText(kSource, 6, "", 9)) << "a text of no bytes has no buffer";
    EXPECT_TRUE(SetText(kSource, 0, "")) << "nor has the channel's";
    EXPECT_FALSE(SetText(kSource, 0, "second")) << "whose first text stays";
    EXPECT_EQ(shown(), "S0,00[]L0,00[]");
}

TEST_F(Guide, RefusesParametersOfAnotherQuery) {
    SetEvent(kSource, 5, kMidnight, 60, "News");
    const struct {
        char type;
        std::uint32_t date, time, minutes;
    } rows[] = {{'i', 0, 1200, 0}, {'i', kDay, 0, 1}, {'n', kDay, 0, 0}, {'n', 0, 1, 0}, {'n', 0, 0, 1},
                {'l', 0, 0, 0},    {'l', kDay, 0, 9}, {'l', 0, 1, 9},    {'x', 0, 0, 0}, {'\0', 0, 0, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(Epg(row.type, kProgram, row.date, row.time, row.minutes), "[KO\r\n]") << row.type << ' ' << row.date;
    }
    EXPECT_EQ(Epg('n', kProgram), "EITI d3a4 0000 0001 S4,00[News]L0,00[]\r\nOK\r\n") << "no reply was left behind";
}

TEST_F(Guide, ListsUntilTheSpanHasPassed) {
    std::uint32_t start = kMidnight;
    std::uint16_t id = 0;
    for (const char* const title : {"A", "B", "C", "D"}) {
        SetEvent(kSource, ++id, start, 1799, title);
        start += 1800;
    }
    SetEvent(kSource, ++id, start + 60, 1799, "after a gap");
    const struct {
        std::uint32_t now, minutes;
        const char* titles;
    } rows[] = {{0, 1, "A OK\r\n"},      {0, 28, "A OK\r\n"},
                {0, 29, "A B OK\r\n"},   {0, 57, "A B OK\r\n"},
                {0, 58, "A B C OK\r\n"}, {1799, 1, "A OK\r\n"},
                {1800, 1, "B OK\r\n"},   {0, 9999, "A B C D OK\r\n"},
                {7200, 60, kNothing},    {7260, 60, "after a gap OK\r\n"}};
    for (const auto& row : rows) {
        SetNow(kMidnight + row.now);
        EXPECT_EQ(Titles(Epg('l', kProgram, 0, 0, row.minutes)), row.titles) << row.now << ' ' << row.minutes;
    }
}

TEST_F(Guide, ListingsStayInTheBufferAndEndInWholeLines) {
    // Events of 0 minutes never exceed the span, so the buffer ends the listing.
    for (const std::size_t titleSize : {0u, 4u, 25u, 128u}) {
        Begin('T');
        Fill();
        std::string expected;
        const std::string title(titleSize, 't');
        for (std::uint16_t id = 0; id < 600; ++id) {
            SetEvent(kSource, id, kMidnight + id * 2u, 1, title);
            if (TunerManager::kReplySize - expected.size() < 512) continue;
            const std::string minute = std::to_string(100 + id * 2 / 60).substr(1);
            expected +=
                "EITI d3a4 00" + minute + " 0000 S" + std::to_string(titleSize) + ",00[" + title + "]L0,00[]\r\n";
        }
        EXPECT_EQ(Epg('l', kProgram, 0, 0, 60), expected + "OK\r\n") << titleSize;
    }
    // A line in hexadecimal can be longer than the reserve and is then left out. Three of 2727 bytes leave room for
    // the end.
    for (const auto& [bytes, lines] : {std::pair{800u, 3u}, {895u, 3u}, {896u, 2u}, {1023u, 2u}}) {
        Begin('T');
        Fill();
        for (std::uint16_t id = 1; id <= 5; ++id) {
            SetEvent(kSource, id, kMidnight + id * 100u, 99, "title");
            SetText(kSource, id, std::string(bytes, 'x'), 1);
        }
        SetNow(kMidnight + 100);
        const std::string reply = Epg('l', kProgram, 0, 0, 60);
        EXPECT_LE(reply.size(), TunerManager::kReplySize);
        std::string expected;
        for (unsigned line = 0; line < lines; ++line) expected += "title ";
        EXPECT_EQ(Titles(reply), expected + "OK\r\n") << bytes;
    }
}

TEST(EventIndex, FindsWhatTheWalkFinds) {
    for (const Broadcast& broadcast : kBroadcasts) CompareWithTheWalk(broadcast);
}
