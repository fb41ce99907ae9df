// Tables and texts of the writers: bytes by hand from the standards, and what libucsi reads.
#include <gtest/gtest.h>
#include <libucsi/atsc/section.h>
#include <libucsi/atsc/types.h>

#include <algorithm>
#include <cstdlib>

#include "mux/descriptors.h"
#include "mux/eit_writer.h"
#include "mux/error.h"
#include "mux/ett_writer.h"
#include "mux/guide.h"
#include "mux/mgt_writer.h"
#include "mux/multiple_string.h"
#include "mux/psi_writer.h"
#include "mux/stt_writer.h"
#include "mux/vct_writer.h"

namespace {

// Bytes from table_id to the CRC_32, which a check value of 0 over the whole section proves.
void ExpectBytes(const mux::Section& section, const mux::Octets& expected) {
    ASSERT_EQ(section.size(), expected.size() + 4);
    EXPECT_EQ(mux::Octets(section.begin(), section.end() - 4), expected);
    EXPECT_EQ(crc32(static_cast<std::uint32_t>(CRC32_INIT), mux::Octets(section).data(), section.size()), 0u);
}

TEST(Writers, BytesAsTheStandardsLayThemOut) {
    ExpectBytes(mux::WritePat({.transportStreamId = 0x0811, .version = 31, .programmes = {{3, 0x30}, {0, 0x10}}})[0],
                {0x00, 0xB0, 0x11, 0x08, 0x11, 0xFF, 0x00, 0x00, 0x00, 0x03, 0xE0, 0x30, 0x00, 0x00, 0xE0, 0x10});
    ExpectBytes(mux::WritePmt({.programme = 3,
                               .version = 1,
                               .pcrPid = 0x31,
                               .streams = {{0x81, 0x34, mux::LanguageDescriptor("eng", 3)}}}),
                {0x02, 0xB0, 0x18, 0x00, 0x03, 0xC3, 0x00, 0x00, 0xE0, 0x31, 0xF0, 0x00,
                 0x81, 0xE0, 0x34, 0xF0, 0x06, 0x0A, 0x04, 'e',  'n',  'g',  0x03});
    ExpectBytes(mux::WriteMgt({.version = 2, .tables = {{mux::kTypeEit0, 0x1D00, 3, 0x010203, {}}}}),
                {0xC7, 0xF0, 0x19, 0x00, 0x00, 0xC5, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01,
                 0x00, 0xFD, 0x00, 0xE3, 0x00, 0x01, 0x02, 0x03, 0xF0, 0x00, 0xF0, 0x00});
    ExpectBytes(mux::WriteEit({.sourceId = 7,
                               .events = {{.id = 0x123, .start = 0x01020304, .seconds = 1800, .etmLocation = 1}}})[0],
                {0xCB, 0xF0, 0x17, 0x00, 0x07, 0xC1, 0x00, 0x00, 0x00, 0x01, 0xC1,
                 0x23, 0x01, 0x02, 0x03, 0x04, 0xD0, 0x07, 0x08, 0x00, 0xF0, 0x00});
    ExpectBytes(mux::WriteEtt({.extension = 9, .etmId = mux::EventEtmId(7, 0x123), .message = {1, 2, 3}}),
                {0xCC, 0xF0, 0x11, 0x00, 0x09, 0xC1, 0x00, 0x00, 0x00, 0x00, 0x07, 0x04, 0x8E, 1, 2, 3});
    ExpectBytes(mux::WriteStt({.systemTime = 0x01020304, .daylightSaving = true, .daylightDay = 5, .daylightHour = 2}),
                {0xCD, 0xF0, 0x11, 0x00, 0x00, 0xC1, 0x00, 0x00, 0x00, 0x01, 0x02, 0x03, 0x04, 0x12, 0xE5, 0x02});
    EXPECT_EQ(mux::CaptionDescriptor(
                  std::vector<mux::CaptionService>{{"spa", true, 63, true, false}, {"eng", false, 1, false, true}}),
              (mux::Octets{0x86, 0x0D, 0xE2, 's', 'p', 'a', 0xFF, 0xBF, 0xFF, 'e', 'n', 'g', 0x7F, 0x7F, 0xFF}));
    // Terrestrial: both reserved bits of byte 26 set. Cable: they are path_select and out_of_band.
    mux::Vct vct{.transportStreamId = 1,
                 .channels = {{.shortName = "É",
                               .major = 7,
                               .minor = 2,
                               .etmLocation = 1,
                               .accessControlled = true,
                               .hidden = true,
                               .hideGuide = true}}};
    mux::Octets bytes{0xC8, 0xF0, 0x2D, 0x00, 0x01, 0xC1, 0x00, 0x00, 0x00, 0x01, 0x00, 0xC9, 0,    0,   0,
                      0,    0,    0,    0,    0,    0,    0,    0,    0,    0xF0, 0x1C, 0x02, 0x04, 0,   0,
                      0,    0,    0,    0,    0,    0,    0x7F, 0xC2, 0,    0,    0xFC, 0x00, 0xFC, 0x00};
    ExpectBytes(mux::WriteVct(vct)[0], bytes);
    vct.cable = true;
    bytes[0] = 0xC9;
    bytes[36] = 0x73;
    ExpectBytes(mux::WriteVct(vct)[0], bytes);
}

TEST(Writers, RefuseWhatDoesNotFit) {
    EXPECT_THROW(mux::WriteMgt({.tables = std::vector<mux::MgtTable>(371)}), mux::Error);
    EXPECT_NO_THROW(mux::WriteMgt({.tables = std::vector<mux::MgtTable>(370)}));
    EXPECT_THROW(mux::WriteVct({.channels = {{.shortName = "EIGHTCHR"}}}), mux::Error);
    EXPECT_THROW(mux::WriteVct({.channels = {{.shortName = "X", .major = 1024}}}), mux::Error);
    EXPECT_THROW(mux::WriteVct({.channels = {{.shortName = "X", .descriptors = mux::Octets(977)}}}), mux::Error);
    EXPECT_NO_THROW(mux::WriteVct({.channels = {{.shortName = "X", .descriptors = mux::Octets(976)}}}));
    EXPECT_THROW(mux::WriteEit({.events = {{.id = 0x4000}}}), mux::Error);
    EXPECT_THROW(mux::WriteEit({.events = {{.seconds = 1u << 20}}}), mux::Error);
    EXPECT_THROW(mux::WriteEit({.events = {{.title = mux::Octets(256)}}}), mux::Error);
    EXPECT_THROW(mux::WriteEtt({.message = mux::Octets(4080)}), mux::Error);
    EXPECT_NO_THROW(mux::WriteEtt({.message = mux::Octets(4079)}));
    EXPECT_THROW(mux::WritePmt({.streams = {{0x81, 0x34, mux::Octets(1004)}}}), mux::Error);
    EXPECT_EQ(mux::WriteVct({.channels = std::vector<mux::VctChannel>(32, {.shortName = "X"})}).size(), 2u);
    EXPECT_EQ(mux::WritePat({.programmes = std::vector<mux::PatProgramme>(254)}).size(), 2u);
}

/// A copy of a section, as libucsi swaps bytes in place, parsed up to its PSIP head. Null inside when libucsi refuses
/// it or its CRC, or when it has no head of A/65.
class UcsiSection {
 public:
    explicit UcsiSection(const mux::Section& section) : mBytes(section) {
        auto* const plain = section_codec(mBytes.data(), mBytes.size());
        auto* const extended = plain == nullptr ? nullptr : section_ext_decode(plain, 1);
        const bool good = extended != nullptr && plain->private_indicator == 1 && plain->reserved == 3 &&
                          extended->reserved1 == 3 && extended->current_next_indicator == 1;
        mHead = good ? atsc_section_psip_decode(extended) : nullptr;
        if (mHead != nullptr && mHead->protocol_version != 0) mHead = nullptr;
    }

