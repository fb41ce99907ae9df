// zul-board: a simulated board on a workstation. It loads the module and prints a line for each request of the module
// to the board's other processes.
#include <fmt/chrono.h>
#include <fmt/core.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "board.h"
#include "common/byte_text.h"
#include "documents.h"
#include "net_faults.h"
#include "story.h"

namespace {

using board::Channel;

constexpr int kWrongUsage = 2;                 ///< exit code
constexpr board::Milliseconds kBurning{3000};  ///< of an image, before the restart

/// Set once a board is connected through its relay; survives its restarts.
constexpr const char* kBehindRelay = "ZUL_BOARD_BEHIND_RELAY";

const cli::ManualSections kManual = {
    {"sandbox",
     "zul-sandbox COMMAND... runs a command in a separate machine, made of namespaces, with a board's disk and a\n"
     "private network. zul-sandbox --lan N COMMAND... adds N boards to it, 10.0.0.1 and up; on K COMMAND... there\n"
     "runs a command on board K. Nothing that they send leaves the machine."},
    {"exit status", "  0  the board ended\n  1  it can't start\n  2  wrong usage"},
    {"examples",
     "  zul-mux hotel.json --no-av -o hotel.ts\n"
     "  zul-sandbox --lan 2 bash\n"
     "  on 1 zul-board --role T --module /usr/lib/*/zul/libzul.so --channel 2=hotel.ts &\n"
     "  on 2 zul-board --role R --module /usr/lib/*/zul/libzul.so &\n"
     "  zulctl discover"},
    {"see also", "zulctl(1), zul-mux(1)"}};

constexpr const char* kConsoleHelp =
    "While it runs it takes orders on its standard input, one a line:\n"
    "  key NAME               a press of the remote control: UP, MENU, NUM_1, VOL_DOWN, ...\n"
    "  hold NAME MS           the same, held down for so many milliseconds\n"
    "  serial TEXT            bytes into the serial port; \\n, \\r and \\xNN stand for what they do elsewhere\n"
    "  screen FILE            saves the screen as PNG\n"
    "  signal CHANNEL FILE N  puts a stream on a channel of the tuner with strength N\n"
    "  quit                   as Ctrl-C";

/// Prints lines with the seconds since the start, to the original standard output.
class Teller {
 public:
    explicit Teller(FILE* out) : mOut(out) {}

    void operator()(std::string_view process, const std::string& line) {
        const auto elapsed = std::chrono::steady_clock::now() - mStart;
        const std::lock_guard lock(mMutex);
        fmt::print(mOut, "{:8.3f}  {:<9} {}\n", std::chrono::duration<double>(elapsed).count(), process, line);
        std::fflush(mOut);
    }

