// Programmes from PAT, PMT and VCT, as the SCAL report shows them; damaged results files; the programmes' languages.
#include <gtest/gtest.h>

#include <fstream>

#include "guide_fixture.h"
#include "status_block.h"

namespace {

constexpr std::uint16_t kProgram = 0x3c4d;
constexpr const char* kResultsFile = "/mnt/hd1/zul_scan_results";

class Programmes : public GuideTest {};

/// The line of a programme without a VCT, with the given types and encryption.
std::string BareLine(const char* types, char encryption = 'C') {
    return std::string("SCAL 000 1a2b 3c4d [11:0:00:") + types + "] " + encryption + " A \r\n";
}

class Languages : public GuideTest {
 protected:
    Languages() { Fill('T'); }

    void Fill(char role) {
        Begin(role);
        if (role == 'T') Tune(17);
        store->AddProgramToScanResults(0x1a2b, kProgram);
    }

    bool Audio(const char* code, int type, std::uint16_t pid) {
        return store->SetLanguageForProgram(0x1a2b, kProgram, code, Language::eAudio, type, pid, 0);
    }
    bool Caption(const char* code, std::uint16_t pid, int service) {
        return store->SetLanguageForProgram(0x1a2b, kProgram, code, Language::eCaption, 0, pid, service);
    }

