// Escaping, tables of every width, plain text.
#include "output/output.h"

#include <gtest/gtest.h>

#include <random>

#include "output/escape.h"

namespace zulctl {
namespace {

TEST(Escape, LetsThroughTextAndNothingElse) {
    struct Row {
        std::string bytes;
        const char* shown;
    };
    const Row rows[] = {
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
    for (const Row& row : rows) EXPECT_EQ(Escaped(row.bytes), row.shown);
}

TEST(Escape, RandomBytesNeverYieldAControlCharacter) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes(random() % 40, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        for (const char c : Escaped(bytes))
            EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) << HexText(bytes);
        EXPECT_EQ(FromHex(HexText(bytes)), bytes);
    }
}

TEST(Width, CountsColumnsAndCutsOnWholeCharacters) {
    EXPECT_EQ(DisplayWidth("abc"), 3u);
    EXPECT_EQ(DisplayWidth("映画"), 4u);
    EXPECT_EQ(DisplayWidth("e\xcc\x81"), 1u) << "a combining accent takes no column";
    EXPECT_EQ(CutToWidth("映画館", 5), "映画…");
    EXPECT_EQ(CutToWidth("映画館", 6), "映画館");
    EXPECT_EQ(CutToWidth("abc", 0), "");
}

std::string LongestLine(const std::string& text) {
    std::string longest, line;
    for (const char c : text) {
        if (c != '\n')
            line += c;
        else if (DisplayWidth(line) > DisplayWidth(longest))
            longest = std::exchange(line, "");
        else
            line.clear();
    }
    return longest;
}

TEST(Table, FitsTheWidthByCuttingThenLeavingOut) {
    Table table({{"NO"}, {"TITLE", Align::kLeft, true}, {"SIZE", Align::kRight}, {"NOTE", Align::kLeft, false, 2}});
    table.Add({"7.1", "A long title that gives way 映画館映画館映画館映画館", "1234567", "of little interest"});
    table.Add({"10.12", "Short", "1"});
    const std::string wide = table.Render(200, false);
    EXPECT_NE(wide.find("映画館映画館映画館映画館  1234567  of little interest\n"), std::string::npos) << wide;
    EXPECT_NE(wide.find("10.12  Short"), std::string::npos);
    for (const std::size_t width : {80u, 60u, 45u, 30u, 24u}) {
        const std::string text = table.Render(width, false);
        EXPECT_LE(DisplayWidth(LongestLine(text)), width) << text;
        EXPECT_NE(text.find("1234567"), std::string::npos) << "a column that must stay: " << text;
        EXPECT_EQ(text.find("NOTE") != std::string::npos, width >= 45u) << text;
    }
    EXPECT_EQ(table.Render(80, true).find("\x1b[1mNO\x1b[0m"), 0u);
}

TEST(Plain, OneKeyALineWhateverIsInTheValue) {
    const Json body = {{"name", "a\nb=c"}, {"none", nullptr}, {"list", {1, true, {{"deep", "x"}}}}};
    EXPECT_EQ(PlainText(body), "name=a\\nb=c\nnone=\nlist.0=1\nlist.1=true\nlist.2.deep=x\n");
}

TEST(Numbers, ForPeople) {
    EXPECT_EQ(BitRateText(19392658), "19.39 Mbit/s");
    EXPECT_EQ(BitRateText(900), "900 bit/s");
    EXPECT_EQ(Bar(0.5, 4), "██░░");
    EXPECT_EQ(Bar(7, 2), "██");
}

}  // namespace
}  // namespace zulctl