 private:
    FILE* const mOut;
    const std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
    std::mutex mMutex;
};

/// Reads "7=file.ts:4", "7=file.ts" (strength 5) or "7=:2" (null packets).
std::pair<int, Channel> ReadChannel(const std::string& text) {
    const auto equals = text.find('=');
    if (equals == std::string::npos) throw CLI::ValidationError("--channel", text + " has no '='");
    std::pair<int, Channel> channel{std::stoi(text.substr(0, equals)), {text.substr(equals + 1), 5}};
    const auto colon = channel.second.stream.rfind(':');
    if (colon != std::string::npos) {
        channel.second.strength = std::stoi(channel.second.stream.substr(colon + 1));
        channel.second.stream.resize(colon);
    }
    if (channel.second.strength < 0 || channel.second.strength > 5) {
        throw CLI::ValidationError("--channel", text + ": strength is 0 to 5");
    }
    return channel;
}

/// Redirects standard output, the module's from now on, to a file. \return the original standard output
FILE* RedirectModule(const std::string& file) {
    if (file.empty()) return stdout;
    FILE* out = fdopen(dup(STDOUT_FILENO), "w");
    if (out == nullptr || std::freopen(file.c_str(), "a", stdout) == nullptr) {
        throw std::runtime_error(file + ": can't be written");
    }
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    return out;
}

struct Options {
    board::BoardPlan plan;
    double speed = 1;
    std::string moduleLog;
    std::optional<board::NetPlan> net;
    std::uint64_t netSeed = 1;
};

Options Read(int argc, char** argv) {
    CLI::App app{
        "A simulated set-top board: loads the module in a role and plays the rest of the board for it.\n"
        "It uses a board's fixed ports and keys, so run it in a separate machine, made by zul-sandbox.",
        "zul-board"};
    app.footer(kConsoleHelp);
    cli::AddDocuments(app, kManual);
    Options options;
    std::string role = "T";
    std::vector<std::string> channels;
    app.add_option("--role", role, "T transmitter, R receiver")
        ->check(CLI::IsMember({"T", "R"}))
        ->capture_default_str();
    app.add_option("--module", options.plan.module, "path of libzul.so")->required()->check(CLI::ExistingFile);
    app.add_option("--channel", channels, "NUMBER=FILE:STRENGTH, strength 0 to 5; no file: nothing but null packets");
    app.add_option("--speed", options.speed, "pace of the tuner: 1 as broadcast, 0 as fast as it goes")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_option("--module-log", options.moduleLog, "file for what the module itself prints")->type_name("FILE");
    app.add_option_function<std::string>(
           "--net",
           [&options](const std::string& text) {
               try {
                   options.net = board::ParseNetPlan(text);
               } catch (const std::invalid_argument& error) {
                   throw CLI::ValidationError("--net", error.what());
               }
           },
           "faults of the network, each way: loss=5%, dup=1%, reorder=1%, delay=20ms, with commas between; needs "
           "a machine of its own, as in zul-sandbox --lan")
        ->type_name("FAULTS");
    app.add_option("--net-seed", options.netSeed, "chooses the datagrams that have them")->capture_default_str();
    if (cli::ServeCompletion(app, argc, argv)) std::exit(0);
    try {
        app.parse(argc, argv);
        for (const auto& text : channels) options.plan.band.insert(ReadChannel(text));
    } catch (const CLI::ParseError& error) {
        std::exit(app.exit(error) == 0 ? 0 : kWrongUsage);
    } catch (const std::logic_error&) {
        app.exit(CLI::ValidationError("--channel", "a number was expected"));
        std::exit(kWrongUsage);
    }
    options.plan.role = role[0];
    return options;
}

/// Executes an order of the console. \return its result as text
std::string Obey(board::Board& board, const std::string& line) try {
    std::istringstream words(line);
    std::string order, rest;
    std::getline(words >> order >> std::ws, rest);
    std::istringstream fields(rest);
    if (order == "key" || order == "hold") {
        const bool held = order == "hold";
        std::string name;
        int time = 0;
        fields >> name;
        if (held && !(fields >> time)) return "hold for how long?";
        const auto code = board::KeyCode(name);
        if (!code) return "the remote has no key " + name;
        held ? board.Infrared().Hold(*code, board::Milliseconds(time)) : board.Infrared().Press(*code);
        return held ? name + " let go" : name + " pressed";
    }
    if (order == "serial") {
        board.Serial().Send(common::Unescaped(rest));
        return "bytes sent into the serial port";
    }
    if (order == "screen") {
        const board::Screen screen = board.Shown();
        if (!DrawScreen(screen, rest, board::kDisk + "/screen")) return "the screen can't be drawn";
        return rest + " shows " + Describe(screen);
    }
    if (order == "signal") {
        int channel = 0;
        Channel content;
        if (!(fields >> channel >> content.stream >> content.strength)) return "signal CHANNEL FILE STRENGTH";
        board.TheTuner().Put(channel, content);
        return "signal changed";
    }
    if (order == "quit") {
        kill(getpid(), SIGTERM);
        return "going";
    }
    return "unknown order";
} catch (const std::exception& error) {
    return std::string("not on this board: ") + error.what();
}

/// Runs a board until SIGINT or SIGTERM, or until its settings agent gets a reboot order. \return whether it reboots
bool Live(const Options& options, Teller& tell) {
    // Before any thread starts, so that all of them inherit the mask.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    board::Board board(options.plan);
    board.TellTo(std::ref(tell));
    const auto reboot = [] { kill(getpid(), SIGHUP); };
    board.Settings().OnSet("REBOOT", [reboot](const std::string&) { reboot(); });
    board.Settings().OnSet("MULTIPLE_UPGRADE", [&board, reboot](const std::string&) {
        const auto burns = board.Settings().Burns().All();
        if (burns.empty() || !burns.back().good) return;
        std::this_thread::sleep_for(kBurning);
        reboot();
    });
    board.TheTuner().SetSpeed(options.speed);
    tell("board", options.plan.role == 'T' ? "starts as transmitter" : "starts as receiver");
    board.Start();
    signal(SIGTTIN, SIG_IGN);  // in the background of a shell there are no orders, and the board goes on
    std::thread([&board, &tell] {
        for (std::string line; std::getline(std::cin, line);) {
            if (!line.empty()) tell("console", Obey(board, line));
        }
    }).detach();
    int end = 0;
    sigwait(&signals, &end);
    tell("board", end == SIGHUP ? "reboots" : "ends");
    return end == SIGHUP;
}

}  // namespace

int main(int argc, char** argv) {
    FILE* complaints = stderr;  // until it is redirected
    try {
        const Options options = Read(argc, argv);
        if (!std::filesystem::is_directory(board::kDisk + "/hd1")) {
            fmt::print(stderr,
                       "There is no {0}/hd1, a board's disk. Run this as: zul-sandbox {1} ...\n"
                       "(tools/sandbox in the sources)\n",
                       board::kDisk, argv[0]);
            return kWrongUsage;
        }
        FILE* out = RedirectModule(options.moduleLog);
        if (out != stdout) complaints = out;
        Teller tell(out);
        if (options.net && std::getenv(kBehindRelay) == nullptr) {
            setenv(kBehindRelay, "1", 1);
            board::MoveBehindRelay(*options.net, options.netSeed,
                                   [&tell](const std::string& tale) { tell("net", tale); });
        }
        if (Live(options, tell)) {
            dup2(fileno(out), STDOUT_FILENO);
            dup2(fileno(out), STDERR_FILENO);
            execv("/proc/self/exe", argv);
            throw std::runtime_error("the board doesn't start again");
        }
        std::fflush(stdout);  // not stdin, which is locked by the thread that reads orders
        _exit(0);             // the module's threads still run: no destructor may
    } catch (const std::exception& error) {
        fmt::print(complaints, "zul-board: {}\n", error.what());
        std::fflush(complaints);
        return 1;
    }
}
