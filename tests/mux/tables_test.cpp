// Tables of the writers: bytes of those that libucsi doesn't read, and random ones that it reads back field by field.
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
    std::uint32_t Word() { return static_cast<std::uint32_t>(mEngine()); }
    std::uint16_t Short(std::uint32_t limit = 0x10000) { return static_cast<std::uint16_t>(Below(limit)); }
    std::uint8_t Byte(std::uint32_t limit = 0x100) { return static_cast<std::uint8_t>(Below(limit)); }
    bool Flag() { return Below(2) == 1; }
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

/// Fields in the order of the standard, with their reserved bits.
using Fields = std::vector<std::uint64_t>;

// Bytes from table_id to the CRC_32, which a check value of 0 over the whole section proves.
void ExpectBytes(const mux::Section& section, const mux::Octets& expected) {
    ASSERT_EQ(section.size(), expected.size() + 4);
    EXPECT_EQ(mux::Octets(section.begin(), section.end() - 4), expected);
    EXPECT_EQ(crc32(static_cast<std::uint32_t>(CRC32_INIT), mux::Octets(section).data(), section.size()), 0u);
}

// What libucsi doesn't read, or only in part.
TEST(Writers, BytesAsTheStandardsLayThemOut) {
    ExpectBytes(mux::WritePat({.transportStreamId = 0x0811, .version = 31, .programmes = {{3, 0x30}, {0, 0x10}}})[0],
                {0x00, 0xB0, 0x11, 0x08, 0x11, 0xFF, 0x00, 0x00, 0x00, 0x03, 0xE0, 0x30, 0x00, 0x00, 0xE0, 0x10});
    ExpectBytes(mux::WritePmt({.programme = 3,
                               .version = 1,
                               .pcrPid = 0x31,
                               .streams = {{0x81, 0x34, mux::LanguageDescriptor("eng", 3)}}}),
                {0x02, 0xB0, 0x18, 0x00, 0x03, 0xC3, 0x00, 0x00, 0xE0, 0x31, 0xF0, 0x00,
                 0x81, 0xE0, 0x34, 0xF0, 0x06, 0x0A, 0x04, 'e',  'n',  'g',  0x03});
    // Terrestrial: both reserved bits of byte 26 set. Cable: they are path_select and out_of_band.
    mux::Vct vct{.transportStreamId = 1, .channels = {{.shortName = "É", .major = 7, .minor = 2, .etmLocation = 1}}};
    mux::Octets bytes{0xC8, 0xF0, 0x2D, 0x00, 0x01, 0xC1, 0x00, 0x00, 0x00, 0x01, 0x00, 0xC9, 0,    0,   0,
                      0,    0,    0,    0,    0,    0,    0,    0,    0,    0xF0, 0x1C, 0x02, 0x04, 0,   0,
                      0,    0,    0,    0,    0,    0,    0x4D, 0xC2, 0,    0,    0xFC, 0x00, 0xFC, 0x00};
    ExpectBytes(mux::WriteVct(vct)[0], bytes);
    vct.cable = true;
    bytes[0] = 0xC9;
    bytes[36] = 0x41;
    ExpectBytes(mux::WriteVct(vct)[0], bytes);
}

void ForRandoms(void (*test)(Random& random)) {
    for (unsigned seed = 0; seed < kRounds; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        test(random);
    }
}

TEST(MgtWriter, RandomTablesAreReadBack) {
    ForRandoms([](Random& random) {
        mux::Mgt mgt{.version = random.Byte(32), .descriptors = random.Descriptors()};
        for (auto left = random.Below(200); left > 0; --left) {
            mgt.tables.push_back(
                {random.Short(), random.Short(0x2000), random.Byte(32), random.Word(), random.Descriptors()});
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
            EXPECT_EQ((Fields{table->table_type, table->reserved, table->table_type_PID, table->reserved1,
                              table->table_type_version_number, table->number_bytes, table->reserved2,
                              table->table_type_descriptors_length}),
                      (Fields{was.type, 7, was.pid, 7, was.version, was.bytes, 15, was.descriptors.size()}));
        }
        const auto* const end = atsc_mgt_section_part2(read);
        EXPECT_EQ((Fields{end->reserved, end->descriptors_length}), (Fields{15, mgt.descriptors.size()}));
    });
}

