// What boards send on their own, and language listings.
#include "protocol/board_messages.h"

#include <gtest/gtest.h>

#include "master/damage.h"
#include "protocol/language_list.h"

namespace zulctl {
namespace {

TEST(ScanStep, Rows) {
    struct Row {
        const char* text;
        ScanStep::Kind kind;
        int number;
    };
    const Row rows[] = {{"BLINDSTART:0 OK\r\n", ScanStep::Kind::kStarted, 0},
                        {"BLINDSTART:1 KO\r\n", ScanStep::Kind::kCannotStart, 0},
                        {"BLINDLOCK:158 OK\r\n", ScanStep::Kind::kLocked, 158},
                        {"BLINDFND:0 OK\r\n", ScanStep::Kind::kFound, 0},
                        {"BLINDCMP:0 OK\r\n", ScanStep::Kind::kEnded, 0}};
    for (const Row& row : rows) {
        const auto step = ParseScanStep(row.text);
        ASSERT_TRUE(step) << row.text;
        EXPECT_EQ(step->kind, row.kind) << row.text;
        EXPECT_EQ(step->number, row.number) << row.text;
    }
    for (const char* text : {"", "OK\r\n", "BLINDLOCK: OK\r\n", "BLINDLOCK:-1 OK\r\n", "BLINDLOCK:7 OK",
                             "BLINDSTART:0 KO\r\n", "BLINDCMP:0 OK\r\nx", "BLINDLOCK:99999999 OK\r\n"}) {
        EXPECT_FALSE(ParseScanStep(text)) << text;
    }
}

TEST(LogLine, ALineEndsInZeroAndAFailureDoesnt) {
    const auto line = ParseLogLine(std::string("LOG: Tune to channel 7\n\r\n\0", 26));
    ASSERT_TRUE(line);
    EXPECT_FALSE(line->error);
    EXPECT_EQ(line->text, "Tune to channel 7");
    const auto failure = ParseLogLine("LOG:ERROR no udp\r\n");
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->error);
    EXPECT_EQ(failure->text, "no udp");
    EXPECT_EQ(ParseLogLine("LOG: \nfirst\nsecond\r\n")->text, "\nfirst\nsecond") << "only the end is trimmed";
    EXPECT_EQ(ParseLogLine("LOG: ")->text, "");
    for (const char* text : {"", "LOG", "log: x", "LOG:x", "OK\r\n"}) EXPECT_FALSE(ParseLogLine(text)) << text;
}

TEST(Key, TwelveBytes) {
    const std::string volume("REMOTE\x01\x04\x6e\x08\x01\xCC", 12);
    const auto key = ParseKey(volume);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->systemCode, 0x6e);
    EXPECT_EQ(key->Name(), "VOL+");
    EXPECT_TRUE(key->repeat);
    struct Row {
        int code;
        const char* name;
    };
    for (const Row& row : {Row{25, "0"}, Row{15, "1"}, Row{23, "9"}, Row{7, "UP"}, Row{13, "DOWN"}, Row{31, "BLUE"},
                           Row{1, "CHAN+"}, Row{0, ""}, Row{32, ""}, Row{255, ""}}) {
        EXPECT_EQ((KeyPress{0, row.code, false}.Name()), row.name) << row.code;
    }
    EXPECT_FALSE(ParseKey(volume.substr(0, 11)));
    EXPECT_FALSE(ParseKey(volume + "x"));
    EXPECT_FALSE(ParseKey("REMOTE6e\r\nxx"));
}

TEST(SerialByte, FiveBytes) {
    EXPECT_EQ(ParseSerialByte(std::string("UART\0", 5)), '\0');
    EXPECT_EQ(ParseSerialByte("UART\xff"), '\xff');
    EXPECT_FALSE(ParseSerialByte("UART"));
    EXPECT_FALSE(ParseSerialByte("UARTab"));
}

TEST(Languages, ListingsOfBothKinds) {
    const auto audio = ParseAudioLanguages("LANG 1a2b 3c4d eng00,spa03\r\nLANG 1a2b 3c4e \r\nOK\r\n");
    ASSERT_TRUE(audio);
    ASSERT_EQ(audio->size(), 2u);
    EXPECT_EQ((*audio)[0].id, (ProgrammeId{0x1a2b, 0x3c4d}));
    ASSERT_EQ((*audio)[0].entries.size(), 2u);
    EXPECT_EQ((*audio)[0].entries[1].code, "spa");
    EXPECT_EQ((*audio)[0].entries[1].type, 3);
    EXPECT_TRUE((*audio)[1].entries.empty());
    const auto captions = ParseCaptionLanguages("SUB 1a2b 3c4d eng,fra\r\nOK\r\n");
    ASSERT_TRUE(captions);
    EXPECT_EQ((*captions)[0].entries[1].code, "fra");
    EXPECT_TRUE(ParseAudioLanguages("OK\r\n")->empty());

    // The codes come from the air: commas, digits and short ones too.
    const auto odd = ParseAudioLanguages("LANG 1 2 a,b00,12300,x01\r\nOK\r\n");
    ASSERT_TRUE(odd);
    ASSERT_EQ((*odd)[0].entries.size(), 3u);
    EXPECT_EQ((*odd)[0].entries[0].code, "a,b");
    EXPECT_EQ((*odd)[0].entries[1].code, "123");
    EXPECT_EQ((*odd)[0].entries[2].code, "x");

    for (const char* text :
         {"", "KO\r\n", "LANG 1a2b 3c4d eng00", "LANG 1a2b 3c4d eng\r\nOK\r\n", "LANG 1a2b 3c4d eng00\r\n",
          "SUB 1a2b 3c4d eng\r\nOK\r\n", "LANG 1a2b 3c4d eng00,\r\nOK\r\n"}) {
        EXPECT_FALSE(ParseAudioLanguages(text)) << text;
    }
}

TEST(Messages, DamageIsSurvived) {
    const auto all = [](const std::string& bad) {
        ParseScanStep(bad), ParseLogLine(bad), ParseSerialByte(bad), ParseCaptionLanguages(bad);
        const auto audio = ParseAudioLanguages(bad);
        for (std::size_t n = 0; audio && n < audio->size(); ++n) {
            for (const auto& entry : (*audio)[n].entries) EXPECT_TRUE(entry.type >= 0 && entry.type <= 255) << bad;
        }
        const auto key = ParseKey(bad);
        EXPECT_TRUE(!key || key->Name().size() <= 6u);
    };
    damage::TryAll("LANG 1a2b 3c4d eng00,spa03\r\nLANG 1a2b 3c4e \r\nOK\r\n", all);
    damage::TryAll(std::string("REMOTE\x01\x04\x6e\x08\x01\xCC", 12), all);
    damage::TryAll("BLINDLOCK:158 OK\r\n", all);
}

}  // namespace
}  // namespace zulctl
