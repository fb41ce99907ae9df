// Descriptions in JSON, and the errors for invalid ones.
#include <gtest/gtest.h>

#include "mux/description_json.h"
#include "mux/multiplexer.h"

namespace {

const std::string kHead = R"({"start": "2026-03-01T18:00:00Z", "programmes": [{"name": "A", "channel": "7.1")";

std::string ErrorOf(const std::string& json) {
    try {
        mux::ParseDescription(json);
        return "none";
    } catch (const std::exception& error) {
        return error.what();
    }
}

TEST(Description, NamesTheWrongKeyAndWhatWasExpected) {
    const struct {
        std::string json;
        std::string error;
    } kCases[] = {
        {kHead + "}]}", "none"},
        {"[]", "an object was expected, not []"},
        {"{", "parse error"},
        {R"({"rate": 99999})", "rate: a number from 100000 to 200000000 was expected, not 99999"},
        {R"({"ratte": 5})", "ratte: there is no such key"},
        {R"({"vct": "air"})", "vct: one of \"terrestrial\", \"cable\" was expected, not \"air\""},
        {R"({"daylight_saving": 1})", "(/daylight_saving) type must be boolean, but is number"},
        {R"({"programmes": {}})", "(/programmes)"},
        {R"({"programmes": [{"channel": "7.1"}]})", "(/programmes/0) key 'name' not found"},
        {R"({"programmes": [{"name": "A", "channel": "7.1x"}]})", "channel: two numbers up to 1023"},
        {kHead + R"(, "pmt_pid": 8192}]})", "pmt_pid: a number from 16 to 8190 was expected, not 8192"},
        {kHead + R"(, "pmt_pid": 8187}]})", "PID 8187: both the PSIP tables and the PMT of programme 1"},
        {kHead + R"(, "video": {"size": "3x3"}}]})", "size: even numbers as in \"704x480\" was expected"},
        {kHead + R"(, "audio": [{}, {"language": "english"}]}]})", "language: three letters was expected"},
        {kHead + R"(, "captions": [{"service": 64}]}]})", "service: a number from 0 to 63 was expected, not 64"},
        {kHead + R"(, "text": 5}]})", "text: a text, an object or an array of objects was expected, not 5"},
        {kHead + R"(, "guide": {"events": [{"start": "soon"}]}}]})", "\"soon\": a moment"},
        {kHead + R"(, "guide": {"rules": [{"from": "+0:00", "minutes": []}]}}]})", "minutes: an array of lengths"},
        {kHead + R"(, "guide": {"events": [{"start": "+0:00", "id": 4}, {"start": "+0:00", "id": 4}]}}]})",
         "event id of programme 1 4: both an event and an event"},
        {kHead + R"(}, {"name": "B", "channel": "7.2", "number": 1}]})",
         "programme number 1: both programme 1 and programme 1"},
        {R"({"start": "2026-02-30T18:00:00Z"})", "\"2026-02-30T18:00:00Z\": a moment as"},
    };
    for (const auto& [json, error] : kCases) {
        const std::string found = ErrorOf(json);
        EXPECT_NE(found.find(error), std::string::npos) << json << ": " << found;
    }
}

TEST(Description, TimesAreGpsSeconds) {
    // 1 March 2026 18:00 UTC is 1772388000 in Unix time; 18 leap seconds since 1980.
    EXPECT_EQ(mux::ParseDescription("{}").start, 1'772'388'000u - 315'964'800u + 18u);
    const auto events = mux::ParseDescription(kHead + R"(, "guide": {"events": [
        {"start": "-0:10"}, {"start": "+26:05", "seconds": 90}, {"start": "2026-03-01T18:00:07Z", "minutes": 2}]}}]})")
                            .programmes[0]
                            .events;
    const std::pair<std::int64_t, std::uint32_t> expected[] = {{-600, 1800}, {26 * 3600 + 300, 90}, {7, 120}};
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(std::pair(events[i].start, events[i].seconds), expected[i]) << i;
}

TEST(Description, RulesMakeDaysOfEvents) {
    const auto events =
        mux::ParseDescription(
            kHead + R"(, "guide": {"events": [{"start": "+0:00", "id": 2}], "rules": [{"from": "-1:00", "hours": 48,
        "minutes": [30, 60], "titles": ["News {n}", {"text": "Kino {day}", "language": "deu"}], "texts": ["A", "B"],
        "text_every": 3, "overlap_every": 4}]}}]})")
            .programmes[0]
            .events;
    ASSERT_EQ(events.size(), 1u + 64u);
    EXPECT_EQ(events[1].id, 1) << "the lowest that is free";
    EXPECT_EQ(events[2].id, 3);
    EXPECT_EQ(events[1].start, -3600);
    EXPECT_EQ(events[2].start, -1800);
    EXPECT_EQ(events[3].title[0].text, "News 3");
    EXPECT_EQ(events[64].title[0].text, "Kino 2");
    EXPECT_EQ(events[64].title[0].language, "deu");
    EXPECT_EQ(events[1].text[0].text, "A");
    EXPECT_TRUE(events[2].text.empty());
    EXPECT_EQ(events[4].text[0].text, "B");
    EXPECT_EQ(events[4].seconds, 5400u) << "runs into its follower";
}

TEST(Description, TheExamplesMakeMultiplexes) {
    for (const std::string name : {"example", "small"}) {
        const auto description = mux::LoadDescription(std::string(ZUL_EXAMPLES) + "/" + name + ".json");
        EXPECT_NO_THROW(mux::MakeMultiplex(description, {.milliseconds = 2'000})) << name;
    }
}

}  // namespace
