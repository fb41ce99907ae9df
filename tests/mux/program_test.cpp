// The program zul-mux: pictures and sound as ffprobe and ffmpeg read them, exit codes, and the files it leaves.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

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

}  // namespace
