// Tables of the writers, read back by libucsi: bytes of one of each, then random ones field by field.
#include <gtest/gtest.h>
#include <libucsi/atsc/caption_service_descriptor.h>

#include <numeric>
#include <random>

#include "mux/descriptors.h"
#include "mux/eit_writer.h"
#include "mux/error.h"
#include "mux/ett_writer.h"
#include "mux/mgt_writer.h"
#include "mux/multiple_string.h"
#include "mux/psi_writer.h"
#include "mux/stt_writer.h"
#include "mux/vct_writer.h"
#include "ucsi.h"

namespace {

constexpr int kRounds = 200;

class Random {
 public:
    explicit Random(unsigned seed) : mEngine(seed) {}
    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(mEngine() % limit); }
    std::uint8_t Byte() { return static_cast<std::uint8_t>(mEngine()); }
    std::uint16_t Short() { return static_cast<std::uint16_t>(mEngine()); }
    bool Flag() { return Below(2) == 1; }
    std::uint32_t Word() { return static_cast<std::uint32_t>(mEngine()); }
    std::string Letters(std::uint32_t most) {
        std::string text(Below(most + 1), ' ');
        for (char& letter : text) letter = static_cast<char>('A' + Below(50));
        return text;
    }
    mux::Octets Descriptors() {
        mux::Octets all;
        for (auto left = Below(3); left > 0; --left) {
            const auto more = mux::RegistrationDescriptor("test");
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }

 private:
    std::mt19937 mEngine;
};

// Bytes from table_id to the CRC_32, which a check value of 0 over the whole section proves.
void ExpectBytes(const mux::Section& section, const mux::Octets& expected) {
    ASSERT_EQ(section.size(), expected.size() + 4);
    EXPECT_EQ(mux::Octets(section.begin(), section.end() - 4), expected);
    mux::Octets copy = section;
    EXPECT_EQ(crc32(static_cast<std::uint32_t>(CRC32_INIT), copy.data(), copy.size()), 0u);
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
    ExpectBytes(mux::WriteMgt({.version = 5, .tables = {{0x0100, 0x1D00, 7, 0x12345, {}}}}),
                {0xC7, 0xF0, 0x19, 0x00, 0x00, 0xCB, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01,
                 0x00, 0xFD, 0x00, 0xE7, 0x00, 0x01, 0x23, 0x45, 0xF0, 0x00, 0xF0, 0x00});
    ExpectBytes(mux::WriteStt({.systemTime = 0x53A1B2C3,
                               .gpsUtcOffset = 18,
                               .daylightSaving = true,
                               .daylightDay = 8,
                               .daylightHour = 2}),
                {0xCD, 0xF0, 0x11, 0x00, 0x00, 0xC1, 0x00, 0x00, 0x00, 0x53, 0xA1, 0xB2, 0xC3, 0x12, 0xE8, 0x02});
    ExpectBytes(
        mux::WriteEit(
            {.sourceId = 0x0102,
             .version = 2,
             .events = {{.id = 0x3F01, .start = 0x01020304, .seconds = 0xABCDE, .etmLocation = 1, .title = {0}}}})[0],
        {0xCB, 0xF0, 0x18, 0x01, 0x02, 0xC5, 0x00, 0x00, 0x00, 0x01, 0xFF, 0x01,
         0x01, 0x02, 0x03, 0x04, 0xDA, 0xBC, 0xDE, 0x01, 0x00, 0xF0, 0x00});
    ExpectBytes(mux::WriteEtt({.extension = 9, .etmId = mux::EventEtmId(0x0102, 0x3F01), .message = {0}}),
                {0xCC, 0xF0, 0x0F, 0x00, 0x09, 0xC1, 0x00, 0x00, 0x00, 0x01, 0x02, 0xFC, 0x06, 0x00});
    // Terrestrial: both reserved bits of byte 26 set. Cable: they are path_select and out_of_band.
    mux::Vct vct{.transportStreamId = 1,
                 .channels = {{.shortName = "É",
                               .major = 7,
                               .minor = 2,
                               .carrierFrequency = 0x0A0B0C0D,
                               .channelTsid = 1,
                               .programme = 3,
                               .etmLocation = 1,
                               .sourceId = 0x65}}};
    mux::Octets bytes{0xC8, 0xF0, 0x2D, 0x00, 0x01, 0xC1, 0x00, 0x00, 0x00, 0x01, 0x00, 0xC9, 0,    0,    0,
                      0,    0,    0,    0,    0,    0,    0,    0,    0,    0xF0, 0x1C, 0x02, 0x04, 0x0A, 0x0B,
                      0x0C, 0x0D, 0x00, 0x01, 0x00, 0x03, 0x4D, 0xC2, 0x00, 0x65, 0xFC, 0x00, 0xFC, 0x00};
    ExpectBytes(mux::WriteVct(vct)[0], bytes);
    vct.cable = true;
    bytes[0] = 0xC9;
    bytes[36] = 0x41;
    ExpectBytes(mux::WriteVct(vct)[0], bytes);
}

TEST(MgtWriter, RandomTablesAreReadBack) {
    for (unsigned seed = 0; seed < kRounds; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        mux::Mgt mgt{.version = static_cast<std::uint8_t>(random.Below(32)), .descriptors = random.Descriptors()};
        for (auto left = random.Below(200); left > 0; --left) {
            mgt.tables.push_back({random.Short(), static_cast<std::uint16_t>(random.Below(0x2000)),
                                  static_cast<std::uint8_t>(random.Below(32)), random.Word(), random.Descriptors()});
        }
        const UcsiSection section(mux::WriteMgt(mgt));
        auto* const read = section.As(atsc_mgt_section_codec);
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(section.Head()->ext_head.version_number, mgt.version);
        ASSERT_EQ(read->tables_defined, mgt.tables.size());
        atsc_mgt_table* table = nullptr;
        int i = 0;
        atsc_mgt_section_tables_for_each(read, table, i) {
            const mux::MgtTable& was = mgt.tables[static_cast<std::size_t>(i)];
            EXPECT_EQ(table->table_type, was.type);
            EXPECT_EQ(table->table_type_PID, was.pid);
            EXPECT_EQ(table->table_type_version_number, was.version);
            EXPECT_EQ(table->number_bytes, was.bytes);
            EXPECT_EQ(table->table_type_descriptors_length, was.descriptors.size());
            EXPECT_EQ(table->reserved & table->reserved1, 7);
            EXPECT_EQ(table->reserved2, 15);
        }
        EXPECT_EQ(atsc_mgt_section_part2(read)->descriptors_length, mgt.descriptors.size());
    }
}

mux::VctChannel RandomChannel(Random& random) {
    mux::VctChannel channel{.shortName = random.Letters(7)};
    channel.major = static_cast<std::uint16_t>(random.Below(1024));
    channel.minor = static_cast<std::uint16_t>(random.Below(1024));
    channel.modulation = random.Byte();
    channel.carrierFrequency = random.Word();
    channel.channelTsid = random.Short();
    channel.programme = random.Short();
    channel.etmLocation = static_cast<std::uint8_t>(random.Below(4));
    channel.accessControlled = random.Flag();
    channel.hidden = random.Flag();
    channel.hideGuide = random.Flag();
    channel.serviceType = static_cast<std::uint8_t>(random.Below(64));
    channel.sourceId = random.Short();
    channel.descriptors = random.Descriptors();
    return channel;
}

void ExpectChannel(const atsc_tvct_channel& read, const mux::VctChannel& was) {
    for (std::size_t i = 0; i < 7; ++i) {
        const std::uint16_t unit = i < was.shortName.size() ? static_cast<std::uint8_t>(was.shortName[i]) : 0;
        EXPECT_EQ(read.short_name[i], static_cast<std::uint16_t>(unit << 8 | unit >> 8)) << "network order";
    }
    EXPECT_EQ(read.major_channel_number, was.major);
    EXPECT_EQ(read.minor_channel_number, was.minor);
    EXPECT_EQ(read.modulation_mode, was.modulation);
    EXPECT_EQ(read.carrier_frequency, was.carrierFrequency);
    EXPECT_EQ(read.channel_TSID, was.channelTsid);
    EXPECT_EQ(read.program_number, was.programme);
    EXPECT_EQ(read.ETM_location, was.etmLocation);
    EXPECT_EQ(read.access_controlled, was.accessControlled);
    EXPECT_EQ(read.hidden, was.hidden);
    EXPECT_EQ(read.hide_guide, was.hideGuide);
    EXPECT_EQ(read.service_type, was.serviceType);
    EXPECT_EQ(read.source_id, was.sourceId);
    EXPECT_EQ(read.descriptors_length, was.descriptors.size());
    EXPECT_TRUE(read.reserved == 15 && read.reserved1 == 3 && read.reserved2 == 7 && read.reserved3 == 63);
}

TEST(VctWriter, RandomTablesAreReadBackOverAllTheirSections) {
    for (unsigned seed = 0; seed < kRounds; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        mux::Vct vct{.transportStreamId = random.Short(), .version = static_cast<std::uint8_t>(random.Below(32))};
        for (auto left = random.Below(70); left > 0; --left) vct.channels.push_back(RandomChannel(random));
        const auto sections = mux::WriteVct(vct);
        std::size_t next = 0;
        for (std::size_t number = 0; number < sections.size(); ++number) {
            ASSERT_LE(sections[number].size(), 1024u);
            const UcsiSection section(sections[number]);
            auto* const read = section.As(atsc_tvct_section_codec);
            ASSERT_NE(read, nullptr);
            EXPECT_EQ(section.Head()->ext_head.section_number, number);
            EXPECT_EQ(section.Head()->ext_head.last_section_number, sections.size() - 1);
            EXPECT_EQ(atsc_tvct_section_transport_stream_id(read), vct.transportStreamId);
            atsc_tvct_channel* channel = nullptr;
            int i = 0;
            atsc_tvct_section_channels_for_each(read, channel, i) ExpectChannel(*channel, vct.channels.at(next++));
        }
        EXPECT_EQ(next, vct.channels.size());
    }
}

TEST(EitWriter, RandomTablesAreReadBackOverAllTheirSections) {
    for (unsigned seed = 0; seed < kRounds; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        mux::Eit eit{.sourceId = random.Short(), .version = static_cast<std::uint8_t>(random.Below(32))};
        std::vector<std::string> titles;
        // Some without a title, and enough of them for the 255 events of a section.
        for (auto left = random.Below(500); left > 0; --left) {
            titles.push_back(random.Flag() ? random.Letters(40) : "");
            eit.events.push_back({.id = static_cast<std::uint16_t>(random.Below(0x4000)),
                                  .start = random.Word(),
                                  .seconds = random.Below(1u << 20),
                                  .etmLocation = static_cast<std::uint8_t>(random.Below(4)),
                                  .descriptors = random.Descriptors()});
            if (!titles.back().empty()) eit.events.back().title = mux::MultipleString({{.text = titles.back()}});
        }
        std::size_t next = 0;
        for (const mux::Section& bytes : mux::WriteEit(eit)) {
            ASSERT_LE(bytes.size(), 4096u);
            const UcsiSection section(bytes);
            auto* const read = section.As(atsc_eit_section_codec);
            ASSERT_NE(read, nullptr);
            EXPECT_EQ(atsc_eit_section_source_id(read), eit.sourceId);
            atsc_eit_event* event = nullptr;
            int i = 0;
            atsc_eit_section_events_for_each(read, event, i) {
                const mux::EitEvent& was = eit.events.at(next);
                EXPECT_EQ(event->event_id, was.id);
                EXPECT_EQ(event->start_time, was.start);
                EXPECT_EQ(event->length_in_seconds, was.seconds);
                EXPECT_EQ(event->ETM_location, was.etmLocation);
                EXPECT_EQ(event->reserved & event->reserved1, 3u);
                EXPECT_EQ(atsc_eit_event_part2(event)->descriptors_length, was.descriptors.size());
                EXPECT_EQ(UcsiText(atsc_eit_event_name_title_text(event), event->title_length),
                          titles[next].empty() ? "" : "eng:" + titles[next]);
                ++next;
            }
        }
        EXPECT_EQ(next, eit.events.size());
    }
}

TEST(EttAndSttWriters, RandomTablesAreReadBack) {
    for (unsigned seed = 0; seed < kRounds; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        const auto source = random.Short();
        const auto event = static_cast<std::uint16_t>(random.Below(0x4000));
        const std::string text = random.Letters(2000);
        const UcsiSection ett(
            mux::WriteEtt({.etmId = mux::EventEtmId(source, event), .message = mux::MultipleString({{.text = text}})}));
        auto* const read = ett.As(atsc_ett_section_codec);
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(read->ETM_source_id, source);
        EXPECT_EQ(read->ETM_sub_id, event);
        EXPECT_EQ(read->ETM_type, 2u);
        const auto size = static_cast<std::size_t>(atsc_ett_section_extended_text_message_length(read));
        EXPECT_EQ(UcsiText(atsc_ett_section_extended_text_message(read), size), "eng:" + text);

        const mux::Stt was{random.Word(), random.Byte(), random.Flag(), static_cast<std::uint8_t>(random.Below(32)),
                           static_cast<std::uint8_t>(random.Below(24))};
        const UcsiSection stt(mux::WriteStt(was));
        auto* const time = stt.As(atsc_stt_section_codec);
        ASSERT_NE(time, nullptr);
        EXPECT_EQ(time->system_time, was.systemTime);
        EXPECT_EQ(time->gps_utc_offset, was.gpsUtcOffset);
        EXPECT_EQ(time->DS_status, was.daylightSaving);
        EXPECT_EQ(time->DS_day_of_month, was.daylightDay);
        EXPECT_EQ(time->DS_hour, was.daylightHour);
    }
}

TEST(CaptionDescriptor, IsReadBack) {
    auto bytes = mux::CaptionDescriptor(
        std::vector<mux::CaptionService>{{"spa", true, 63, true, false}, {"eng", false, 1, false, true}});
    auto* const read = atsc_caption_service_descriptor_codec(reinterpret_cast<descriptor*>(bytes.data()));
    ASSERT_NE(read, nullptr);
    ASSERT_EQ(read->number_of_services, 2);
    const auto* const first = atsc_caption_service_descriptor_entries_first(read);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(first->language_code), 3), "spa");
    EXPECT_TRUE(first->digital_cc == 1 && first->value == 63 && first->easy_reader == 1 &&
                first->wide_aspect_ratio == 0);
    EXPECT_TRUE(first->reserved == 1 && first->reserved1 == 0x3FFF);
    EXPECT_TRUE(first[1].digital_cc == 0 && first[1].value == 0x3F && first[1].wide_aspect_ratio == 1);
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
    EXPECT_EQ(mux::WritePat({.programmes = std::vector<mux::PatProgramme>(254)}).size(), 2u);
}

}  // namespace