TEST(VctWriter, RandomTablesAreReadBackOverAllTheirSections) {
    ForRandoms([](Random& random) {
        mux::Vct vct{.transportStreamId = random.Short(), .version = random.Byte(32)};
        for (auto left = random.Below(70); left > 0; --left) {
            vct.channels.push_back({.shortName = random.Letters(7),
                                    .major = random.Short(1024),
                                    .minor = random.Short(1024),
                                    .modulation = random.Byte(),
                                    .carrierFrequency = random.Word(),
                                    .channelTsid = random.Short(),
                                    .programme = random.Short(),
                                    .etmLocation = random.Byte(4),
                                    .accessControlled = random.Flag(),
                                    .hidden = random.Flag(),
                                    .hideGuide = random.Flag(),
                                    .serviceType = random.Byte(64),
                                    .sourceId = random.Short(),
                                    .descriptors = random.Descriptors()});
        }
        const auto sections = mux::WriteVct(vct);
        std::size_t next = 0;
        for (std::size_t number = 0; number < sections.size(); ++number) {
            ASSERT_LE(sections[number].size(), 1024u);
            const UcsiSection section(sections[number]);
            auto* const read = section.As(atsc_tvct_section_codec);
            ASSERT_NE(read, nullptr);
            const section_ext& head = section.Head()->ext_head;
            EXPECT_EQ((Fields{head.version_number, head.section_number, head.last_section_number}),
                      (Fields{vct.version, number, sections.size() - 1}));
            EXPECT_EQ(atsc_tvct_section_transport_stream_id(read), vct.transportStreamId);
            atsc_tvct_channel* channel = nullptr;
            int i = 0;
            atsc_tvct_section_channels_for_each(read, channel, i) {
                const mux::VctChannel& was = vct.channels.at(next++);
                std::string name;  // big-endian units
                for (const char letter : was.shortName) name += {'\0', letter};
                name.resize(sizeof channel->short_name);
                EXPECT_EQ(std::string(reinterpret_cast<const char*>(channel), sizeof channel->short_name), name);
                EXPECT_EQ(
                    (Fields{channel->reserved, channel->major_channel_number, channel->minor_channel_number,
                            channel->modulation_mode, channel->carrier_frequency, channel->channel_TSID,
                            channel->program_number, channel->ETM_location, channel->access_controlled, channel->hidden,
                            channel->reserved1, channel->hide_guide, channel->reserved2, channel->service_type,
                            channel->source_id, channel->reserved3, channel->descriptors_length}),
                    (Fields{15, was.major, was.minor, was.modulation, was.carrierFrequency, was.channelTsid,
                            was.programme, was.etmLocation, was.accessControlled, was.hidden, 3, was.hideGuide, 7,
                            was.serviceType, was.sourceId, 63, was.descriptors.size()}));
            }
        }
        EXPECT_EQ(next, vct.channels.size());
    });
}

