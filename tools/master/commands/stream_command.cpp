// zulctl stream: starts and stops what a transmitter sends.
#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "channels.h"
#include "commands.h"
#include "escape.h"
#include "order.h"
#include "status.h"
#include "stream_request.h"

namespace zulctl {

namespace {

struct StreamChoice {
    std::string to;
    std::vector<std::string> channels;
    std::optional<int> slot;
    std::optional<int> tunerChannel;
    std::vector<std::string> programmes;
    bool whole = false;
    int packetSize = 0;
};

/// What is wanted, by names from the channel list or by the tuner's own numbers. Throws Failure(kUsage).
StreamRequest Wanted(Client& client, const StreamChoice& choice) {
    StreamRequest request;
    const auto group = ParseEndpoint(choice.to);
    if (!group) throw Failure(kUsage, fmt::format("\"{}\" isn't GROUP:PORT", choice.to));
    request.to = *group;
    request.slot = choice.slot;
    if (choice.channels.empty()) {
        if (!choice.tunerChannel) throw Failure(kUsage, "stream what? name channels, or give --tuner-channel");
        request.channel = *choice.tunerChannel;
        for (const std::string& text : choice.programmes) request.programmes.push_back(ParseProgramme(text));
        return request;
    }
    if (choice.tunerChannel || !choice.programmes.empty())
        throw Failure(kUsage, "channels by name or by number, not both");
    const auto list = FetchChannels(client);
    std::optional<Channel> first;
    for (const std::string& text : choice.channels) {
        const Channel& channel = FindChannel(list, text);
        if (!first) first = channel;
        if (channel.tunerChannel != first->tunerChannel) {
            throw Failure(kUsage, fmt::format("{} is on tuner channel {} and {} on {}; a board has one tuner",
                                              Escaped(CallName(*first)), first->tunerChannel,
                                              Escaped(CallName(channel)), channel.tunerChannel));
        }
        request.programmes.push_back(channel.id);
    }
    request.channel = first->tunerChannel;
    if (choice.whole) request.programmes.clear();
    return request;
}

/// What the board would do without a word: tune nowhere, retune what runs, stop slot 0.
void CheckAgainstBoard(Session& session, Client& client, const StreamRequest& request) {
    RefuseWhileBusy(client);
    const auto status = ParseTransmitterStatus(client.Ask("STATUS"));
    const auto scan = ParseScanState(client.Ask("SCA?"));
    if (!status || !scan) throw Failure(kNoAnswer, EndpointText(client.Board()) + " gives no status");
    const int first = status->tunerMode == "ATSC" ? 2 : 1, last = status->tunerMode == "ATSC" ? 69 : kHighestChannel;
    if (request.channel < first || request.channel > last) {
        throw Failure(kUsage, fmt::format("in {} the tuner has channels {} to {}, not {}", Escaped(status->tunerMode),
                                          first, last, request.channel));
    }
    for (const StreamStatus& stream : status->streams) {
        const bool replaced = !request.slot || stream.id == *request.slot || stream.id == 0;
        if (stream.active && !replaced && stream.group == request.to) {
            throw Failure(kUsage, fmt::format("slot {} sends to {} already", stream.id, EndpointText(request.to)));
        }
        if (stream.active && !replaced && scan->channel != request.channel) {
            throw Failure(kUsage,
                          fmt::format("slot {} sends from channel {}; a board has one tuner, so stop that first",
                                      stream.id, scan->channel));
        }
        if (stream.active && replaced)
            session.out.Say(fmt::format("ends slot {} to {}", stream.id, EndpointText(stream.group)));
    }
}

void Report(Session& session, const char* action, const std::string& request, const Json& extra,
            const std::string& people) {
    Json body = {{"action", action}, {"request", request}};
    body.update(extra);
    session.out.Emit("zulctl.stream/1", body, [&] { return people + "\n"; });
}

void RunStart(Session& session, const StreamChoice& choice) {
    Client client = session.Connect(Role::kTransmitter);
    const StreamRequest request = Wanted(client, choice);
    const std::string text = StartText(request);
    CheckAgainstBoard(session, client, request);
    session.out.Progress("tuning and starting, some 11 s...");
    client.Order(text, "the stream");
    Json programmes = Json::array();
    for (const ProgrammeId& id : request.programmes) programmes.push_back(id.programme);
    const int slot = request.slot.value_or(0);
    Report(session, "start", text,
           {{"group", AddressText(request.to.address)},
            {"port", request.to.port},
            {"slot", slot},
            {"tuner_channel", request.channel},
            {"programmes", programmes}},
           fmt::format("streaming to {}, slot {}", EndpointText(request.to), slot));
}

void RunStop(Session& session, const StreamChoice& choice) {
    const std::string text = StopText(choice.slot);
    Client client = session.Connect(Role::kTransmitter);
    RefuseWhileBusy(client);
    session.out.Progress("stopping...");
    client.Order(text, "the stop");
    Report(session, "stop", text, {{"slot", choice.slot ? Json(*choice.slot) : Json()}},
           choice.slot ? fmt::format("slot {} stopped, and slot 0", *choice.slot) : "all streams stopped");
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
    size->add_option("bytes", choice->packetSize, "188 to 32768, rounded down to whole packets; a new stream has 1316")
        ->required()
        ->check(CLI::Range(188, 32768));
    size->callback(
        [&session, choice] { session.run = [&session, choice] { RunPacketSize(session, choice->packetSize); }; });
}

}  // namespace zulctl
