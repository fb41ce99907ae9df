// Tables and texts of the writers: bytes by hand from the standards.
#include <gtest/gtest.h>

#include <algorithm>

#include "common/psi.h"
#include "mux/tables.h"

namespace {

// Bytes from table_id to the CRC_32.
void ExpectBytes(const mux::Section& section, const mux::Octets& expected) {
    ASSERT_EQ(section.size(), expected.size() + 4);
    EXPECT_EQ(mux::Octets(section.begin(), section.end() - 4), expected);
    EXPECT_TRUE(common::CrcIsRight(section));
}

// The first section with that table_id on a PID.
mux::Section Find(const mux::Description& description, std::uint16_t pid, std::uint8_t tableId) {
    for (const mux::Table& table : mux::MakeTables(description, 1000)) {
        for (const mux::Section& section : table.editions[0].sections)
            if (table.pid == pid && section[0] == tableId) return section;
    }
    return {};
}

mux::Text Plain(const std::string& text) { return {{.text = text, .compression = mux::Compression::kNone}}; }

TEST(Writers, BytesAsTheStandardsLayThemOut) {
    mux::Description description{
        .transportStreamId = 0x0811, .start = 0x01020304, .daylightSaving = true, .version = 1};
    description.programmes.push_back({.number = 3,
                                      .pmtPid = 0x30,
                                      .name = "É",
                                      .major = 7,
                                      .minor = 2,
                                      .sourceId = 7,
                                      .carrierFrequency = 0x01020304,
                                      .scrambled = true,
                                      .hidden = true,
                                      .audio = {{0x34, "eng", 3, 192'000}},
                                      .text = Plain("A"),
                                      .events = {{.id = 0x123, .text = Plain("B")}}});
    const mux::Octets vct{0xC8, 0xF0, 0x38, 0x08, 0x11, 0xC3, 0x00, 0x00, 0x00, 0x01, 0x00, 0xC9, 0,    0,
                          0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0xF0, 0x1C, 0x02, 0x04,
                          0x01, 0x02, 0x03, 0x04, 0x08, 0x11, 0x00, 0x03, 0x7D, 0xC3, 0x00, 0x07, 0xFC, 0x0B,
                          0xA1, 0x09, 0xE0, 0x34, 0x01, 0x81, 0xE0, 0x34, 'e',  'n',  'g',  0xFC, 0x00};
    const struct {
        std::uint16_t pid;
        mux::Octets bytes;
    } kCases[] = {
        {0x0000, {0x00, 0xB0, 0x0D, 0x08, 0x11, 0xC3, 0x00, 0x00, 0x00, 0x03, 0xE0, 0x30}},
        {0x0030, {0x02, 0xB0, 0x2A, 0x00, 0x03, 0xC3, 0x00, 0x00, 0xE0, 0x34, 0xF0, 0x06, 0x05, 0x04,
                  'G',  'A',  '9',  '4',  0x81, 0xE0, 0x34, 0xF0, 0x12, 0x0A, 0x04, 'e',  'n',  'g',
                  0x03, 0x81, 0x0A, 0x08, 0x29, 0x05, 0xFF, 0x0F, 0x01, 0xBF, 'e',  'n',  'g'}},
        {0x1FFB, vct},
        {0x1FFB, {0xC7, 0xF0, 0x5B, 0x00, 0x00, 0xC3, 0x00, 0x00, 0x00, 0x00, 0x07,                // MGT of 7 tables
                  0x00, 0x00, 0xFF, 0xFB, 0xE1, 0x00, 0x00, 0x00, 0x3B, 0xF0, 0x00,                // TVCT
                  0x00, 0x04, 0xFD, 0x80, 0xE1, 0x00, 0x00, 0x00, 0x1A, 0xF0, 0x00,                // channel ETT
                  0x01, 0x00, 0xFD, 0x00, 0xE1, 0x00, 0x00, 0x00, 0x1A, 0xF0, 0x00,                // EIT-0
                  0x02, 0x00, 0xFE, 0x00, 0xE1, 0x00, 0x00, 0x00, 0x1A, 0xF0, 0x00,                // ETT-0
                  0x01, 0x01, 0xFD, 0x01, 0xE1, 0x00, 0x00, 0x00, 0x0E, 0xF0, 0x00,                // EIT-1
                  0x01, 0x02, 0xFD, 0x02, 0xE1, 0x00, 0x00, 0x00, 0x0E, 0xF0, 0x00,                // EIT-2
                  0x01, 0x03, 0xFD, 0x03, 0xE1, 0x00, 0x00, 0x00, 0x0E, 0xF0, 0x00, 0xF0, 0x00}},  // EIT-3
        {0x1FFB, {0xCD, 0xF0, 0x11, 0x00, 0x00, 0xC1, 0x00, 0x00, 0x00, 0x01, 0x02, 0x03, 0x04, 0x12, 0xE0, 0x00}},
        {0x1D80, {0xCC, 0xF0, 0x17, 0x00, 0x00, 0xC3, 0x00, 0x00, 0x00, 0x00, 0x07,
                  0x00, 0x00, 1,    'e',  'n',  'g',  1,    0,    0,    1,    'A'}},
        {0x1D00, {0xCB, 0xF0, 0x17, 0x00, 0x07, 0xC3, 0x00, 0x00, 0x00, 0x01, 0xC1,
                  0x23, 0x01, 0x02, 0x03, 0x04, 0xD0, 0x07, 0x08, 0x00, 0xF0, 0x00}},
        {0x1E00, {0xCC, 0xF0, 0x17, 0x00, 0x00, 0xC3, 0x00, 0x00, 0x00, 0x00, 0x07,
                  0x04, 0x8E, 1,    'e',  'n',  'g',  1,    0,    0,    1,    'B'}},
    };
    for (const auto& [pid, bytes] : kCases) ExpectBytes(Find(description, pid, bytes[0]), bytes);
    // Cable: both reserved bits of byte 26 are path_select and out_of_band.
    description.cable = true;
    mux::Octets cable = vct;
    cable[0] = 0xC9;
    cable[36] = 0x71;
    ExpectBytes(Find(description, 0x1FFB, 0xC9), cable);
    const mux::Programme captioned{.pmtPid = 0x40,
                                   .video = mux::Video{.pid = 0x41},
                                   .captions = {{"spa", true, 63, true, false}, {"eng", false, 1, false, true}}};
    ExpectBytes(Find({.programmes = {captioned}}, 0x40, 0x02),
                {0x02, 0xB0, 0x27, 0x00, 0x00, 0xC1, 0x00, 0x00, 0xE0, 0x41, 0xF0, 0x06, 0x05,
                 0x04, 'G',  'A',  '9',  '4',  0x02, 0xE0, 0x41, 0xF0, 0x0F, 0x86, 0x0D, 0xE2,
                 's',  'p',  'a',  0xFF, 0xBF, 0xFF, 'e',  'n',  'g',  0x7F, 0x7F, 0xFF});
}

TEST(Writers, RefuseWhatDoesNotFit) {
    const struct {
        mux::Programme good, bad;
    } kCases[] = {
        {{.name = "SEVENCH"}, {.name = "EIGHTCHR"}},
        {{.audio = std::vector<mux::Audio>(41)}, {.audio = std::vector<mux::Audio>(42)}},
        {{.captions = std::vector<mux::CaptionService>(31)}, {.captions = std::vector<mux::CaptionService>(32)}},
        {{.text = Plain(std::string(4026, 'x'))}, {.text = Plain(std::string(4027, 'x'))}},
        {{.events = {{.seconds = 0xFFFFF}}}, {.events = {{.seconds = 0x100000}}}},
        {{.events = {{.title = Plain(std::string(247, 'x'))}}}, {.events = {{.title = Plain(std::string(248, 'x'))}}}},
    };
    for (auto [good, bad] : kCases) {
        good.video = bad.video = mux::Video{};
        EXPECT_NO_THROW(mux::MakeTables({.programmes = {good}}, 0)) << good.name;
        EXPECT_THROW(mux::MakeTables({.programmes = {bad}}, 0), std::runtime_error) << bad.name;
    }
    mux::Description many{.programmes = std::vector<mux::Programme>(28)};
    EXPECT_EQ(Find(many, 0x1FFB, 0xC8)[7], 1) << "last_section_number";
    many.programmes.pop_back();
    EXPECT_EQ(Find(many, 0x1FFB, 0xC8)[7], 0);
}

constexpr std::int64_t kHour = 3600;

// A stream that begins one hour into a window.
mux::Description MakeDescription(std::vector<mux::GuideEvent> events) {
    mux::Description description;
    description.start = 1'456'002'000 + 18 + kHour;
    description.programmes.push_back({.number = 1, .sourceId = 7, .events = std::move(events)});
    return description;
}

// Ids of the events of all sections of a table, in their order.
std::string EventsOf(const std::vector<mux::Section>& sections) {
    std::string all;
    for (std::size_t number = 0; number < sections.size(); ++number) {
        const mux::Section& section = sections[number];
        if (section[6] != number || section[7] + 1u != sections.size()) return "misnumbered";
        for (std::size_t at = 10; at + 4 < section.size(); at += 12u + section[at + 9])
            all += std::to_string((section[at] & 0x3F) << 8 | section[at + 1]) + " ";
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
    const std::string kExpected[] = {"2 3 4 ", "3 9 5 ", "3 ", ""};
    ASSERT_EQ(guide.size(), std::size(kExpected));
    for (std::size_t k = 0; k < std::size(kExpected); ++k) EXPECT_EQ(EventsOf(guide[k].eit), kExpected[k]) << k;
}

TEST(Guide, ReachesAtMost128Windows) {
    std::vector<mux::GuideEvent> events;
    for (std::uint16_t id = 1; id <= 1000; ++id)
        events.push_back({.id = id, .start = id * kHour, .seconds = 3600, .text = {{.text = "x"}}});
    const auto guide = mux::MakeGuide(MakeDescription(std::move(events)));
    ASSERT_EQ(guide.size(), 128u);
    EXPECT_EQ(EventsOf(guide[127].eit), "380 381 382 ");
    EXPECT_EQ(guide[127].ett.size(), 3u);
    EXPECT_TRUE(mux::MakeGuide(MakeDescription({})).empty());
    std::vector<mux::GuideEvent> many;  // more than a section holds
    for (std::uint16_t id = 1; id <= 300; ++id) many.push_back({.id = id, .start = id, .seconds = 60});
    const std::string all = EventsOf(mux::MakeGuide(MakeDescription(std::move(many)))[0].eit);
    EXPECT_EQ(std::count(all.begin(), all.end(), ' '), 300);
}

TEST(MultipleString, ChoosesTheSmallestCodingThatTheCharactersAllow) {
    const struct {
        std::string text;
        int compression;
        int mode;
    } kCases[] = {
        {"The News", 1, 0x00}, {"in the end, that is all of it.", 2, 0x00}, {"{}~{}~", 0, 0x00}, {"Ñandú", 0, 0x00},
        {"Кино", 0, 0x3F},
    };
    for (const auto& [text, compression, mode] : kCases) {
        const auto coded = mux::MultipleString({{.text = text}});
        EXPECT_EQ(coded[5], compression) << text;
        EXPECT_EQ(coded[6], mode) << text;
    }
}

TEST(MultipleString, BytesAsTheStandardLaysThemOut) {
    const struct {
        mux::Text text;
        mux::Octets bytes;
    } kCases[] = {
        {{}, {0}},
        {{{.text = ""}}, {1, 'e', 'n', 'g', 1, 0, 0, 0}},
        {{{.text = "é"}, {.text = "ок", .language = "rus", .mode = 4}},
         {2, 'e', 'n', 'g', 1, 0, 0, 1, 0xE9, 'r', 'u', 's', 1, 0, 4, 2, 0x3E, 0x3A}},
        {{{.text = "Ω😀", .language = "ell"}},  // a surrogate pair
         {1, 'e', 'l', 'l', 1, 0, 0x3F, 6, 0x03, 0xA9, 0xD8, 0x3D, 0xDE, 0x00}},
    };
    for (const auto& [text, bytes] : kCases) EXPECT_EQ(mux::MultipleString(text), bytes);
}

TEST(MultipleString, NeverPartsAPair) {
    std::string pairs = "x";
    for (int i = 0; i < 100; ++i) pairs += "😀";
    const auto coded = mux::MultipleString({{.text = pairs}});
    ASSERT_EQ(coded[4], 2) << "segments";
    EXPECT_EQ(coded[7], 2 + 4 * 63) << "the pair that would be parted begins the second segment";
}

TEST(MultipleString, RefusesWhatHasNoCoding) {
    const mux::Text kCases[] = {
        {{.text = "\xC3"}},
        {{.text = "\xC0\xAF"}},
        {{.text = "é", .compression = mux::Compression::kTitle}},
        {{.text = "a\x1B", .compression = mux::Compression::kDescription}},
        {{.text = "Новости 1", .mode = 4}},
        {{.text = "x", .mode = 0x34}},
        mux::Text(256, {.text = "x"}),
    };
    for (const mux::Text& text : kCases)
        EXPECT_THROW(mux::MultipleString(text), std::runtime_error) << text.front().text;
}

}  // namespace
