// zulctl play: what a receiver shows.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "commands/order.h"
#include "export/lineup.h"
#include "net/fetch.h"
#include "output/escape.h"
#include "protocol/channels.h"
#include "protocol/requests_text.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

struct PlayChoice {
    std::string what, from, programme;
    bool stop = false;
};

struct Playable {
    Endpoint stream;
    std::uint16_t programme;
};

/// The stream of a transmitter that carries a channel. Throws Failure where none does.
Playable StreamOf(Session& session, const std::string& transmitter, const std::string& text) {
    Client client = session.Connect(session.Named(transmitter, Role::kTransmitter));
    const Channel channel = FindChannel(FetchChannels(client), text);
    const auto status = ParseTransmitterStatus(client.Ask("STATUS"));
    const auto scan = ParseScanState(client.Ask("SCA?"));
    if (!status || !scan) throw Failure(kNoAnswer, EndpointText(client.Board()) + " gives no status");
    const Lineup lineup = LineupOf(transmitter, {channel}, *status, scan->channel);
    if (const auto& stream = lineup.front().stream) return {*stream, channel.id.programme};
    throw Failure(kUsage, fmt::format("no stream of {} carries {}; \"zulctl stream start\" starts one", transmitter,
                                      Escaped(CallName(channel))));
}

void RunPlay(Session& session, const PlayChoice& choice) {
    if (choice.stop) return RunOrder(session, Role::kReceiver, "UNIT0", "the stop", "stopped");
    if (choice.what.empty()) throw Failure(kUsage, "play what? GROUP:PORT, a channel with --from, or --stop");
    std::optional<std::uint16_t> programme;
    Endpoint stream;
    if (!choice.from.empty()) {
        const Playable found = StreamOf(session, choice.from, choice.what);
        stream = found.stream, programme = found.programme;
    } else {
        const auto group = ParseEndpoint(choice.what);
        if (!group)
            throw Failure(kUsage,
                          fmt::format("\"{}\" isn't GROUP:PORT; a channel needs --from TRANSMITTER", choice.what));
        stream = *group;
    }
    if (!choice.programme.empty()) {
        const auto number = ParseNumber(choice.programme, 16, 0xFFFF);
        if (!number)
            throw Failure(kUsage, fmt::format("\"{}\" isn't a programme number in hexadecimal", choice.programme));
        programme = static_cast<std::uint16_t>(*number);
    }
    RunOrder(session, Role::kReceiver, PlayText(stream, programme), "the play",
             fmt::format("playing {}{}", EndpointText(stream),
                         programme ? fmt::format(", programme {:04x}", *programme) : ""));
}

}  // namespace

void AddPlayCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("play", "Play a stream on a receiver, or stop");
    const auto choice = std::make_shared<PlayChoice>();
    command->add_option("what", choice->what, "GROUP:PORT, or with --from a channel by number (7.1), name or index");
    command->add_option("--from", choice->from, "Find the stream of this transmitter that carries the channel")
        ->type_name("NAME|ADDRESS");
    command
        ->add_option("--programme", choice->programme,
                     "Programme number in hexadecimal; without it the player takes the first")
        ->type_name("NUMBER");
    command->add_flag("--stop", choice->stop, "Stop what plays");
    command->callback([&session, choice] { session.run = [&session, choice] { RunPlay(session, *choice); }; });
}

}  // namespace zulctl
