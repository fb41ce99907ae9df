// The guide's tables: which events are in each window of three hours.
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
    const std::string kExpected[] = {"2:eng:Ends in it 3:eng:Over three 4:eng:Beside it ",
                                     "3:eng:Over three 9:eng:Next window, to its end 5: ", "3:eng:Over three ", ""};
    ASSERT_EQ(guide.size(), std::size(kExpected));
    for (std::size_t k = 0; k < std::size(kExpected); ++k) EXPECT_EQ(EventsOf(guide[k].eit), kExpected[k]) << k;
}

TEST(Guide, ReachesAtMost128Windows) {
    std::vector<mux::GuideEvent> events;
    for (std::uint16_t id = 1; id <= 1000; ++id)
        events.push_back({.id = id, .start = id * kHour, .seconds = 3600, .text = {{.text = "x"}}});
    const auto guide = mux::MakeGuide(MakeDescription(std::move(events)));
    ASSERT_EQ(guide.size(), 128u);
    EXPECT_EQ(EventsOf(guide[127].eit), "380: 381: 382: ");
    EXPECT_EQ(guide[127].ett.size(), 3u);
    EXPECT_TRUE(mux::MakeGuide(MakeDescription({})).empty());
}

}  // namespace
