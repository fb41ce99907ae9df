// The channel list: lines by hand, and what damage does to it.
#include "protocol/scal_report.h"

#include <gtest/gtest.h>

#include "master/damage.h"
#include "output/failure.h"
#include "protocol/channels.h"

namespace zulctl {
namespace {

const std::string kEnd("ffff\r\nOK\r\n\0", 11);
const std::string kNews = "SCAL 071 1a2b 3c4d [11:0:ff:02:81] C A NEWS\r\n";
const std::string kCinema = "SCAL 102 1a2b 0001 [9e:0:99:1b:00] E U 6620 753b 0000 0000 0000 0000 0000\r\n";

TEST(ScalReport, ReadsEveryField) {
    const ScalReport report = ParseScalReport(kNews + kCinema + "SCAL 000 0001 0003 [02:0:00:00:00] C A \r\n" + kEnd);
    EXPECT_TRUE(report.whole);
    EXPECT_EQ(report.damaged, 0);
    ASSERT_EQ(report.channels.size(), 3u);
    const Channel& news = report.channels[0];
    EXPECT_EQ(news.NumberText(), "7.1");
    EXPECT_EQ(news.id, (ProgrammeId{0x1a2b, 0x3c4d}));
    EXPECT_EQ(news.tunerChannel, 17);
    EXPECT_EQ(news.signal, 255);
    EXPECT_EQ(news.videoType, 2);
    EXPECT_EQ(news.audioType, 0x81);
    EXPECT_FALSE(news.scrambled);
    EXPECT_EQ(news.name, "NEWS");
    EXPECT_EQ(report.channels[1].name, "映画");
    EXPECT_TRUE(report.channels[1].scrambled);
    EXPECT_EQ(report.channels[1].tunerChannel, 158);
    EXPECT_EQ(report.channels[2].NumberText(), "");
    EXPECT_EQ(report.channels[2].name, "");
}

TEST(ScalReport, NamesMayHoldAnyByte) {
    const auto name = [](const std::string& bytes) {
        const auto report = ParseScalReport("SCAL 071 1a2b 3c4d [11:0:ff:02:81] C A " + bytes + "\r\n" + kNews + kEnd);
        EXPECT_EQ(report.channels.size(), 2u) << bytes;
        return report.channels.empty() ? "" : report.channels[0].name;
    };
    EXPECT_EQ(name("A B    "), "A B");
    EXPECT_EQ(name("a\r\nb"), "a\r\nb") << "a line end of its own";
    EXPECT_EQ(name("SCAL 07"), "SCAL 07");
    EXPECT_EQ(name("\xE9t\xE9"), "été");
    EXPECT_EQ(name("\x1b[2J"), "\x1b[2J") << "kept; the output escapes it";
}

TEST(ScalReport, AnEmptyListIsWholeAndACutOneIsnt) {
    EXPECT_TRUE(ParseScalReport(kEnd).whole);
    EXPECT_FALSE(ParseScalReport(kNews).whole);
    EXPECT_FALSE(ParseScalReport("KO\r\n").whole);
    const auto report = ParseScalReport(kNews + "SCAL 0zz garbage\r\n" + kCinema + kEnd);
    EXPECT_EQ(report.damaged, 1);
    EXPECT_EQ(report.channels.size(), 2u) << "the walk goes on at the next line";
    EXPECT_TRUE(report.whole);
}

TEST(ScalReport, DamageYieldsOnlyChannelsWithinBounds) {
    damage::TryAll(kNews + kCinema + kEnd, [](const std::string& bad) {
        for (const Channel& channel : ParseScalReport(bad).channels) {
            EXPECT_TRUE(channel.tunerChannel >= 0 && channel.tunerChannel <= kHighestChannel && channel.signal <= 255)
                << bad;
        }
    });
}

TEST(FindChannel, TakesNumberIndexNameAndIds) {
    const auto channels =
        ParseScalReport(kNews + kCinema + "SCAL 072 1a2b 0009 [11:0:ff:02:81] C A Newton\r\n" + kEnd).channels;
    struct Row {
        const char* text;
        int index;  // 0: refused
    };
    const Row rows[] = {{"7.1", 1},  {"7-1", 1},    {"10.2", 2},      {"2", 2}, {"3", 3}, {"news", 1},
                        {"NEWT", 3}, {"1a2b:1", 2}, {"映画", 2},      {"0", 0}, {"4", 0}, {"7.3", 0},
                        {"", 0},     {"new", 0},    {"1a2b:ffff", 0}, {"x", 0}};
    for (const Row& row : rows) {
        if (row.index == 0)
            EXPECT_THROW(FindChannel(channels, row.text), Failure) << row.text;
        else
            EXPECT_EQ(&FindChannel(channels, row.text), &channels[static_cast<std::size_t>(row.index - 1)]) << row.text;
    }
    EXPECT_THROW(FindChannel({}, "1"), Failure);
}

}  // namespace
}  // namespace zulctl
