// The program zul-mux: pictures and sound as ffprobe and ffmpeg read them, exit codes, the files it leaves; its
// descriptions in JSON, and the errors for invalid ones.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "mux/description_json.h"
#include "support/shell.h"

namespace {

namespace fs = std::filesystem;

class Program : public testing::Test {
 protected:
    Program() {
        char name[] = "/tmp/mux_program_test.XXXXXX";
        mFolder = mkdtemp(name);
    }
    ~Program() override { fs::remove_all(mFolder); }

    Outcome Mux(const std::string& arguments) const {
        return Shell("cd " + mFolder + " && " + ZUL_MUX + " " + arguments);
    }
    std::size_t Files() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(mFolder), fs::directory_iterator()));
    }

    std::string mFolder;
};

const std::string kSmall = std::string(ZUL_EXAMPLES) + "/small.json ";

TEST_F(Program, PicturesAndSoundOfEveryProgrammeAreFoundAndDecoded) {
    if (Shell("ffmpeg -version").code != 0) GTEST_SKIP() << "ffmpeg is missing";
    const Outcome made = Mux(kSmall + "-d 3 -o out.ts");
    ASSERT_EQ(made.code, 0) << made.text;
    EXPECT_EQ(Files(), 1u) << "coded streams are taken away";
    const auto shown =
        Shell(
            "ffprobe -v error -show_entries program=program_id:program_stream=codec_name,width,sample_rate,channels:"
            "program_stream_tags=language -of compact=nk=1:p=0 " +
            mFolder + "/out.ts")
            .text;
    EXPECT_NE(shown.find("1|mpeg2video|352|\n\nac3|48000|2|eng\nac3|48000|2|spa\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("2|mpeg2video|352|\n\nac3|48000|2|fra\n"), std::string::npos) << shown;
    for (const std::string programme : {"1", "2"}) {
        const auto decoded =
            Shell("ffmpeg -nostdin -v error -i " + mFolder + "/out.ts -map 0:p:" + programme + " -f null -");
        EXPECT_EQ(decoded.text, "");
        // 3 s are 89 pictures, all of them decoded.
        const auto counted = Shell("ffprobe -v error -count_frames -select_streams p:" + programme +
                                   ":v -show_entries stream=nb_read_frames "
                                   "-of default=nk=1:nw=1 " +
                                   mFolder + "/out.ts")
                                 .text;
        EXPECT_EQ(counted.substr(0, 3), "89\n");
    }
    // Repeated: only the jump of the clock is reported.
    const auto twice =
        Shell("cd " + mFolder + " && cat out.ts out.ts | ffmpeg -nostdin -v warning -i - -map 0:p:1 -f null -").text;
    EXPECT_EQ(twice.find("corrupt"), std::string::npos) << twice;
    EXPECT_EQ(twice.find("concealing"), std::string::npos) << twice;
}

TEST_F(Program, SaysWhatIsWrongAndLeavesNothing) {
    std::ofstream(mFolder + "/bad.json") << R"({"rate": 1})";
    std::ofstream(mFolder + "/tight.json")
        << R"({"rate": 200000, "programmes": [{"name": "A", "channel": "7.1", "video": {}}]})";
    std::ofstream(mFolder + "/pattern.json")
        << R"({"programmes": [{"name": "A", "channel": "7.1", "video": {"pattern": "nosuch"}}]})";
    const struct {
        std::string arguments;
        int code;
        std::string text;
    } kCases[] = {
        {"", 2, "required"},
        {kSmall + "-o out.ts -d 0", 2, "--duration"},
        {"missing.json -o out.ts", 1, "zul-mux: missing.json: it can't be read"},
        {"bad.json -o out.ts", 1, "zul-mux: bad.json: rate: a number from 100000"},
        {"tight.json --no-av -o out.ts", 1, "zul-mux: the rate of 200000 bit/s is too low"},
        {kSmall + "--no-av -o nowhere/out.ts", 1, "nowhere/out.ts: it can't be written"},
        {kSmall + "--no-av -o /dev/full", 1, "/dev/full: writing failed"},
        {kSmall + "-o out.ts --ffmpeg ./nosuch", 1, "./nosuch: No such file"},
        {kSmall + "-o out.ts --start yesterday", 1, "\"yesterday\": a moment"},
        {"pattern.json -o out.ts", 1, "zul-mux: "},
    };
    for (const auto& [arguments, code, text] : kCases) {
        const Outcome outcome = Mux(arguments);
        EXPECT_EQ(outcome.code, code) << arguments << ": " << outcome.text;
        EXPECT_NE(outcome.text.find(text), std::string::npos) << arguments << ": " << outcome.text;
        EXPECT_EQ(Files(), 3u) << arguments;
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full")) << "a device stays what it is";
    EXPECT_EQ(Mux(kSmall + "--no-av -q -d 1 -o - | wc -c").text, std::to_string(3989 * 188) + "\n");
}

const std::string kHead = R"({"start": "2026-03-01T18:00:00Z", "programmes": [{"name": "A", "channel": "7.1")";

std::string ErrorOf(const std::string& json) {
    try {
        mux::ParseDescription(json);
        return "none";
    } catch (const std::exception& error) {
        return error.what();
    }
}

TEST(Description, NamesTheWrongKeyAndWhatWasExpected) {
    const struct {
        std::string json;
        std::string error;
    } kCases[] = {
        {kHead + "}]}", "none"},
        {"[]", "an object was expected, not []"},
        {"{", "parse error"},
        {R"({"rate": 99999})", "rate: a number from 100000 to 200000000 was expected, not 99999"},
        {R"({"ratte": 5})", "ratte: there is no such key"},
        {R"({"vct": "air"})", "vct: one of \"terrestrial\", \"cable\" was expected, not \"air\""},
        {R"({"daylight_saving": 1})", "(/daylight_saving) type must be boolean, but is number"},
        {R"({"programmes": {}})", "(/programmes)"},
        {R"({"programmes": [{"channel": "7.1"}]})", "(/programmes/0) key 'name' not found"},
        {R"({"programmes": [{"name": "A", "channel": "7.1x"}]})", "channel: two numbers up to 1023"},
        {kHead + R"(, "pmt_pid": 8192}]})", "pmt_pid: a number from 16 to 8190 was expected, not 8192"},
        {kHead + R"(, "pmt_pid": 8187}]})", "PID 8187: both the PSIP tables and the PMT of programme 1"},
        {kHead + R"(, "video": {"size": "3x3"}}]})", "size: even numbers as in \"704x480\" was expected"},
        {kHead + R"(, "audio": [{}, {"language": "english"}]}]})", "language: three letters was expected"},
        {kHead + R"(, "captions": [{"service": 64}]}]})", "service: a number from 0 to 63 was expected, not 64"},
        {kHead + R"(, "text": 5}]})", "text: a text, an object or an array of objects was expected, not 5"},
        {kHead + R"(, "guide": {"events": [{"start": "soon"}]}}]})", "\"soon\": a moment"},
        {kHead + R"(, "guide": {"rules": [{"from": "+0:00", "minutes": []}]}}]})", "minutes: an array of lengths"},
        {kHead + R"(, "guide": {"events": [{"start": "+0:00", "id": 4}, {"start": "+0:00", "id": 4}]}}]})",
         "event id of programme 1 4: both an event and an event"},
        {kHead + R"(}, {"name": "B", "channel": "7.2", "number": 1}]})",
         "programme number 1: both programme 1 and programme 1"},
        {R"({"start": "2026-02-30T18:00:00Z"})", "\"2026-02-30T18:00:00Z\": a moment as"},
    };
    for (const auto& [json, error] : kCases) {
        const std::string found = ErrorOf(json);
        EXPECT_NE(found.find(error), std::string::npos) << json << ": " << found;
    }
}

TEST(Description, TimesAreGpsSeconds) {
    // 1 March 2026 18:00 UTC is 1772388000 in Unix time; 18 leap seconds since 1980.
    EXPECT_EQ(mux::ParseDescription("{}").start, 1'772'388'000u - 315'964'800u + 18u);
    const auto events = mux::ParseDescription(kHead + R"(, "guide": {"events": [
        {"start": "-0:10"}, {"start": "+26:05", "seconds": 90}, {"start": "2026-03-01T18:00:07Z", "minutes": 2}]}}]})")
                            .programmes[0]
                            .events;
    const std::pair<std::int64_t, std::uint32_t> expected[] = {{-600, 1800}, {26 * 3600 + 300, 90}, {7, 120}};
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(std::pair(events[i].start, events[i].seconds), expected[i]) << i;
}