TEST(EitWriter, RandomTablesAreReadBackOverAllTheirSections) {
    ForRandoms([](Random& random) {
        mux::Eit eit{.sourceId = random.Short(), .version = random.Byte(32)};
        std::vector<std::string> titles;
        // Some without a title, and enough of them for the 255 events of a section.
        for (auto left = random.Below(500); left > 0; --left) {
            titles.push_back(random.Flag() ? random.Letters(40) : "");
            eit.events.push_back({.id = random.Short(0x4000),
                                  .start = random.Word(),
                                  .seconds = random.Below(1u << 20),
                                  .etmLocation = random.Byte(4),
                                  .descriptors = random.Descriptors()});
            if (!titles.back().empty()) eit.events.back().title = mux::MultipleString({{.text = titles.back()}});
        }
        std::size_t next = 0;
        for (const mux::Section& bytes : mux::WriteEit(eit)) {
            ASSERT_LE(bytes.size(), 4096u);
            const UcsiSection section(bytes);
            auto* const read = section.As(atsc_eit_section_codec);
            ASSERT_NE(read, nullptr);
            EXPECT_EQ(section.Head()->ext_head.version_number, eit.version);
            EXPECT_EQ(atsc_eit_section_source_id(read), eit.sourceId);
            atsc_eit_event* event = nullptr;
            int i = 0;
            atsc_eit_section_events_for_each(read, event, i) {
                const mux::EitEvent& was = eit.events.at(next);
                const auto* const end = atsc_eit_event_part2(event);
                EXPECT_EQ(
                    (Fields{event->reserved, event->event_id, event->start_time, event->reserved1, event->ETM_location,
                            event->length_in_seconds, end->reserved, end->descriptors_length}),
                    (Fields{3, was.id, was.start, 3, was.etmLocation, was.seconds, 15, was.descriptors.size()}));
                EXPECT_EQ(UcsiText(atsc_eit_event_name_title_text(event), event->title_length),
                          titles[next].empty() ? "" : "eng:" + titles[next]);
                ++next;
            }
        }
        EXPECT_EQ(next, eit.events.size());
    });
}

TEST(EttAndSttWriters, RandomTablesAreReadBack) {
    ForRandoms([](Random& random) {
        const auto source = random.Short(), event = random.Short(0x4000);
        const std::string text = random.Letters(2000);
        const UcsiSection ett(mux::WriteEtt({.extension = 9,
                                             .etmId = mux::EventEtmId(source, event),
                                             .message = mux::MultipleString({{.text = text}})}));
        auto* const read = ett.As(atsc_ett_section_codec);
        ASSERT_NE(read, nullptr);
        EXPECT_EQ((Fields{ett.Head()->ext_head.table_id_ext, read->ETM_source_id, read->ETM_sub_id, read->ETM_type}),
                  (Fields{9, source, event, 2}));
        const auto size = static_cast<std::size_t>(atsc_ett_section_extended_text_message_length(read));
        EXPECT_EQ(UcsiText(atsc_ett_section_extended_text_message(read), size), "eng:" + text);

        const mux::Stt was{random.Word(), random.Byte(), random.Flag(), random.Byte(32), random.Byte(24)};
        const UcsiSection stt(mux::WriteStt(was));
        auto* const time = stt.As(atsc_stt_section_codec);
        ASSERT_NE(time, nullptr);
        EXPECT_EQ((Fields{time->system_time, time->gps_utc_offset, time->DS_status, time->reserved,
                          time->DS_day_of_month, time->DS_hour}),
                  (Fields{was.systemTime, was.gpsUtcOffset, was.daylightSaving, 3, was.daylightDay, was.daylightHour}));
    });
}

TEST(CaptionDescriptor, IsReadBack) {
    auto bytes = mux::CaptionDescriptor(
        std::vector<mux::CaptionService>{{"spa", true, 63, true, false}, {"eng", false, 1, false, true}});
    auto* const read = atsc_caption_service_descriptor_codec(reinterpret_cast<descriptor*>(bytes.data()));
    ASSERT_NE(read, nullptr);
    ASSERT_EQ(read->number_of_services, 2);
    const auto* const entry = atsc_caption_service_descriptor_entries_first(read);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(entry->language_code), 3), "spa");
    EXPECT_EQ((Fields{entry->digital_cc, entry->reserved, entry->value, entry->easy_reader, entry->wide_aspect_ratio,
                      entry->reserved1, entry[1].digital_cc, entry[1].value, entry[1].wide_aspect_ratio}),
              (Fields{1, 1, 63, 1, 0, 0x3FFF, 0, 0x3F, 1}));
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
