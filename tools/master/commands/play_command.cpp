// zulctl play: what a receiver shows.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "commands/find_stream.h"
#include "commands/order.h"
#include "doctor/screen.h"
#include "protocol/requests_text.h"

namespace zulctl {

namespace {

struct PlayChoice {
    std::string what, from, programme;
    bool stop = false;
};

void RunPlay(Session& session, const PlayChoice& choice) {
    if (choice.stop) return RunOrder(session, Role::kReceiver, "UNIT0", "the stop", "stopped");
    if (choice.what.empty()) throw Failure(kUsage, "play what? a channel, GROUP:PORT, or --stop");
    std::optional<std::uint16_t> programme;
    Endpoint stream;
    if (const auto group = ParseEndpoint(choice.what)) {
        stream = *group;
    } else if (ParseAddress(choice.what)) {
        throw Failure(kUsage, "\"{}\" isn't GROUP:PORT", choice.what);
    } else {
        const FoundStream found = FindStreamOf(session, choice.what, choice.from);
        stream = found.stream, programme = found.programme;
    }
    if (!choice.programme.empty()) {
        const auto number = ParseNumber(choice.programme, 16, 0xFFFF);
        if (!number) throw Failure(kUsage, "\"{}\" isn't a programme number in hexadecimal", choice.programme);
        programme = static_cast<std::uint16_t>(*number);
    }
    RunOrder(session, Role::kReceiver, PlayText(stream, programme), "the play",
             fmt::format("playing {}{}", EndpointText(stream),
                         programme ? fmt::format(", programme {:04x}", *programme) : ""));
    WarnOfStream(session, stream, programme ? std::set{*programme} : std::set<std::uint16_t>());
}

}  // namespace

void AddPlayCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("play", "Play a channel or a stream on receivers, or stop");
    const auto choice = std::make_shared<PlayChoice>();
    command->add_option("what", choice->what, "A channel by number (7.1) or name, or GROUP:PORT");
    command->add_option("--from", choice->from, "Look for the channel on this transmitter alone, also by index")
        ->type_name("NAME|ADDRESS");
    command
        ->add_option("--programme", choice->programme,
                     "Programme number in hexadecimal; without it the player takes the first")
        ->type_name("NUMBER");
    command->add_flag("--stop", choice->stop, "Stop what plays");
    command->callback([&session, choice] { session.run = [&session, choice] { RunPlay(session, *choice); }; });
}

}  // namespace zulctl