TEST(Description, RulesMakeDaysOfEvents) {
    const auto events =
        mux::ParseDescription(
            kHead + R"(, "guide": {"events": [{"start": "+0:00", "id": 2}], "rules": [{"from": "-1:00", "hours": 48,
        "minutes": [30, 60], "titles": ["News {n}", {"text": "Kino {day}", "language": "deu"}], "texts": ["A", "B"],
        "text_every": 3, "overlap_every": 4}]}}]})")
            .programmes[0]
            .events;
    ASSERT_EQ(events.size(), 1u + 64u);
    EXPECT_EQ(events[1].id, 1) << "the lowest that is free";
    EXPECT_EQ(events[2].id, 3);
    EXPECT_EQ(events[1].start, -3600);
    EXPECT_EQ(events[2].start, -1800);
    EXPECT_EQ(events[3].title[0].text, "News 3");
    EXPECT_EQ(events[64].title[0].text, "Kino 2");
    EXPECT_EQ(events[64].title[0].language, "deu");
    EXPECT_EQ(events[1].text[0].text, "A");
    EXPECT_TRUE(events[2].text.empty());
    EXPECT_EQ(events[4].text[0].text, "B");
    EXPECT_EQ(events[4].seconds, 5400u) << "runs into its follower";
}

}  // namespace