    atsc_section_psip* Head() const { return mHead; }

    /// The table by its own codec, as `section.As(atsc_eit_section_codec)`; null when refused.
    template <class Table>
    Table* As(Table* (*codec)(atsc_section_psip*)) const {
        return mHead == nullptr ? nullptr : codec(mHead);
    }

 private:
    mux::Octets mBytes;
    atsc_section_psip* mHead = nullptr;
};

/// All strings of a multiple string structure in UTF-8, each after its language: "eng:News|spa:Noticias".
/// "invalid" for a structure that isn't, "undecoded" for a text that libucsi can't decode.
std::string UcsiText(atsc_text* text, std::size_t size) {
    if (text == nullptr || size == 0) return "";
    if (atsc_text_validate(reinterpret_cast<std::uint8_t*>(text), static_cast<int>(size)) != 0) return "invalid";
    std::string all;
    atsc_text_string* string = nullptr;
    int i = 0;
    atsc_text_strings_for_each(text, string, i) {
        if (i > 0) all += "|";
        all += std::string(reinterpret_cast<const char*>(string->language_code), 3) + ":";
        std::uint8_t* buffer = nullptr;
        std::size_t room = 0;
        std::size_t used = 0;
        atsc_text_string_segment* segment = nullptr;
        int k = 0;
        bool good = true;
        atsc_text_string_segments_for_each(string, segment, k) {
            good = good && atsc_text_segment_decode(segment, &buffer, &room, &used) >= 0;
        }
        all += good ? std::string(reinterpret_cast<const char*>(buffer), buffer == nullptr ? 0 : used) : "undecoded";
        std::free(buffer);
    }
    return all;
}

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
    for (std::size_t number = 0; number < sections.size(); ++number) {
        const UcsiSection section(sections[number]);
        auto* const eit = section.As(atsc_eit_section_codec);
        if (eit == nullptr) return "refused";
        const section_ext& head = section.Head()->ext_head;
        if (head.section_number != number || head.last_section_number + 1u != sections.size()) return "misnumbered";
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
    std::vector<mux::GuideEvent> many;  // more than a section holds
    for (std::uint16_t id = 1; id <= 300; ++id) many.push_back({.id = id, .start = id, .seconds = 60});
    const std::string all = EventsOf(mux::MakeGuide(MakeDescription(std::move(many)))[0].eit);
    EXPECT_EQ(std::count(all.begin(), all.end(), ':'), 300);
}

using mux::Compression;

std::string Decoded(const mux::Text& text) {
    mux::Octets coded = mux::MultipleString(text);
    return UcsiText(reinterpret_cast<atsc_text*>(coded.data()), coded.size());
}

TEST(MultipleString, IsDecodedAsItWas) {
    const std::string longText(700, 'x');
    const struct {
        mux::Text text;
        std::string expected;
    } kCases[] = {
        {{}, ""},
        {{{.text = ""}}, "eng:"},
        {{{.text = "News", .compression = Compression::kNone}}, "eng:News"},
        {{{.text = "News", .compression = Compression::kTitle}}, "eng:News"},
        {{{.text = "The end of it.", .compression = Compression::kDescription}}, "eng:The end of it."},
        {{{.text = "~{|}\n\x01", .compression = Compression::kTitle}}, "eng:~{|}\n\x01"},
        {{{.text = "Évènement à Orléans"}}, "eng:Évènement à Orléans"},
        {{{.text = "Новости", .language = "rus", .mode = 4}}, "rus:Новости"},
        {{{.text = "News"}, {.text = "Las noticias", .language = "spa"}}, "eng:News|spa:Las noticias"},
        {{{.text = longText, .compression = Compression::kNone}}, "eng:" + longText},
        {{{.text = longText, .compression = Compression::kTitle}}, "eng:" + longText},
        {{{.text = longText}}, "eng:" + longText},
    };
    for (const auto& [text, expected] : kCases) EXPECT_EQ(Decoded(text), expected) << expected;
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

// libucsi doesn't decode UTF-16: bytes by hand. The second character needs a surrogate pair.
TEST(MultipleString, Utf16IsBigEndianAndNeverPartsAPair) {
    EXPECT_EQ(mux::MultipleString({{.text = "Ω😀", .language = "ell"}}),
              (mux::Octets{1, 'e', 'l', 'l', 1, 0, 0x3F, 6, 0x03, 0xA9, 0xD8, 0x3D, 0xDE, 0x00}));
    std::string pairs = "x";
    for (int i = 0; i < 100; ++i) pairs += "😀";
    const auto coded = mux::MultipleString({{.text = pairs}});
    ASSERT_EQ(coded[4], 2) << "segments";
    EXPECT_EQ(coded[7], 2 + 4 * 63) << "the pair that would be parted begins the second segment";
}

TEST(MultipleString, RefusesWhatHasNoCoding) {
    const mux::Text kCases[] = {
        {{.text = "\xC3"}},
        {{.text = "\xED\xA0\x80"}},
        {{.text = "\xC0\xAF"}},
        {{.text = "x", .language = "en"}},
        {{.text = "é", .compression = Compression::kTitle}},
        {{.text = "a\x1B", .compression = Compression::kDescription}},
        {{.text = "Новости 1", .mode = 4}},
        {{.text = "x", .mode = 0x34}},
        mux::Text(256, {.text = "x"}),
    };
    for (const mux::Text& text : kCases) EXPECT_THROW(mux::MultipleString(text), mux::Error) << text.front().text;
}

}  // namespace
