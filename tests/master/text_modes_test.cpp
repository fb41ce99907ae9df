// Broadcast text by its mode byte; expected text from the standards.
#include "protocol/text_modes.h"

#include <gtest/gtest.h>

#include "output/escape.h"

namespace zulctl {
namespace {

TEST(TextModes, PagesAndEncodings) {
    struct Row {
        std::uint8_t mode;
        const char* hex;
        const char* text;
    };
    const Row rows[] = {
        {0x00, "4E657773", "News"},
        {0x00, "436166E9", "Café"},
        {0x03, "91B1", "Αα"},        // U+0391 U+03B1
        {0x04, "10", "А"},           // U+0410, Cyrillic
        {0x30, "42", "あ"},          // U+3042
        {0x3F, "6620753B", "映画"},  // UTF-16
        {0x3F, "D83DDE0041", "😀"},   // a surrogate pair, followed by an odd byte
        {0x3F, "D83D0041",
         "\xEF\xBF\xBD"
         "A"},                                              // half a pair
        {0x3E, "D6 6C 20 66 6C 69 65 DF 74", "Öl fließt"},  // the example of UTS #6
        {0x3E, "12 9C BE C1 BA B2 B0", "Москва"},           // the same, a Cyrillic window
        {0x3F, "", ""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(TextOfMode(row.mode, FromHex(row.hex)), row.text) << +row.mode << " " << row.hex;
    for (const int mode : {0x07, 0x08, 0x0F, 0x11, 0x1F, 0x28, 0x34, 0x3D, 0x40, 0xFF}) {
        EXPECT_FALSE(TextOfMode(static_cast<std::uint8_t>(mode), "a")) << mode;
    }
    EXPECT_EQ(ShownText(0x40, "ab"), "(text of mode 40: 6162)");
}

TEST(TextModes, AnyBytesOfAnyModeGiveUtf8) {
    for (int mode = 0; mode < 256; ++mode) {
        for (int seed = 0; seed < 40; ++seed) {
            std::string bytes;
            for (int n = 0; n < seed; ++n) bytes += static_cast<char>(n * 37 + seed * 101 + mode * 7);
            const std::string text = ShownText(static_cast<std::uint8_t>(mode), bytes);
            EXPECT_EQ(Escaped(text).find("\\x8"), std::string::npos) << mode << " " << HexText(bytes);
            EXPECT_EQ(Escaped(text).find("\\xf"), std::string::npos) << mode << " " << HexText(bytes);
        }
    }
}

}  // namespace
}  // namespace zulctl
