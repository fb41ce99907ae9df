// zulctl stream: starts and stops what a transmitter sends.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "commands/order.h"
#include "net/stream_order.h"

namespace zulctl {

namespace {

void RunStart(Session& session, const StreamChoice& choice) {
    Client client = session.Connect(Role::kTransmitter);
    const StreamRequest request = FindStream(client, choice);
    const std::string text = StartText(request);
    for (const StreamStatus& stream : CheckAgainstBoard(client, request))
        session.out.Say(fmt::format("ends slot {} to {}", stream.id, EndpointText(stream.group)));
    session.out.Progress("tuning and starting, some 11 s...");
    client.Order(text, "the stream");
    session.out.Emit("zulctl.stream/1", StartedJson(request, text), [&] {
        return fmt::format("streaming to {}, slot {}\n", EndpointText(request.to), request.slot.value_or(0));
    });
}

void RunStop(Session& session, const StreamChoice& choice) {
    const std::string text = StopText(choice.slot);
    Client client = session.Connect(Role::kTransmitter);
    RefuseWhileBusy(client);
    session.out.Progress("stopping...");
    client.Order(text, "the stop");
    session.out.Emit("zulctl.stream/1", StoppedJson(choice.slot, text), [&] {
        return choice.slot ? fmt::format("slot {} stopped, and slot 0\n", *choice.slot)
                           : std::string("all streams stopped\n");
    });
}

void RunPacketSize(Session& session, int size) {
    RunOrder(session, Role::kTransmitter, fmt::format("MCASTPACKETSIZE{}", size), "the size",
             fmt::format("datagrams of {} bytes on the streams that run", size / 188 * 188));
}

}  // namespace

void AddStreamCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("stream", "Start and stop what a transmitter sends");
    command->require_subcommand(1);
    const auto choice = std::make_shared<StreamChoice>();
    const auto packetSize = std::make_shared<int>(0);

    CLI::App* start = command->add_subcommand("start", "Send programmes, or a whole multiplex, to a group");
    start->footer("All streams of a board come from one tuner channel. Starting or stopping any slot stops slot 0.");
    start->add_option("channel", choice->channels, "Channels by number (7.1), name or index, all on one tuner channel");
    start->add_option("--to", choice->to, "Where to")->type_name("GROUP:PORT")->required();
    start
        ->add_option("--slot", choice->slot,
                     "Slot 0 to 7 beside those that run; without it the stream replaces all others")
        ->check(CLI::Range(0, kStreamSlots - 1));
    start->add_flag("--whole", choice->whole, "The whole multiplex that the channel is in");
    start->add_option("--tuner-channel", choice->tunerChannel, "In place of names: channel number of the tuner")
        ->check(CLI::Range(1, kHighestChannel));
    start
        ->add_option("--programme", choice->programmes,
                     "With --tuner-channel: a programme in hexadecimal; may be given several times. Without it: all")
        ->type_name("TSID:NUMBER")
        ->take_all()
        ->allow_extra_args(false);
    start->callback([&session, choice] { session.run = [&session, choice] { RunStart(session, *choice); }; });

    CLI::App* stop = command->add_subcommand("stop", "Stop one slot, or all");
    stop->add_option("--slot", choice->slot, "Slot to stop; stops slot 0 too")->check(CLI::Range(0, kStreamSlots - 1));
    stop->callback([&session, choice] { session.run = [&session, choice] { RunStop(session, *choice); }; });

    CLI::App* size = command->add_subcommand("packet-size", "Set the datagram size of the streams that run");
    size->add_option("bytes", *packetSize, "188 to 32768, rounded down to whole packets; a new stream has 1316")
        ->required()
        ->check(CLI::Range(188, 32768));
    size->callback(
        [&session, packetSize] { session.run = [&session, packetSize] { RunPacketSize(session, *packetSize); }; });
}

}  // namespace zulctl
