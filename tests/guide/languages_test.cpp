// Languages and captions of a programme: ageing, listings, and lookup by language.
#include <gtest/gtest.h>

#include "core/log.h"
#include "guide_fixture.h"
#include "status_block.h"

namespace {

constexpr std::uint16_t kProgram = 0x3c4d;

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
    EXPECT_FALSE(Audio("eng", 0, 2)) << "the entry behind the one that falls out is compared without ageing";
    EXPECT_EQ(Counters(), "eng:2=30 ");

    Fill('T');
    Audio("old", 0, 1);
    for (int walk = 1; walk < 30; ++walk) Audio(walk % 2 ? "a__" : "b__", 0, 2);
    EXPECT_EQ(Counters(), "old:1=1 a__:2=30 b__:2=30 ") << "the match ends the walk";
    EXPECT_TRUE(Audio("new", 0, 3));
    EXPECT_EQ(Counters(), "a__:2=30 b__:2=29 new:3=30 ") << "the entry behind isn't aged";

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

TEST_F(Languages, AreDumpedToTheLog) {
    Audio("eng", 2, 0x31);
    Caption("spa", 0x30, 4);
    global_debug_flag = 1;
    testing::internal::CaptureStdout();
    store->DumpLanguageInfo();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ZUL: \n=== LANGUAGE LIST for trid 0x1a2b, prid 0x3c4d ===\n"
              "ZUL: === language eng, type 0x2, pid 0x31\n"
              "ZUL: === language spa, type 0x0, service 0x4\n"
              "ZUL: \n");
}
