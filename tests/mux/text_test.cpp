// Texts encoded here and decoded by libucsi: both compressions, pages, languages, long texts.
#include <gtest/gtest.h>

#include <random>

#include "mux/error.h"
#include "mux/multiple_string.h"
#include "ucsi.h"

namespace {

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

TEST(HuffmanEncode, RandomTextsAreDecodedByLibucsi) {
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (auto left = random() % 60; left > 0; --left) {
            // Mostly what trees have short codes for, sometimes what they escape.
            const auto pick = random() % 10;
            text += pick < 7 ? "etaoinshrdlu SNT.,"[random() % 18]
                             : static_cast<char>(pick < 9 ? 32 + random() % 95 : 1 + random() % 26);
        }
        for (const Compression table : {Compression::kTitle, Compression::kDescription}) {
            ASSERT_EQ(Decoded({{.text = text, .compression = table}}), "eng:" + text) << "round " << round;
        }
    }
}

}  // namespace