    /// \return code, PID and counter of each entry
    std::string Counters() {
        std::string text;
        for (const Language& entry : ProgrammesOf(*store).front()->language) {
            text += std::string(entry.language) + ':' + std::to_string(entry.audioPid) + '=' +
                    std::to_string(entry.languageCount) + ' ';
        }
        return text;
    }
};

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
    store->RewindScan();
    char line[256];
    EXPECT_GT(store->GetNextProgramScalFormatted(line, sizeof line), 0);
    store->Store().Clear();
    store->AddProgramToScanResults(0x1a2b, 0x3c4d);
    EXPECT_GT(store->GetNextProgramScalFormatted(line, sizeof line), 0) << "a scan restarts the report";
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
        {"shorter, then zeros", std::string("\0N\0E\0W\0S\0\0\0\0\0\0", 14), "A NEWS"},
        {"shorter, then blanks", std::string("\0N\0E\0W\0S\0 \0 \0 ", 14), "A NEWS   "},
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

TEST_F(Programmes, ADamagedFileIsReadUpToTheDamage) {
    const std::string name = " 00 4e 00 45 00 57 00 53 00 00 00 00 00 00";
    const std::string good = "071 1a2b 3c4d 0011 ff C 02 81" + name + "\n";
    const std::string shown = "SCAL 071 1a2b 3c4d [11:0:ff:02:81] C A NEWS\r\n";
    const struct {
        std::string what, content, report;
    } rows[] = {
        {"good", good, shown},
        {"the last channel", "071 1a2b 3c4d 009e ff C 02 81" + name + "\n",
         "SCAL 071 1a2b 3c4d [9e:0:ff:02:81] C A NEWS\r\n"},
        {"a channel above the last", good + "071 1a2b 3c4d 009f ff C 02 81" + name + "\n" + good, shown},
        {"a channel below the first", good + "071 1a2b 3c4d ffffffff ff C 02 81" + name + "\n" + good, shown},
        {"a field short at the end", good + good.substr(0, good.size() - 4), shown},
        {"strength between steps", "071 1a2b 3c4d 0011 98 E 02 81" + name,
         "SCAL 071 1a2b 3c4d [11:0:66:02:81] E A NEWS\r\n"},
        {"ids of 17 bits", "071 f1a2b f3c4d 0011 ff C 02 81" + name, shown},
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

TEST_F(Languages, AgeInFrontOfTheEntryThatIsSeen) {
    const struct {
        const char* code;
        std::uint16_t pid;
        bool isNew;
        const char* counters;
    } steps[] = {{"eng", 1, true, "eng:1=30 "},
                 {"spa", 2, true, "eng:1=29 spa:2=30 "},
                 {"eng", 1, false, "eng:1=30 spa:2=30 "},
                 {"spa", 2, false, "eng:1=29 spa:2=30 "},
                 {"fra", 3, true, "eng:1=28 spa:2=29 fra:3=30 "},
                 {"spa", 2, false, "eng:1=27 spa:2=30 fra:3=30 "},
                 {"spa", 4, true, "eng:1=26 spa:2=29 fra:3=29 spa:4=30 "}};
    for (const auto& step : steps) {
        EXPECT_EQ(Audio(step.code, 0, step.pid), step.isNew) << step.code << step.pid;
        EXPECT_EQ(Counters(), step.counters);
    }
    EXPECT_FALSE(store->SetLanguageForProgram(0x1a2b, kProgram + 1, "eng", Language::eAudio, 0, 9, 0))
        << "no such programme";
}

TEST_F(Languages, FallOutAfterThirtyWalks) {
    Audio("old", 0, 1);
    for (int walk = 1; walk < 30; ++walk) Audio("eng", 0, 2);
    EXPECT_EQ(Counters(), "old:1=1 eng:2=30 ");
    EXPECT_FALSE(Audio("eng", 0, 2)) << "the entry after the one that falls out is compared without ageing";
    EXPECT_EQ(Counters(), "eng:2=30 ");

    Fill('T');
    Audio("old", 0, 1);
    for (int walk = 1; walk < 30; ++walk) Audio(walk % 2 ? "a__" : "b__", 0, 2);
    EXPECT_EQ(Counters(), "old:1=1 a__:2=30 b__:2=30 ") << "the match ends the walk";
    EXPECT_TRUE(Audio("new", 0, 3));
    EXPECT_EQ(Counters(), "a__:2=30 b__:2=29 new:3=30 ") << "the entry after it isn't aged";

    Fill('T');
    Audio("old", 0, 1);
    for (auto& entry : ProgrammesOf(*store).front()->language) entry.languageCount = 1;
    EXPECT_TRUE(Audio("old", 0, 9)) << "the last entry falls out, and the walk is over";
    EXPECT_EQ(Counters(), "old:9=30 ");
}

TEST_F(Languages, AreListedByTheirKind) {
    EXPECT_EQ(Listing(Language::eAudio), "LANG 1a2b 3c4d \r\nOK\r\n");
    Audio("eng", 0, 1);
    Audio("spa", 0, 2);
    Audio("spa", 3, 2);
    Caption("fra", 3, 1);
    Caption("eng", 1, 2);  // known by language, type and PID: refreshes the audio
    Caption("deu", 3, 63);
    store->AddProgramToScanResults(0x1a2b, 0x00ff);
    EXPECT_EQ(Listing(Language::eAudio), "LANG 1a2b 3c4d eng00,spa00,spa03\r\nLANG 1a2b 00ff \r\nOK\r\n");
    EXPECT_EQ(Listing(Language::eCaption), "SUB 1a2b 3c4d fra,deu\r\nSUB 1a2b 00ff \r\nOK\r\n");
    Tune(18);
    EXPECT_EQ(Listing(Language::eAudio), "OK\r\n");
    Tune(17);
    store->CleanScalProgramDescriptors();
    EXPECT_EQ(Listing(Language::eAudio), "LANG 1a2b 3c4d \r\nLANG 1a2b 00ff \r\nOK\r\n");
}

TEST_F(Languages, AListingEndsOnAWholeLine) {
    Begin('T');
    Tune(17);
    std::string expected;
    for (std::uint16_t program = 1; program <= 60; ++program) {
        store->AddProgramToScanResults(0x1a2b, program);
        char head[32];
        std::snprintf(head, sizeof head, "LANG 1a2b %.4x ", program);
        std::string line = head;
        for (char language = 'a'; language < 'a' + 24; ++language) {
            const char code[4] = {'x', 'y', language, '\0'};
            store->SetLanguageForProgram(0x1a2b, program, code, Language::eAudio, 4, 1, 0);
            if (language != 'a') line += ',';
            line.append(code).append("04");
        }
        line += "\r\n";
        if (expected.size() + line.size() + 4 < TunerManager::kReplySize) expected += line;
    }
    EXPECT_EQ(Listing(Language::eAudio), expected + "OK\r\n");
    EXPECT_GT(expected.size(), 8000u);
}

TEST_F(Languages, AReceiverFindsTheOneOfItsProgramme) {
    board::StatusBlock block;
    block.Programme(kProgram);
    Fill('R');
    store->AddProgramToScanResults(0x1a2b, 1);
    store->SetLanguageForProgram(0x1a2b, 1, "eng", Language::eAudio, 0, 0x99, 0);
    Audio("eng", 0, 0x31);
    Audio("eng", 3, 0x32);
    Caption("eng", 0x30, 4);
    const struct {
        const char* language;
        int type, pid;
        std::size_t seconds;
    } rows[] = {{"eng", 0, 0x31, 0}, {"eng", 3, 0x32, 0}, {"eng", 2, 0, 3},
                {"spa", 0, 0, 3},    {"en", 0, 0, 3},     {"", 0, 0, 3}};
    for (const auto& row : rows) {
        fast_machine::TakeSleeps();
        EXPECT_EQ(store->GetAudioPid(row.language, row.type), row.pid) << row.language << row.type;
        EXPECT_EQ(fast_machine::TakeSleeps(), std::vector<std::int64_t>(row.seconds, 1000000))
            << row.language << row.type;
    }
    EXPECT_EQ(store->GetSubtitleIndex("eng"), 4);
    EXPECT_EQ(store->GetSubtitleIndex("spa"), -1);
    fast_machine::TakeSleeps();
    int tries = 0;
    fast_machine::OnSleep([&](std::int64_t) {
        if (++tries == 2) Audio("kor", 0, 0x77);  // the lock is free while the search waits
    });
    EXPECT_EQ(store->GetAudioPid("kor", 0), 0x77);
    EXPECT_EQ(tries, 2);
    block.Programme(0x10000 + kProgram);
    EXPECT_EQ(store->GetAudioPid("eng", 0), 0) << "another programme";
}
