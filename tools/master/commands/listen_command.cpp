// zulctl log, keys, serial: what a board forwards to a listener.
#include <fmt/format.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "commands/commands.h"
#include "commands/order.h"
#include "net/monitor.h"
#include "output/escape.h"
#include "protocol/board_messages.h"
#include "protocol/moment.h"
#include "protocol/requests_text.h"

namespace zulctl {

namespace {

/// \return when a listener ends
Clock::time_point EndOf(const std::string& span) { return Clock::now() + (span.empty() ? kEver : ParseSpan(span)); }

struct ListenChoice {
    std::string howLong, set;
    bool errorsOnly = false, utc = false;
};

void Show(Session& session, const Target& board, bool several, const LogLine& line, bool utc) {
    const std::string now = UtcNow();
    const Json body = {
        {"time", now}, {"board", board.name}, {"level", line.error ? "error" : "info"}, {"text", line.text}};
    session.out.EmitItem("zulctl.log_line/1", body, [&] {
        const std::string text = Escaped(line.text);
        const auto today = std::chrono::floor<std::chrono::minutes>(std::chrono::system_clock::now());
        const Minutes time(std::chrono::minutes(std::stoi(now.substr(11)) * 60 + std::stoi(now.substr(14))));
        const std::string clock = ClockText(utc ? time : time + (LocalClock(today) - today));
        return fmt::format("{}  {}{}\n", session.out.Paint(clock + now.substr(16, 7), Style::kDim),
                           several ? Escaped(board.name) + "  " : "",
                           line.error ? session.out.Paint("ERROR " + text, Style::kBad) : text);
    });
}

void RunLog(Session& session, const ListenChoice& choice) {
    const auto deadline = EndOf(choice.howLong);
    CatchInterrupts();
    std::vector<std::unique_ptr<Monitor>> monitors;
    std::vector<UdpSocket*> sockets;
    const std::vector<Target> wanted = session.Boards(std::nullopt);
    std::vector<Target> boards;
    std::optional<Failure> missing;
    for (const Target& board : wanted) {
        try {
            monitors.push_back(std::make_unique<Monitor>(board.at, session.Options(), !choice.errorsOnly));
        } catch (const Failure& failure) {
            if (wanted.size() == 1) throw;
            session.out.Error(failure.what());
            missing = failure;
            continue;
        }
        sockets.push_back(&monitors.back()->Socket());
        boards.push_back(board);
    }
    if (boards.empty()) throw Failure(missing->code, "no board opens its log");
    session.out.Say(fmt::format("listening to {}; Ctrl-C ends", Counted(boards.size(), "board")));
    // A board may log faster than this prints.
    const auto goesOn = [&] { return !Interrupted() && Clock::now() < deadline; };
    const auto drain = [&](std::size_t n) {
        for (std::optional<std::string> message; goesOn() && (message = monitors[n]->Take());) {
            const auto line = ParseLogLine(*message);
            if (line && (line->error || !choice.errorsOnly))
                Show(session, boards[n], boards.size() > 1, *line, choice.utc);
        }
    };
    for (std::size_t n = 0; n < boards.size(); ++n) drain(n);
    while (goesOn()) {
        if (const auto ready = WaitForAny(sockets, deadline)) drain(*ready);
    }
    FailWhereSome(wanted.size() - boards.size(), wanted.size(), kPartly, "were missing");
}

void RunKeys(Session& session, const ListenChoice& choice) {
    if (!choice.set.empty()) {
        return RunOrder(session, Role::kReceiver, RemoteText(choice.set), "the remote's code",
                        "the board obeys remotes of code " + choice.set);
    }
    const auto deadline = EndOf(choice.howLong);
    const Target target = session.OneBoard(Role::kReceiver);
    CatchInterrupts();
    Monitor monitor(target.at, session.Options(), false);
    session.out.Say("keys go here and not to the browser; Ctrl-C ends");
    UdpSocket* const sockets[] = {&monitor.Socket()};
    do {
        while (const auto message = monitor.Take()) {
            const auto key = ParseKey(*message);
            if (!key) continue;
            const std::string now = UtcNow(),
                              name = key->Name().empty() ? fmt::format("code {}", key->code) : std::string(key->Name());
            session.out.EmitItem(
                "zulctl.key/1",
                {{"time", now},
                 {"board", target.name},
                 {"key", name},
                 {"code", key->code},
                 {"repeat", key->repeat},
                 {"system_code", key->systemCode}},
                [&] { return fmt::format("{}  {}{}\n", now.substr(11, 12), name, key->repeat ? " (held)" : ""); });
        }
    } while (WaitForAny(sockets, deadline));
}

constexpr char kLeave = 0x1D;                            // Ctrl-], as in telnet
constexpr std::size_t kMostBytes = kLargestRequest - 4;  // after "UART"

/// Puts the terminal into raw mode for the life of the object.
class RawTerminal {
 public:
    RawTerminal() : mIsTerminal(tcgetattr(STDIN_FILENO, &mBefore) == 0) {
        if (!mIsTerminal) return;
        termios raw = mBefore;
        cfmakeraw(&raw);
        raw.c_oflag |= OPOST;
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    ~RawTerminal() {
        if (mIsTerminal) tcsetattr(STDIN_FILENO, TCSANOW, &mBefore);
    }
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;
    bool IsTerminal() const { return mIsTerminal; }

 private:
    termios mBefore{};
    bool mIsTerminal;
};

/// Passes what is typed or piped. \return false at its end
bool PassInput(Monitor& monitor, const RawTerminal& terminal) {
    char bytes[kMostBytes];
    const ssize_t got = read(STDIN_FILENO, bytes, sizeof bytes);
    if (got <= 0) return false;
    const std::string input(bytes, static_cast<std::size_t>(got));
    const std::string wanted = terminal.IsTerminal() ? input.substr(0, input.find(kLeave)) : input;
    if (!wanted.empty()) {
        const auto answer = monitor.Ask("UART" + wanted);
        if (!answer) throw Failure(kNoAnswer, EndpointText(monitor.Board()) + " doesn't take the bytes");
        if (!IsOk(*answer)) throw Failure(kRefused, EndpointText(monitor.Board()) + " can't write to its serial port");
    }
    return wanted.size() == input.size();
}

/// The port's bytes go to standard output: unchanged to a file; to a terminal, which they could control, escaped except
/// for line ends and tabs.
void PassOutput(Monitor& monitor) {
    const bool escape = isatty(STDOUT_FILENO) != 0;
    while (const auto message = monitor.Take()) {
        const auto byte = ParseSerialByte(*message);
        if (!byte) continue;
        const bool plain = !escape || *byte == '\r' || *byte == '\n' || *byte == '\t';
        const std::string text = plain ? std::string(1, *byte) : Escaped(std::string(1, *byte));
        if (write(STDOUT_FILENO, text.data(), text.size()) < 0) return;
    }
}

void RunSerial(Session& session, const ListenChoice& choice) {
    if (!choice.set.empty()) {
        return RunOrder(session, Role::kReceiver, SerialText(choice.set), "the port settings",
                        "serial port " + choice.set);
    }
    if (session.out.format != Format::kTable) throw Failure(kUsage, "a console has no other form of output");
    const auto limit = choice.howLong.empty() ? std::nullopt : std::optional(ParseSpan(choice.howLong));
    const Target target = session.OneBoard(Role::kReceiver);
    CatchInterrupts();
    Monitor monitor(target.at, session.Options(), false);
    const RawTerminal terminal;
    session.out.Say(terminal.IsTerminal() ? "serial console; Ctrl-] ends\r" : "serial port open");
    const auto deadline = Clock::now() + limit.value_or(std::chrono::hours(24 * 365));
    bool input = true;
    while (!Interrupted() && Clock::now() < deadline) {
        pollfd polled[] = {{monitor.Socket().Descriptor(), POLLIN, 0}, {input ? STDIN_FILENO : -1, POLLIN, 0}};
        if (poll(polled, 2, 100) > 0 && (polled[1].revents & (POLLIN | POLLHUP)) != 0) {
            input = PassInput(monitor, terminal);
            // With a time limit, keep reading the port after the end of a pipe.
            if (!input && (terminal.IsTerminal() || !limit)) break;
        }
        PassOutput(monitor);
    }
    PassOutput(monitor);
}

}  // namespace

void AddLogCommand(CLI::App& app, Session& session) {
    const auto [command, choice] = AddCommand(
        app, session, "log", "Open the log channel and print what a board reports; failures stand out", RunLog);
    command->footer(
        "A board has one log channel, and the latest listener has it; a receiver's keys and serial bytes follow it. At "
        "the end the level is 0 and the channel closed.");
    command->add_flag("--errors", choice->errorsOnly, "Failures only; leaves the board's log level alone");
    command->add_flag("--utc", choice->utc, "Times in UTC instead of local time");
    AddOption(command, "--for SPAN", choice->howLong, "End after this time");
}

void AddKeysCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "keys", "Print the keys of a receiver's remote control as they are pressed", RunKeys);
    command->footer("A board sends keys to the latest listener, whoever reads its log or serial port included.");
    AddOption(command, "--for SPAN", choice->howLong, "End after this time");
    AddOption(command, "--remote CODE", choice->set,
              "Set the code of the remote that the board obeys, 01 to fe in hexadecimal, and end");
}

void AddSerialCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "serial", "A raw console on a receiver's serial port", RunSerial);
    command->footer(
        "Ctrl-] ends. What a pipe or file holds is sent; with --for, answers are awaited that long. A board forwards "
        "its port to the latest listener.");
    AddOption(command, "--set BAUD,BITS,PARITY,STOP", choice->set, "Set the port, as in 9600,8,N,1, and end");
    AddOption(command, "--for SPAN", choice->howLong, "End after this time");
}

}  // namespace zulctl
