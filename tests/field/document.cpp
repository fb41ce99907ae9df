// document FILE [KIND[=ADDRESS:PORT]...]: runs the examples of a Markdown document, and fails where the results differ.
//
// In a block that begins with ```KIND, for each kind with an address, "> " precedes a request to that board
// and "< " precedes what comes back, in any order; bytes that don't print are written as in C, and 7% matches any
// CPU load.
//
// In a block that begins with ```console, "$ " precedes a bash command, followed by what it prints. Runs
// of blanks count as one, and a line of three dots matches any lines. All such blocks share one shell. In
// one that begins with
// ```console figures any number matches any other, and what doesn't hold is tried again, up to five times: for
// commands that measure.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "net/udp_socket.h"
#include "output/escape.h"
#include "protocol/endpoint.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

constexpr auto kPatience = 60s;  ///< for an answer that should come
constexpr auto kSurplus = 20ms;  ///< for one that shouldn't
constexpr auto kRestart = 5s;    ///< until a board that restarts is asked again
constexpr int kTries = 5;        ///< of what measures

/// A fenced block.
struct Block {
    std::string kind, option;
    int line;  ///< of its first line in the document
    Lines lines;
};

std::vector<Block> ReadBlocks(const std::string& file) {
    std::ifstream document(file);
    if (!document) throw std::runtime_error(file + " can't be read");
    std::vector<Block> blocks;
    bool inside = false;
    int number = 0;
    for (std::string line; std::getline(document, line);) {
        ++number;
        if (line.starts_with("```")) {
            inside = !inside;
            const std::size_t blank = std::min(line.find(' '), line.size());
            if (inside)
                blocks.push_back(
                    {line.substr(3, blank - 3), line.substr(std::min(blank + 1, line.size())), number + 1, {}});
        } else if (inside) {
            blocks.back().lines.push_back(line);
        }
    }
    return blocks;
}

std::string Joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) text += "    " + line + "\n";
    return text;
}

/// A result that differs from the document.
class Untrue : public std::runtime_error {
 public:
    Untrue(int line, const std::string& what, const Lines& told, const Lines& here)
        : std::runtime_error(std::to_string(line) + ": " + what + "\n  told:\n" + Joined(told) + "  here:\n" +
                             Joined(here)) {}
};

// --- requests ---

/// The document's board and master.
class Board {
 public:
    explicit Board(const zulctl::Endpoint& at) : mAt(at) { mMaster.Bind(0); }

    void Try(const Block& block) {
        for (std::size_t at = 0; at < block.lines.size();) {
            const std::string request = block.lines[at];
            const int line = block.line + static_cast<int>(at);
            if (!request.starts_with("> ")) throw Untrue(line, "a request was expected", {request}, {});
            Lines told;
            for (++at; at < block.lines.size() && block.lines[at].starts_with("< "); ++at)
                told.push_back(block.lines[at].substr(2));
            Lines here = Ask(zulctl::Unescaped(request.substr(2)), told.size());
            std::sort(told.begin(), told.end());  // messages come when they come
            std::sort(here.begin(), here.end());
            if (told != here) throw Untrue(line, request.substr(2), told, here);
        }
    }

 private:
    Lines Ask(const std::string& request, std::size_t count) {
        Lines answers;
        for (int tries = mRestarts ? kTries : 1; tries > 0 && answers.empty(); --tries) {
            mMaster.Send(request, mAt);
            const auto limit = zulctl::Clock::now() + (mRestarts ? kRestart : kPatience);
            while (answers.size() < count && Hear(answers, limit)) continue;
        }
        Hear(answers, zulctl::Clock::now() + kSurplus);
        mRestarts = request == "RESET";
        return answers;
    }

    bool Hear(Lines& answers, zulctl::Clock::time_point limit) {
        static const std::regex load("[0-9]+%");
        zulctl::UdpSocket* const sockets[] = {&mMaster};
        while (zulctl::WaitForAny(sockets, limit)) {
            const auto datagram = mMaster.Take();
            if (!datagram) continue;
            std::string text = zulctl::Escaped(datagram->bytes);
            if (text.starts_with("STATUS ")) text = std::regex_replace(text, load, "7%");
            answers.push_back(text);
            return true;
        }
        return false;
    }

    const zulctl::Endpoint mAt;
    zulctl::UdpSocket mMaster;
    bool mRestarts = false;
};

// --- commands ---

