// Escaping, tables and grids of every width, plain text.
#include "output/output.h"

#include <gtest/gtest.h>

#include <sstream>

#include "export/lineup.h"
#include "output/escape.h"

namespace zulctl {
namespace {

TEST(Escape, LetsThroughTextAndNothingElse) {
    const struct {
        std::string bytes;
        const char* shown;
    } rows[] = {
        {"News", "News"},
        {"OK\r\n", "OK\\r\\n"},
        {"\x1b[2J", "\\x1b[2J"},  // would clear the screen
        {"\x7f", "\\x7f"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"C:\\x1b", "C:\\\\x1b"},  // looks like an escape and isn't
        {"Žofín 映画", "Žofín 映画"},
        {"\xc2\x9b"
         "31m",
         "\\u{009b}31m"},  // C1 in UTF-8: a control sequence too
        {"\xe2\x80\xae"
         "gpj",
         "\\u{202e}gpj"},  // right-to-left override
        {"\xff\xfe", "\\xff\\xfe"},
        {"\xc0\xaf", "\\xc0\\xaf"},                    // overlong
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // a surrogate
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // above U+10FFFF
        {"\xe6\x98", "\\xe6\\x98"},                    // cut
    };
    for (const auto& row : rows) EXPECT_EQ(Escaped(row.bytes), row.shown);
    EXPECT_EQ(EscapedMessage("a \\x1b\nb \x1b[m\r"), "a \\x1b\nb \\x1b[m\\r") << "parts may be escaped already";
}

TEST(Width, CountsColumnsAndCutsOnWholeCharacters) {
    EXPECT_EQ(DisplayWidth("abc"), 3u);
    EXPECT_EQ(DisplayWidth("映画"), 4u);
    EXPECT_EQ(DisplayWidth("e\xcc\x81"), 1u) << "a combining accent takes no column";
    EXPECT_EQ(CutToWidth("映画館", 5), "映画…");
    EXPECT_EQ(CutToWidth("映画館", 6), "映画館");
    EXPECT_EQ(CutToWidth("abc", 0), "");
}

std::vector<std::string> Lines(const std::string& text) {
    std::istringstream rest(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(rest, line);) lines.push_back(line);
    return lines;
}

TEST(Table, FitsTheWidthByCuttingThenLeavingOut) {
    Table table({Left("NO"), Elastic("TITLE"), Right("SIZE"), Left("NOTE", 2)});
    table.Add({"7.1", "A long title that gives way 映画館映画館映画館映画館", "1234567", "of little interest"});
    table.Add({"10.12", "Short", "1"});
    const std::string wide = table.Render(200, false);
    EXPECT_NE(wide.find("映画館映画館映画館映画館  1234567  of little interest\n"), std::string::npos) << wide;
    EXPECT_NE(wide.find("10.12  Short"), std::string::npos);
    for (const std::size_t width : {80u, 45u, 30u, 24u}) {
        const std::string text = table.Render(width, false);
        for (const std::string& line : Lines(text)) EXPECT_LE(DisplayWidth(line), width) << text;
        EXPECT_NE(text.find("1234567"), std::string::npos) << "a column that must stay: " << text;
        EXPECT_EQ(text.find("NOTE") != std::string::npos, width >= 45u) << text;
    }
    EXPECT_EQ(table.Render(80, true).find("\x1b[1mNO\x1b[0m"), 0u);
}

TEST(Plain, ALineForEachItemOfAList) {
    const Json body = {{"name", "a\nb=c"},
                       {"none", nullptr},
                       {"list", {1, true}},
                       {"boards", {{{"name", "the \"attic\""}, {"deep", {{"port", 1}}}}, {{"name", "cellar"}}}}};
    EXPECT_EQ(PlainText(body),
              "name=a\\nb=c none= list.0=1 list.1=true\nname=\"the \\\"attic\\\"\" deep.port=1\nname=cellar\n");
}

TEST(Words, SimilarOnesAreSuggestedAndBlanksQuoted) {
    const std::vector<std::string> known = {"status", "stream", "scan", "raw"};
    const struct {
        const char *word, *meant;
    } rows[] = {{"stauts", "status"}, {"STREM", "stream"}, {"scna", "scan"}, {"upgrade", ""}, {"", ""}, {"xyz", ""}};
    for (const auto& [word, meant] : rows) {
        const std::string wanted = *meant == 0 ? "" : "; did you mean \"" + std::string(meant) + "\"?";
        EXPECT_EQ(DidYouMean(word, known), wanted) << word;
    }
    EXPECT_EQ(ShellWord("roof-1"), "roof-1");
    EXPECT_EQ(ShellWord("HBO 2's\n"), "'HBO 2'\\''s\\n'");
    EXPECT_EQ(ShellWord(""), "''");
}

TEST(GuideGrid, FitsTheWidthAndPlacesEventsInTime) {
    using namespace std::chrono_literals;
    const Minutes day{};
    const auto event = [&](std::chrono::minutes at, std::chrono::minutes length, const char* title) {
        return GuideEvent{day + at, length, title, ""};
    };
    const std::vector<GridRow> rows = {
        {"7.1 NEWS",
         {event(19h, 45min, "Early"), event(19h + 45min, 30min, "At a quarter to"), event(21h, 2h, "\x1b[2J")}},
        {"A name that is far too long",
         {event(18h, 6h, "映画映画映画映画映画映画映画映画映画映画映画映画映画映画映画")}},
        {"empty", {}}};
    for (const std::size_t width : {40u, 80u, 200u}) {
        const std::string grid = DrawGrid(rows, day + 19h, 3h, day + 20h, width, false);
        const std::vector<std::string> lines = Lines(grid);
        ASSERT_EQ(lines.size(), 4u);
        for (const std::string& line : lines) EXPECT_LE(DisplayWidth(line), width) << grid;
        EXPECT_NE(lines[0].find("19:00"), std::string::npos);
        std::size_t at = 0;
        const std::size_t plot = width - 17;
        for (const std::size_t minutes : {0u, 45u, 120u}) {  // the gap before the last event stays empty
            at = lines[1].find("│", at + 1);
            EXPECT_EQ(DisplayWidth(lines[1].substr(0, at)), 17 + plot * minutes / 180) << grid;
        }
    }
    EXPECT_NE(DrawGrid(rows, day + 19h, 3h, day + 20h, 80, true).find("\x1b[7m│At"), std::string::npos)
        << "now is inverse";
}

}  // namespace
}  // namespace zulctl
