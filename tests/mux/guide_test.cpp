// The guide's tables: which window of three hours has which events, and what changes when one is cancelled.
#include <gtest/gtest.h>

#include "mux/guide.h"
#include "ucsi.h"

namespace {

constexpr std::int64_t kHour = 3600;

// A stream that begins one hour into a window.
mux::Description MakeDescription(std::vector<mux::GuideEvent> events) {
    mux::Description description;
    description.start = 1'456'002'000 + 18 + kHour;
    description.programmes.push_back({.number = 1, .sourceId = 7, .events = std::move(events)});
    return description;
}

// Events of all sections of a table, as "id:title" in their order.
std::string EventsOf(const std::vector<mux::Section>& sections) {
    std::string all;
    for (const mux::Section& bytes : sections) {
        const UcsiSection section(bytes);
        auto* const eit = section.As(atsc_eit_section_codec);
        if (eit == nullptr) return "refused";
        atsc_eit_event* event = nullptr;
        int i = 0;
        atsc_eit_section_events_for_each(eit, event, i) {
            all += std::to_string(event->event_id) + ":" +
                   UcsiText(atsc_eit_event_name_title_text(event), event->title_length) + " ";
        }
    }
    return all;
}

TEST(Guide, EventsStandInEveryWindowThatTheyTouch) {
    const auto guide = mux::MakeGuide(MakeDescription({
        {.id = 9, .start = 2 * kHour, .seconds = 3 * kHour, .title = {{.text = "Next window, to its end"}}},
        {.id = 1, .start = -2 * kHour, .seconds = kHour, .title = {{.text = "Ends as the first window begins"}}},
        {.id = 2, .start = -2 * kHour, .seconds = kHour + 1, .title = {{.text = "Ends in it"}}},
        {.id = 3, .start = kHour, .seconds = 5 * kHour, .title = {{.text = "Over three"}}},
        {.id = 4, .start = kHour, .seconds = kHour, .title = {{.text = "Beside it"}}},
        {.id = 5, .start = 2 * kHour, .seconds = 0},
    }));
    ASSERT_EQ(guide.size(), 1u);
    const std::string kExpected[] = {"2:eng:Ends in it 3:eng:Over three 4:eng:Beside it ",
                                     "3:eng:Over three 9:eng:Next window, to its end 5: ", "3:eng:Over three ", ""};
    ASSERT_EQ(guide[0].windows.size(), std::size(kExpected));
    for (std::size_t k = 0; k < std::size(kExpected); ++k)
        EXPECT_EQ(EventsOf(guide[0].windows[k].eit), kExpected[k]) << k;
}

TEST(Guide, ReachesAtMost128Windows) {
    std::vector<mux::GuideEvent> events;
    for (std::uint16_t id = 1; id <= 1000; ++id)
        events.push_back({.id = id, .start = id * kHour, .seconds = 3600, .text = {{.text = "x"}}});
    const auto guide = mux::MakeGuide(MakeDescription(std::move(events)));
    ASSERT_EQ(guide[0].windows.size(), 128u);
    EXPECT_EQ(EventsOf(guide[0].windows[127].eit), "380: 381: 382: ");
    EXPECT_EQ(guide[0].windows[127].ett.size(), 3u);
    EXPECT_TRUE(mux::MakeGuide(MakeDescription({})).empty());
}

TEST(Guide, CancellationChangesItsOwnWindowsOnly) {
    auto description = MakeDescription({
        {.id = 1, .start = 0, .text = {{.text = "a"}}},
        {.id = 2, .start = kHour, .seconds = 7200, .text = {{.text = "b"}}, .cancelled = 500},
        {.id = 3, .start = 6 * kHour, .text = {{.text = "c"}}, .cancelled = 900},
        {.id = 4, .start = 9 * kHour, .cancelled = 500},
    });
    description.version = 31;
    const auto guide = mux::MakeGuide(description);
    const struct {
        std::uint32_t from;
        std::string events[4];
        std::vector<std::uint8_t> versions;
        std::size_t texts;
    } kExpected[] = {
        {0, {"1: 2: ", "2: ", "3: ", "4: "}, {31, 31, 31, 31}, 4},
        {500, {"1: ", "", "3: ", ""}, {0, 0, 31, 0}, 2},
        {900, {"1: ", "", "", ""}, {0, 0, 0, 0}, 1},
    };
    ASSERT_EQ(guide.size(), std::size(kExpected));
    for (std::size_t i = 0; i < guide.size(); ++i) {
        EXPECT_EQ(guide[i].from, kExpected[i].from);
        EXPECT_EQ(guide[i].versions, kExpected[i].versions);
        std::size_t texts = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            EXPECT_EQ(EventsOf(guide[i].windows[k].eit), kExpected[i].events[k]) << i << ", window " << k;
            texts += guide[i].windows[k].ett.size();
            EXPECT_EQ(UcsiSection(guide[i].windows[k].eit[0]).Head()->ext_head.version_number, guide[i].versions[k]);
        }
        EXPECT_EQ(texts, kExpected[i].texts);
    }
}

}  // namespace
