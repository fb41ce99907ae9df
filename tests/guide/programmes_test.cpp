// Programmes from PAT, PMT and VCT, as the SCAL report shows them; intact and damaged results files.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>

#include "guide_fixture.h"

namespace {

constexpr const char* kResultsFile = "/mnt/hd1/zul_scan_results";

class Programmes : public GuideTest {};

/// The line of a programme without a VCT, with the given types and encryption.
std::string BareLine(const char* types, char encryption = 'C') {
    return std::string("SCAL 000 1a2b 3c4d [11:0:00:") + types + "] " + encryption + " A \r\n";
}

std::string LineOf(const ScalProgramDesc& program) {
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const file = open_memstream(&text, &size);
    EXPECT_TRUE(program.SaveToFile(file));
    std::fclose(file);
    const std::string line(text, size);
    std::free(text);
    return line;
}

}  // namespace

TEST_F(Programmes, AreAddedOnceAChannelWhateverTheTransportStream) {
    Tune(17);
    for (int repetition = 0; repetition < 3; ++repetition) {
        EXPECT_TRUE(store->AddProgramToScanResults(static_cast<std::uint16_t>(0x1a2b + repetition), 0x3c4d));
    }
    EXPECT_FALSE(store->ClearScanResults(17)) << "it changes nothing";
    EXPECT_EQ(Scal(), BareLine("00:00"));
    Tune(16);
    store->AddProgramToScanResults(0x1a2b, 0x3c4d);
    EXPECT_EQ(Scal(), "SCAL 000 1a2b 3c4d [10:0:00:00:00] C A \r\n" + BareLine("00:00"))
        << "the report goes by channel";
}

TEST_F(Programmes, TakeTheTypesOfTheirStreams) {
    const struct {
        int type;
        const char* types;
    } rows[] = {{0x00, "00:00"}, {0x01, "01:00"}, {0x02, "02:00"}, {0x03, "00:03"}, {0x04, "00:04"}, {0x05, "00:00"},
                {0x0f, "00:0f"}, {0x10, "00:00"}, {0x1a, "00:00"}, {0x1b, "1b:00"}, {0x80, "00:00"}, {0x81, "00:81"}};
    for (const auto& row : rows) {
        Begin('T');
        Tune(17);
        store->AddProgramToScanResults(0x1a2b, 0x3c4d);
        EXPECT_TRUE(store->SetInfoForProgram(0x1a2b, 0x3c4d, static_cast<std::uint8_t>(row.type), 0));
        EXPECT_EQ(Scal(), BareLine(row.types)) << row.type;
    }
}

TEST_F(Programmes, StayEncryptedAndAreFoundByRole) {
    for (const char role : {'T', 'R'}) {
        Begin(role);
        if (role == 'T') Tune(17);
        const std::string channel = role == 'T' ? "11" : "00";
        const auto line = [&](const char* transport, const char* types, char encryption) {
            return std::string("SCAL 000 ") + transport + " 3c4d [" + channel + ":0:00:" + types + "] " + encryption +
                   " A \r\n";
        };
        store->AddProgramToScanResults(0x1a2b, 0x3c4d);
        store->SetInfoForProgram(0x1a2b, 0x3c4d, 2, 2);
        store->SetInfoForProgram(0x1a2b, 0x3c4d, 0x81, 1);
        EXPECT_EQ(Scal(), line("1a2b", "02:81", 'E')) << "clear packets don't take it back, " << role;
        EXPECT_TRUE(store->SetInfoForProgram(0x9999, 0x3c4d, 0x1b, 1));
        EXPECT_EQ(Scal(), role == 'T' ? line("1a2b", "02:81", 'E') : line("9999", "1b:81", 'E')) << role;
        EXPECT_TRUE(store->SetInfoForProgram(0x1a2b, 0x0001, 0x1b, 1)) << "unknown";
    }
}

