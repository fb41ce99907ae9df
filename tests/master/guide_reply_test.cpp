// Guide replies by their length fields, and the grid.
#include "protocol/guide_reply.h"

#include <gtest/gtest.h>

#include "commands/guide_grid.h"
#include "master/damage.h"
#include "output/escape.h"

namespace zulctl {
namespace {

using namespace std::chrono_literals;

const Minutes kDay = std::chrono::sys_days(std::chrono::year(2007) / 3 / 21);  // MJD 0xd3a4

TEST(GuideReply, ReadsEventsByTheirLengths) {
    const auto reply = ParseGuideReply(
        "EITI d3a4 1930 1015 S4,00[News]L0,00[]\r\n"
        "EITI d3a5 0545 0030 S2,30[42 44]L9,00[a]\r\nEITI ]\r\n"
        "EITI d3a5 0615 0000 S0,00[]L4,3f[66 20 75 3b]\r\nOK\r\n");
    ASSERT_TRUE(reply);
    EXPECT_TRUE(reply->whole);
    ASSERT_EQ(reply->events.size(), 3u);
    EXPECT_EQ(reply->events[0].title, "News");
    EXPECT_EQ(reply->events[0].start, kDay + 19h + 30min);
    EXPECT_EQ(reply->events[0].End(), kDay + 24h + 5h + 45min);
    EXPECT_EQ(reply->events[1].title, "あい") << "hexadecimal in another mode: page 0x30";
    EXPECT_EQ(reply->events[1].text, "a]\r\nEITI ") << "a text may look like the protocol";
    EXPECT_EQ(reply->events[2].title, "");
    EXPECT_EQ(reply->events[2].text, "映画");
    // Cyrillic in UTF-16: the board has made a '*' of each high byte.
    EXPECT_EQ(ParseGuideReply("EITI d3a4 1930 1015 S4,3f[2a 3c 00 41]L2,3f[04 3c]\r\nOK\r\n")->events[0].title,
              "\xEF\xBF\xBD"
              "A");
    EXPECT_EQ(ParseGuideReply("EITI d3a4 1930 1015 S4,3f[2a 3c 00 41]L2,3f[04 3c]\r\nOK\r\n")->events[0].text, "м");
}

TEST(GuideReply, EmptyRefusedAndDamaged) {
    EXPECT_TRUE(ParseGuideReply("EITI OK\r\n")->whole);
    EXPECT_TRUE(ParseGuideReply("EITI OK\r\n")->events.empty());
    for (const char* text : {"", "KO\r\n", "EIT", "OK\r\n"}) EXPECT_FALSE(ParseGuideReply(text)) << text;
    struct Row {
        const char* text;
        std::size_t events;
    };
    const Row rows[] = {
        {"EITI d3a4 1930 1015 S5,00[News]L0,00[]\r\nOK\r\n", 0},  // a length that lies
        {"EITI d3a4 1930 1015 S3,00[News]L0,00[]\r\nOK\r\n", 0},
        {"EITI d3a4 1930 1015 S99999999999,00[News]L0,00[]\r\nOK\r\n", 0},
        {"EITI d3a4 2530 1015 S4,00[News]L0,00[]\r\nOK\r\n", 0},  // no such hour
        {"EITI d3a4 1930 1015 S2,3f[66 2]L0,00[]\r\nOK\r\n", 1},  // one digit will do
        {"EITI d3a4 1930 1015 S2,3f[6620]L0,00[]\r\nOK\r\n", 0},
        {"EITI d3a4 1930 1015 S4,00[News]L0,00[]\r\nEITI d3", 1},  // cut
        {"EITI d3a4 1930 1015 S4,00[News]L0,00[]\r\nOK\r\nmore", 1},
    };
    for (const Row& row : rows) {
        const auto reply = ParseGuideReply(row.text);
        ASSERT_TRUE(reply) << row.text;
        EXPECT_EQ(reply->events.size(), row.events) << row.text;
        EXPECT_EQ(reply->whole, row.events == 1 && std::string_view(row.text).find("[66 2]") != std::string_view::npos)
            << row.text;
    }
    damage::TryAll(
        "EITI d3a4 1930 1015 S4,00[News]L4,3f[66 20 75 3b]\r\nEITI d3a5 0545 0030 S2,30[42 44]L0,00[]\r\nOK\r\n",
        [](const std::string& bad) {
            const auto reply = ParseGuideReply(bad);
            for (std::size_t n = 0; reply && n < reply->events.size(); ++n) {
                EXPECT_LE(reply->events[n].duration, 24h) << bad;
                EXPECT_LE(reply->events[n].title.size(), 4 * bad.size()) << bad;
            }
        });
}

std::vector<GridRow> Evening() {
    const auto event = [](std::chrono::minutes at, std::chrono::minutes length, const char* title) {
        return GuideEvent{kDay + at, length, title, "", 0, 0};
    };
    return {{"7.1 NEWS",
             {event(19h, 45min, "Early"), event(19h + 45min, 30min, "News at a quarter to eight"),
              event(21h, 2h, "Late\x1b[2J")}},
            {"A name that is far too long",
             {event(18h, 6h, "映画映画映画映画映画映画映画映画映画映画映画映画映画映画映画映画映画映画")}},
            {"empty", {}}};
}

TEST(GuideGrid, FitsTheWidthAndPlacesEventsInTime) {
    for (const std::size_t width : {40u, 80u, 200u}) {
        const std::string grid = DrawGrid(Evening(), kDay + 19h, 3h, kDay + 20h, width, false);
        std::string line;
        std::vector<std::string> lines;
        for (const char c : grid) c == '\n' ? lines.push_back(std::exchange(line, "")) : line.push_back(c);
        ASSERT_EQ(lines.size(), 4u);
        for (const std::string& each : lines) EXPECT_LE(DisplayWidth(each), width) << grid;
        EXPECT_NE(lines[0].find("19:00"), std::string::npos);
        EXPECT_EQ(grid.find('\x1b'), std::string::npos) << "titles are escaped, and there is no colour";
        const auto bar = [&](std::size_t n) {  // column of the n-th event
            std::size_t at = 0;
            for (std::size_t k = 0; k <= n; ++k) at = lines[1].find("│", at + (k > 0));
            return DisplayWidth(lines[1].substr(0, at));
        };
        const std::size_t plot = width - 17;
        EXPECT_EQ(bar(0), 17u);
        EXPECT_EQ(bar(1), 17 + plot * 45 / 180) << grid;
        EXPECT_EQ(bar(2), 17 + plot * 120 / 180) << "the gap before it stays empty";
    }
    EXPECT_NE(DrawGrid(Evening(), kDay + 19h, 3h, kDay + 20h, 80, true).find("\x1b[7m│News"), std::string::npos)
        << "now is inverse";
}

}  // namespace
}  // namespace zulctl
