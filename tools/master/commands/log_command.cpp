// zulctl log: the log channel of boards, live.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "net/monitor.h"
#include "output/escape.h"
#include "protocol/board_messages.h"
#include "protocol/moment.h"

namespace zulctl {

namespace {

struct LogChoice {
    bool errorsOnly = false, utc = false;
    std::string howLong;
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

void RunLog(Session& session, const LogChoice& choice) {
    const auto deadline =
        Clock::now() + (choice.howLong.empty() ? std::chrono::hours(24 * 365) : ParseSpan(choice.howLong));
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
    session.out.Say(fmt::format("listening to {} board{}; Ctrl-C ends", boards.size(), boards.size() == 1 ? "" : "s"));
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

}  // namespace

void AddLogCommand(CLI::App& app, Session& session) {
    CLI::App* command =
        app.add_subcommand("log", "Open the log channel and print what a board reports; failures stand out");
    command->footer(
        "A board has one log channel, and the latest listener has it; a receiver's keys and serial bytes follow it. At "
        "the end the level is 0 and the channel closed.");
    const auto choice = std::make_shared<LogChoice>();
    command->add_flag("--errors", choice->errorsOnly, "Failures only; leaves the board's log level alone");
    command->add_flag("--utc", choice->utc, "Times in UTC instead of local time");
    command->add_option("--for", choice->howLong, "End after this time")->type_name("SPAN");
    command->callback([&session, choice] { session.run = [&session, choice] { RunLog(session, *choice); }; });
}

}  // namespace zulctl