TEST_F(Programmes, AreReportedWithTheNameOfTheirVct) {
    const struct {
        const char* what;
        std::string name;  ///< 14 bytes
        std::string shown;
    } rows[] = {
        {"seven characters", std::string("\0W\0E\0A\0T\0H\0E\0R", 14), "A WEATHER"},
        {"shorter, zeros behind", std::string("\0N\0E\0W\0S\0\0\0\0\0\0", 14), "A NEWS"},
        {"shorter, blanks behind", std::string("\0N\0E\0W\0S\0 \0 \0 ", 14), "A NEWS   "},
        {"empty", std::string(14, '\0'), "A "},
        {"only the first high byte counts", std::string("\0N\x04 \0W", 6) + std::string(8, '\0'), "A N W"},
        {"Unicode", std::string("\x04\x1d\x04\x10\0\x31\xff\xfe\0\0\0\0\0\0", 14),
         "U 041d 0410 0031 fffe 0000 0000 0000"},
    };
    for (const auto& row : rows) {
        Begin('T');
        Tune(17);
        store->AddProgramToScanResults(0x1a2b, 0x3c4d);
        EXPECT_TRUE(store->SetPsipInfoForProgram(0x1a2b, 0x3c4d, row.name.data(), 7, 1, 4, 0, 0x1a2b, 9)) << row.what;
        EXPECT_EQ(Scal(), "SCAL 071 1a2b 3c4d [11:0:00:00:00] C " + row.shown + "\r\n") << row.what;
    }
    EXPECT_FALSE(store->SetPsipInfoForProgram(0x1a2b, 0x3c4e, rows[0].name.data(), 7, 1, 4, 0, 0x1a2b, 9));
}

TEST_F(Programmes, LinesOfTheFileComeBackAsTheyWent) {
    std::mt19937 random(1);
    const auto any = [&](unsigned most) { return static_cast<unsigned>(random() % (most + 1ull)); };
    for (int round = 0; round < 1000; ++round) {
        ScalProgramDesc program;
        program.channelNo = static_cast<int>(any(99999));
        program.transportId = static_cast<std::uint16_t>(any(0xffff));
        program.programId = static_cast<std::uint16_t>(any(0xffff));
        program.channelId = static_cast<int>(any(158));
        program.signalStrength = static_cast<int>(any(5));
        program.encryption = any(1) == 0 ? 'C' : 'E';
        program.videoType = any(0xff);
        program.audioType = any(0xff);
        for (std::size_t i = 0; i < ScalProgramDesc::kNameBytes; ++i)
            program.channelShortName[i] = static_cast<char>(any(0xff));
        const std::string line = LineOf(program);
        FILE* const file = fmemopen(const_cast<char*>(line.data()), line.size(), "r");
        ScalProgramDesc back;
        EXPECT_TRUE(back.LoadFromFile(file)) << line;
        std::fclose(file);
        EXPECT_EQ(LineOf(back), line);
        EXPECT_EQ(back.channelShortName[ScalProgramDesc::kNameBytes], '\0');
    }
}

TEST_F(Programmes, ADamagedFileIsReadUpToTheDamage) {
    const std::string name = " 00 4e 00 45 00 57 00 53 00 00 00 00 00 00";
    const std::string good = "071 1a2b 3c4d 0011 ff C 02 81" + name + "\n";
    const std::string shown = "SCAL 071 1a2b 3c4d [11:0:ff:02:81] C A NEWS\r\n";
    const struct {
        std::string what, content, report;
    } rows[] = {
        {"empty", "", ""},
        {"good", good, shown},
        {"the last channel", "071 1a2b 3c4d 009e ff C 02 81" + name + "\n",
         "SCAL 071 1a2b 3c4d [9e:0:ff:02:81] C A NEWS\r\n"},
        {"a channel behind the last", good + "071 1a2b 3c4d 009f ff C 02 81" + name + "\n" + good, shown},
        {"a channel below the first", good + "071 1a2b 3c4d ffffffff ff C 02 81" + name + "\n" + good, shown},
        {"no number", good + "x" + good, shown},
        {"a field short at the end", good + good.substr(0, good.size() - 4), shown},
        {"cut in a field", good + good.substr(0, 12), shown},
        {"strength between steps", "071 1a2b 3c4d 0011 98 E 02 81" + name,
         "SCAL 071 1a2b 3c4d [11:0:66:02:81] E A NEWS\r\n"},
        {"ids of 17 bits", "071 f1a2b f3c4d 0011 ff C 02 81" + name, shown},
        {"binary", std::string("\0\xff\n\n", 4), ""},
    };
    for (const auto& row : rows) {
        Begin('T');
        std::ofstream(kResultsFile) << row.content;
        EXPECT_TRUE(store->LoadScanResults()) << row.what;
        EXPECT_EQ(Scal(), row.report) << row.what;
    }
    std::remove(kResultsFile);
    EXPECT_FALSE(store->LoadScanResults());
}
