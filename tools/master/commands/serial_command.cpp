// zulctl serial: a raw console on a receiver's serial port.
#include <fmt/format.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "commands/commands.h"
#include "commands/order.h"
#include "net/monitor.h"
#include "output/escape.h"
#include "protocol/board_messages.h"
#include "protocol/requests_text.h"

namespace zulctl {

namespace {

struct SerialChoice {
    std::string settings, howLong;
};

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

void RunSerial(Session& session, const SerialChoice& choice) {
    if (!choice.settings.empty()) {
        return RunOrder(session, Role::kReceiver, SerialText(choice.settings), "the port settings",
                        "serial port " + choice.settings);
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

void AddSerialCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("serial", "A raw console on a receiver's serial port");
    command->footer(
        "Ctrl-] ends. What a pipe or file holds is sent; with --for, answers are awaited that long. A board forwards "
        "its port to the latest listener.");
    const auto choice = std::make_shared<SerialChoice>();
    command->add_option("--set", choice->settings, "Set the port, as in 9600,8,N,1, and end")
        ->type_name("BAUD,BITS,PARITY,STOP");
    command->add_option("--for", choice->howLong, "End after this time")->type_name("SPAN");
    command->callback([&session, choice] { session.run = [&session, choice] { RunSerial(session, *choice); }; });
}

}  // namespace zulctl
