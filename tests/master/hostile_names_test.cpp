// Every command at a terminal, with boards, streams and files whose names are escape sequences.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "master/played_board.h"
#include "output/escape.h"
#include "support/shell.h"

namespace zulctl {
namespace {

const std::string kEvil = "\r\x1b[5m\x7f";              // within a channel name's seven bytes
const std::string kEvilFile = "\x1b]0;\xc2\x9b\x7f\r";  // with a C1 control too

std::map<std::string, std::string> Transmitter() {
    const auto text = fmt::format("{},00[{}]", kEvil.size(), kEvil);
    return {
        {"STATUS", "STATUS 1 0 239.1.1.1:5000 0:1:ff:[0001] F:" + kEvil + " E:0 C:\"NO CAM\" 7% OK\r\n"},
        {"SCA?", std::string("\0\2\1\5", 4)},
        {"ZUL", fmt::format("ZULB<Device-UUID={0}_TX_-02005e100001><Device-Make={0}><Device-Model={0}_TX_>"
                            "<Device-Revision={0}>\r\n",
                            kEvil)},
        {"VERS", "VERS" + kEvil + "OK\r\n"},
        {"IP?", fmt::format("DHCP:0 MAC:{0} IP:{0} GW:{0} NM:{0} OK\r\n", kEvil)},
        {"TIME", "TIME d3a4 1930 OK\r\n"},
        {"UPGR", "UPGRSTATUS0 OK\r\n"},
        {"SCAL", "SCAL 021 0201 0001 [02:0:ff:02:81] C A " + kEvil + "\r\nffff\r\nOK\r\n" + '\0'},
        {"EIT", "EITI d3a4 1930 0100 S" + text + "L" + text + "\r\nOK\r\n"},
        {"LAN?", "LANG 0201 0001 " + kEvil.substr(0, 3) + "00\r\nOK\r\n"},
        {"SUB?", "SUB 0201 0001 " + kEvil.substr(0, 3) + "\r\nOK\r\n"},
        {"DEBUG", "LOG:ERROR " + kEvil + "\r\n"},
        {"", "OK\r\n"},
    };
}

/// \return what is left of a terminal's output without the colours, cleared lines and line ends of zulctl
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
    const PlayedBoard board(5000, Transmitter());
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

}  // namespace
}  // namespace zulctl
