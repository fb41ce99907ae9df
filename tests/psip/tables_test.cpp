// The parsers of the tables' loops: every cut, and every length that lies.
#include <gtest/gtest.h>

#include <string>

#include "psip/eit.h"
#include "psip/mgt.h"
#include "psip/pmt.h"
#include "psip/vct.h"
#include "transport.h"

namespace {

using transport::Blob;

/// A loop whose entries have a part of fixed size and, by a length in it, more bytes. EIT: as far as the title.
struct Loop {
    const char* name;
    std::size_t fixed;
    std::size_t lengthAt;     ///< offset of the length in the fixed part
    std::uint16_t mostInner;  ///< what the length can tell
    /// Takes an entry. \return the bytes that its length covers, as far as they are there
    std::optional<Bytes> (*take)(Bytes&);
};

constexpr Loop kLoops[] = {
    {"PMT", 5, 3, 0x0FFF,
     [](Bytes& loop) {
         const auto e = TakeEsEntry(loop);
         return e ? std::optional(e->descriptors) : std::nullopt;
     }},
    {"MGT", 11, 9, 0x0FFF,
     [](Bytes& loop) {
         const auto e = TakeMgtEntry(loop);
         return e ? std::optional(e->descriptors) : std::nullopt;
     }},
    {"VCT", 32, 30, 0x03FF,
     [](Bytes& loop) {
         const auto e = TakeVctChannel(loop);
         return e ? std::optional(e->descriptors) : std::nullopt;
     }},
    {"EIT", 10, 9, 0x00FF,
     [](Bytes& loop) {
         const auto e = TakeEitEvent(loop);
         return e ? std::optional(e->title) : std::nullopt;
     }},
};

/// An entry whose length tells `told`, with `inner` bytes behind the fixed part. Bits beside the length are set.
Blob Entry(const Loop& loop, unsigned told, std::size_t inner) {
    Blob entry(loop.fixed, 0xA5);
    if (loop.mostInner > 0xFF) entry[loop.lengthAt] = static_cast<std::uint8_t>(~(loop.mostInner >> 8) | told >> 8);
    entry[loop.lengthAt + (loop.mostInner > 0xFF ? 1 : 0)] = static_cast<std::uint8_t>(told);
    for (std::size_t i = 0; i < inner; ++i) entry.push_back(static_cast<std::uint8_t>(i));
    return entry;
}

TEST(TableLoops, ACutLoopYieldsTheEntriesWhoseFixedPartIsWhole) {
    for (const Loop& loop : kLoops) {
        constexpr std::size_t kInner = 7;
        Blob whole = Entry(loop, kInner, kInner);
        transport::Append(whole, Entry(loop, 0, 0));
        const std::size_t first = loop.fixed + kInner, second = first + loop.fixed;
        for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
            const Blob part(whole.data(), whole.data() + cut);  // exact block: one byte too many is caught
            Bytes rest = part;
            int entries = 0;
            while (loop.take(rest)) ++entries;
            EXPECT_EQ(entries, cut < loop.fixed ? 0 : cut < second ? 1 : 2) << loop.name << " cut at " << cut;
            const bool between = cut == 0 || (cut >= loop.fixed && cut <= first) || cut == second;
            EXPECT_EQ(rest.empty(), between) << loop.name << " cut at " << cut;
        }
    }
}

TEST(TableLoops, ALengthThatLiesYieldsWhatIsThere) {
    for (const Loop& loop : kLoops) {
        for (const std::size_t there : {0u, 1u, 20u}) {
            for (unsigned told = 0; told <= loop.mostInner; ++told) {
                const Blob entry = Entry(loop, told, there);
                Bytes rest = entry;
                const auto inner = loop.take(rest);
                ASSERT_TRUE(inner) << loop.name << " " << told;
                EXPECT_EQ(inner->size(), std::min<std::size_t>(told, there)) << loop.name << " " << told;
                EXPECT_EQ(rest.size(), there - inner->size()) << loop.name << " " << told;
            }
        }
    }
}

// Bytes written by hand from the standards' layouts, with all reserved bits set.
TEST(TableLoops, FieldsStandWhereTheStandardsPutThem) {
    const Blob stream{0x81, 0xE0 | 0x12, 0x34, 0xF0, 0x00};
    Bytes rest = stream;
    const EsEntry es = *TakeEsEntry(rest);
    EXPECT_EQ(es.streamType, 0x81);
    EXPECT_EQ(es.pid, 0x1234);

    const Blob table{0x01, 0x7F, 0xE0 | 0x1D, 0x05, 0xE0 | 0x09, 0, 0, 0x12, 0x34, 0xF0, 0x00};
    rest = table;
    const MgtEntry mgt = *TakeMgtEntry(rest);
    EXPECT_EQ(mgt.tableType, 0x017F);
    EXPECT_EQ(mgt.pid, 0x1D05);
    EXPECT_EQ(mgt.fixed[4], 0xE9);

    Blob channel{0, 'W', 0, 'N', 0, 'E', 0, 'W', 0, 'S', 0, 0, 0, 0};
    // reserved, major 1000 (0x3E8), minor 513 (0x201); 8-VSB; 57.0 MHz; channel_TSID; program_number
    transport::Append(channel, {0xFF, 0xA2, 0x01, 0x04, 0x03, 0x65, 0xC0, 0x40, 0xAB, 0xCD, 0x00, 0x03});
    // ETM_location, flags, reserved; service_type; source_id; reserved, descriptors_length
    transport::Append(channel, {0x0D, 0xC2, 0x12, 0x34, 0xFC, 0x00});
    rest = channel;
    const VctChannel vct = *TakeVctChannel(rest);
    EXPECT_EQ(std::string(vct.shortName.begin(), vct.shortName.end()), std::string("\0W\0N\0E\0W\0S\0\0\0\0", 14));
    EXPECT_EQ(vct.majorNumber, 1000);
    EXPECT_EQ(vct.minorNumber, 513);
    EXPECT_EQ(vct.modulationMode, 4);
    EXPECT_EQ(vct.carrierFrequency, 57000000u);
    EXPECT_EQ(vct.channelTsid, 0xABCD);
    EXPECT_EQ(vct.programNumber, 3);
    EXPECT_EQ(vct.sourceId, 0x1234);

    const Blob event{0xC0 | 0x12, 0x34, 0x4D, 0x3F, 0x64, 0x12, 0xC0 | 0x20 | 0x0A, 0xBC, 0xDE, 0x01, 0x00};
    rest = event;
    const EitEvent eit = *TakeEitEvent(rest);
    EXPECT_EQ(eit.eventId, 0x1234);
    EXPECT_EQ(eit.startTime, 0x4D3F6412u);
    EXPECT_EQ(eit.lengthInSeconds, 0xABCDEu);
    EXPECT_EQ(eit.titleLength, 1);
}

}  // namespace
