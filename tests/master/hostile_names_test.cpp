// Every command that prints names, at a terminal, with boards, streams and files named by escape sequences; questions
// at a terminal; messages about several boards.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <tuple>

#include "master/played_board.h"
#include "output/escape.h"
#include "support/shell.h"

namespace zulctl {
namespace {

const std::string kEvil = "\r\x1b[5m\x7f!";             // within a channel name's seven bytes
const std::string kEvilFile = "\x1b]0;\xc2\x9b\x7f\r";  // with a C1 control too

/// \return a terminal's output without the colours, cleared lines and line ends of zulctl
std::string WithoutOwn(const std::string& output) {
    return std::regex_replace(output, std::regex("\x1b\\[([0127]|32|33|1;31)m|\r\x1b\\[K|\r?\n"), "");
}

TEST(Terminal, TakesNoNameForACommand) {
    const std::filesystem::path folder = testing::TempDir();
    const std::string toml = R"("\u001b]0;\u009b\u007f\r")", image = folder / ("image" + kEvilFile);
    const std::string stream = "]\nstreams = [{to = \"239.1.1.2:5000\", channels = [", names = folder / "boards.toml";
    std::ofstream(names) << "[boards." << toml << "]\naddress = \"127.0.0.1:5000\"\n";
    std::ofstream(folder / "plan.toml") << "[boards." << toml << stream << "\"2.1\"]}]\n";
    std::ofstream(folder / "lost.toml") << "[boards." << toml << stream << toml << "]}]\n";
    std::ofstream(folder / "wrong.toml") << toml << " = 1\n";
    std::ofstream(image) << "an image of some size";
    const PlayedBoard board(5000, TransmitterAnswers(kEvil));
    setenv("ZULCTL_CONFIG", names.c_str(), 1), setenv("NAME", kEvilFile.c_str(), 1), setenv("COLUMNS", "200", 1);
    std::istringstream commands(R"(
        discover
        status
        channels
        channels --format plain
        guide
        guide --grid
        guide --json
        scan --only 2
        languages
        stream start 2.1 --to 239.1.1.2:5000
        stream stop
        network
        network dhcp
        raw VERS
        log --for 1s
        export m3u
        export xmltv
        export plan
        export m3u -o "$NAME"
        reset
        upgrade --yes "image$NAME"
        --board "$NAME?" status
        --config wrong.toml status
        apply plan.toml
        apply lost.toml
        play --from 127.0.0.1 2.1
        probe "$NAME"
        doctor --for 1s)");
    for (std::string arguments; commands >> std::ws && std::getline(commands, arguments);) {
        const std::string line =
            fmt::format("cd {} && script -qec '" ZUL_ZULCTL " --timeout 0.5 {}' /dev/null", folder.string(), arguments);
        const std::string shown = WithoutOwn(Shell(line).text), safe = EscapedMessage(shown);
        EXPECT_EQ(shown, safe) << arguments;
        EXPECT_FALSE(shown.empty()) << arguments;
    }
}

TEST(Terminal, AnUpgradeIsSentAfterAYesToABoardThatIsFree) {
    const std::string image = testing::TempDir() + "/image";
    std::ofstream(image) << "an image of some size";
    const std::string upgrade = "ZULCTL_CONFIG=/dev/null " ZUL_ZULCTL " -b 127.0.0.1:5000 upgrade --no-wait " + image;
    const std::tuple<const char*, std::string, int> rows[] = {
        {"0", upgrade, 2},  // nobody can be asked
        {"0", "echo n | script -qec '" + upgrade + "' /dev/null", 1},
        {"2", upgrade + " --yes", 1},  // it is burning one
        {"0", "echo y | script -qec '" + upgrade + "' /dev/null", 0}};
    for (const auto& [state, line, code] : rows) {
        auto answers = TransmitterAnswers("T");
        answers["UPGR?"] = std::string("UPGRSTATUS") + state + " OK\r\n";
        answers["UPGR21"] = answers["UPGR:"] = "OK\r\n";
        const PlayedBoard board(5000, answers);
        const Outcome outcome = Shell(line);
        EXPECT_EQ(outcome.code, code) << outcome.text;
        EXPECT_EQ(board.Asked("UPGR21"), code == 0 ? 1 : 0) << outcome.text;
    }
}

TEST(Terminal, SpeaksOfAllBoardsThatItAsks) {
    const std::string folder = "/mnt";  // the sandbox has its own
    std::ofstream(folder + "/several.image") << "an image of some size";
    std::ofstream(folder + "/several.toml") << "[boards.a]\naddress = \"127.0.0.1:5000\"\nrole = \"transmitter\"\n"
                                               "[boards.b]\naddress = \"127.0.0.1:5001\"\nrole = \"transmitter\"\n";
    auto refusing = TransmitterAnswers("CINEMAS");
    refusing["UPGR21"] = "KO\r\n";
    const PlayedBoard first(5000, refusing), second(5001, TransmitterAnswers("BULLETN"));
    for (const auto& [arguments, words] :
         {std::pair{"play CINEMIS", "did you mean \"CINEMAS\""},
          {"play BULLETS", "did you mean \"BULLETN\""},
          {"-b a -b b upgrade --yes several.image", "2 of 2 boards weren't upgraded"}}) {
        const Outcome outcome = Shell("cd " + folder + "; ZULCTL_CONFIG=several.toml " ZUL_ZULCTL " " + arguments);
        EXPECT_NE(outcome.text.find(words), std::string::npos) << outcome.text;
    }
}

}  // namespace
}  // namespace zulctl
