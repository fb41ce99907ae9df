// The program zulctl against a whole board: what operators see, what scripts rely on.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "evidence.h"
#include "live_board.h"
#include "support/shell.h"

namespace board {
namespace {

Outcome Zulctl(const std::string& arguments, bool errors = true) {
    return Shell("ZULCTL_CONFIG=/dev/null COLUMNS=100 " ZUL_ZULCTL " " + arguments, errors);
}

/// For EXPECT_TRUE: what zulctl said on the way, where it ended with another code or never said `words`.
testing::AssertionResult Says(const std::string& arguments, int code, const std::string& words) {
    const Outcome outcome = Zulctl(arguments);
    if (outcome.code == code && outcome.text.find(words) != std::string::npos) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "zulctl " << arguments << ": code " << outcome.code << ", not " << code
                                       << " with \"" << words << "\"\n"
                                       << outcome.text;
}

void WritePlan(const std::string& streams) {
    std::ofstream("/mnt/plan.toml") << "[boards.\"10.0.0.1\"]\nstreams = [" << streams << "]\n";
}

TEST(Zulctl, BringsABoardToItsPlanAndExportsWhatItSends) {
    WriteStream("/mnt/seven.ts", SmallMultiplex());
    LiveBoard board('T', {.band = {{7, {"/mnt/seven.ts", 5}}}, .clock = 50});
    ASSERT_TRUE(board.Start());
    const std::string at = "--board 10.0.0.1 ", one = R"({to = "239.1.1.1:5000", channels = ["ONE"]})";
    ASSERT_TRUE(Says(at + "scan --only 7", 0, "scanned: 3 programmes"));
    const auto tunings = [&] { return board->TheTuner().Tunings().All().size(); };

    WritePlan(one + R"(, {to = "239.1.1.2:5000", channels = ["11.2", "THREE"], slot = 0})");
    const std::size_t before = tunings();
    EXPECT_TRUE(Says("apply /mnt/plan.toml --dry-run", 0, "2 changes to make; nothing was sent"));
    EXPECT_EQ(tunings(), before);
    EXPECT_TRUE(Says("apply /mnt/plan.toml", 0, "2 changes made"));
    const std::string status = board.Ask("STATUS");
    EXPECT_NE(status.find("1 0 239.1.1.2:5000 0:1:ff:[0002:0003] 1 1 239.1.1.1:5000 0:1:ff:[0001] "), std::string::npos)
        << status;
    const std::size_t applied = tunings();
    EXPECT_TRUE(Says("apply /mnt/plan.toml", 0, "all is as planned"));
    EXPECT_EQ(tunings(), applied) << "nothing was sent";

    EXPECT_TRUE(Says(at + "export m3u --for vlc", 0,
                     "group-title=\"10.0.0.1\",THREE\n#EXTVLCOPT:program=3\nudp://@239.1.1.2:5000\n"));
    EXPECT_TRUE(Says(at + "export xmltv -o /mnt/guide.xml", 0, "3 channels, 3 streamed"));
    EXPECT_NE(FileText("/mnt/guide.xml").find("<title>The Feature Film</title>"), std::string::npos);
    if (std::system("command -v tv_validate_file >/dev/null") == 0) {
        EXPECT_EQ(std::system("tv_validate_file --dtd-file /usr/share/xmltv/xmltv.dtd /mnt/guide.xml >&2"), 0);
    }
    const auto exported = nlohmann::json::parse(Zulctl(at + "export m3u --json", false).text, nullptr, false);
    EXPECT_EQ(exported.value("schema", ""), "zulctl.export/1");

    WritePlan(one);
    EXPECT_TRUE(Says("apply /mnt/plan.toml", 0, "1 change made"));
    EXPECT_NE(board.Ask("STATUS").find(" 1 1 239.1.1.1:5000 0:1:ff:[0001] "), std::string::npos);
    EXPECT_TRUE(Says("-b 10.0.0.1:5000 -b 10.0.0.77 --timeout 5 status", 4, "10.0.0.77 doesn't say"))
        << "the other is served";
    std::ofstream("/mnt/names.toml")
        << "[boards.attic]\naddress = \"10.0.0.1\"\n[boards.cellar]\naddress = \"10.0.0.77\"\n";
    const std::string named = "--config /mnt/names.toml ";
    EXPECT_TRUE(Says(named + "status", 4, "attic  transmitter  10.0.0.1:5000")) << "names without a role do";
    EXPECT_TRUE(Says(named + "status", 4, "cellar doesn't say")) << "and who is silent isn't forgotten";
    EXPECT_TRUE(Says(named + "channels", 0, "THREE")) << "the only transmitter";
    EXPECT_TRUE(Says(at + "doctor --for 1s", 0, "scan, guide and language messages of 10.0.0.1 come here"));
    EXPECT_TRUE(Says(at + "doctor --for 1s --json", 0, "\"messages_come_here\": true"));
}

TEST(Zulctl, EndsWithTheCodeThatTellsWhy) {
    WritePlan("");
    const struct {
        const char* arguments;
        int code;
        const char* words;
    } rows[] = {
        {"export pdf", 2, "pdf"},
        {"apply /mnt/none.toml", 2, "/mnt/none.toml"},
        {"doctor --group 10.0.0.1", 2, "isn't a multicast group"},
        {"--timeout 0.2 apply /mnt/plan.toml", 3, "10.0.0.1:5000"},
        {"--timeout 0.2 --board 10.0.0.1:5000 doctor --for 1s", 3, "no board answers"},
        {"--timeout 0.2 -b 10.0.0.77 -b 10.0.0.78 status", 3, "none of these boards answers"},
        {"--timeout 0.2 doctor --for 1s", 3, "no board is heard, though all were asked"},
        {"--timeout 0.2 -b 10.0.0.77:6000 -b 10.0.0.77:6001 doctor --for 1s", 3, "10.0.0.77:6000 doesn't say"},
        {"completion bash >/dev/full", 2, "standard output can't be written"},
    };
    for (const auto& row : rows) EXPECT_TRUE(Says(row.arguments, row.code, row.words));
}

}  // namespace
}  // namespace board