/// A bash that takes one command after the other.
class Shell {
 public:
    Shell() {
        int in[2], out[2];
        if (pipe(in) != 0 || pipe(out) != 0) throw std::runtime_error("no pipes");
        mChild = fork();
        if (mChild == 0) {
            dup2(in[0], 0), dup2(out[1], 1), dup2(out[1], 2);
            for (const int fd : {in[0], in[1], out[0], out[1]}) close(fd);
            execlp("bash", "bash", "--norc", nullptr);
            _exit(127);
        }
        close(in[0]), close(out[1]);
        mIn = fdopen(in[1], "w"), mOut = fdopen(out[0], "r");
    }
    ~Shell() {
        std::fputs("kill $(jobs -p) 2>/dev/null; wait; exit\n", mIn);
        std::fclose(mIn);
        std::fclose(mOut);
        waitpid(mChild, nullptr, 0);
    }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    Lines Run(const std::string& command) {
        std::fprintf(mIn, "{ %s\n} </dev/null; printf '\\n(done)\\n'\n", command.c_str());
        std::fflush(mIn);
        Lines lines;
        std::string line;
        for (int c; (c = std::fgetc(mOut)) != EOF;) {
            if (c != '\n') {
                line += static_cast<char>(c);
            } else if (line == "(done)") {
                break;
            } else {
                lines.push_back(std::exchange(line, ""));
            }
        }
        if (!lines.empty()) lines.pop_back();  // the mark's own line break
        return lines;
    }

 private:
    pid_t mChild = -1;
    std::FILE *mIn = nullptr, *mOut = nullptr;
};

Lines Comparable(const Lines& lines, bool figures) {
    static const std::regex blanks(" +"), end(" $"), number("[0-9]+([.][0-9]+)?");
    Lines comparable;
    for (const std::string& line : lines) {
        std::string text = std::regex_replace(std::regex_replace(line, blanks, " "), end, "");
        comparable.push_back(figures ? std::regex_replace(text, number, "0") : text);
    }
    return comparable;
}

bool Matches(Lines::const_iterator told, Lines::const_iterator toldEnd, Lines::const_iterator here,
             Lines::const_iterator hereEnd) {
    if (told == toldEnd) return here == hereEnd;
    if (*told != "...") return here != hereEnd && *told == *here && Matches(told + 1, toldEnd, here + 1, hereEnd);
    do {
        if (Matches(told + 1, toldEnd, here, hereEnd)) return true;
    } while (here++ != hereEnd);
    return false;
}

void TryCommands(Shell& shell, const Block& block) {
    const bool figures = block.option == "figures";
    for (std::size_t at = 0; at < block.lines.size();) {
        const std::string command = block.lines[at];
        const int line = block.line + static_cast<int>(at);
        if (!command.starts_with("$ ")) throw Untrue(line, "a command was expected", {command}, {});
        Lines told;
        for (++at; at < block.lines.size() && !block.lines[at].starts_with("$ "); ++at) told.push_back(block.lines[at]);
        const Lines wanted = Comparable(told, figures);
        for (int tries = figures ? kTries : 1;; --tries) {
            const Lines printed = shell.Run(command.substr(2));
            const Lines here = Comparable(printed, figures);
            if (Matches(wanted.begin(), wanted.end(), here.begin(), here.end())) break;
            if (tries == 1) throw Untrue(line, command, told, printed);
        }
    }
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 3) throw std::runtime_error("usage: document FILE KIND[=ADDRESS:PORT]...");
    const std::vector<Block> blocks = ReadBlocks(argv[1]);
    Shell shell;
    int untrue = 0;
    for (int n = 2; n < argc; ++n) {
        const std::string argument = argv[n];
        const std::string kind = argument.substr(0, argument.find('='));
        const auto address = zulctl::ParseEndpoint(argument.substr(std::min(kind.size() + 1, argument.size())));
        std::optional<Board> board;
        if (address) board.emplace(*address);
        int tried = 0;
        for (const Block& block : blocks) {
            if (block.kind != kind) continue;
            ++tried;
            try {
                board ? board->Try(block) : TryCommands(shell, block);
            } catch (const Untrue& what) {
                std::fprintf(stderr, "%s:%s", argv[1], what.what());
                ++untrue;
            }
        }
        std::printf("%s: %d blocks of %s tried\n", argv[1], tried, kind.c_str());
        if (tried == 0) ++untrue;
    }
    return untrue == 0 ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "document: %s\n", error.what());
    return 2;
}
