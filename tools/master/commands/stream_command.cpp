// zulctl stream: starts and stops what a transmitter sends.
#include <fmt/format.h>

#include <memory>

#include "commands.h"
#include "stream_request.h"

namespace zulctl {

namespace {

struct StreamChoice {
    std::string to;
    std::optional<int> slot;
    int channel = -1;
    std::vector<std::string> programmes;
};

void Report(Session& session, const char* action, const std::string& request, const Json& extra,
            const std::string& people) {
    Json body = {{"action", action}, {"request", request}};
    body.update(extra);
    session.out.Emit("zulctl.stream/1", body, [&] { return people + "\n"; });
}

void RunStart(Session& session, const StreamChoice& choice) {
    StreamRequest request;
    request.slot = choice.slot;
    const auto group = ParseEndpoint(choice.to);
    if (!group) throw Failure(kUsage, fmt::format("\"{}\" isn't GROUP:PORT", choice.to));
    request.to = *group;
    request.channel = choice.channel;
    for (const std::string& text : choice.programmes) request.programmes.push_back(ParseProgramme(text));
    const std::string text = StartText(request);
    Client client = session.Connect(Role::kTransmitter);
    RefuseWhileBusy(client);
    session.out.Progress("tuning and starting, some 11 s...");
    client.Order(text, "the stream");
    Report(session, "start", text,
           {{"group", AddressText(group->address)}, {"port", group->port}, {"slot", choice.slot.value_or(0)}},
           fmt::format("streaming to {}, slot {}", EndpointText(*group), choice.slot.value_or(0)));
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

}  // namespace

void AddStreamCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("stream", "Start and stop what a transmitter sends");
    command->require_subcommand(1);
    const auto choice = std::make_shared<StreamChoice>();

    CLI::App* start = command->add_subcommand("start", "Send programmes, or a whole channel, to a group");
    start->add_option("--to", choice->to, "Where to")->type_name("GROUP:PORT")->required();
    start
        ->add_option(
            "--slot", choice->slot,
            "Slot 0 to 7 beside those that run; without it the stream replaces all others. Any slot stops slot 0")
        ->check(CLI::Range(0, 7));
    start->add_option("--tuner-channel", choice->channel, "Channel number of the tuner, 0 to 158")
        ->check(CLI::Range(0, 158))
        ->required();
    start
        ->add_option("--programme", choice->programmes,
                     "Programme as in the channel list, in hexadecimal; may be given several times. Without it: all")
        ->type_name("TSID:NUMBER")
        ->take_all()
        ->allow_extra_args(false);
    start->callback([&session, choice] { session.run = [&session, choice] { RunStart(session, *choice); }; });

    CLI::App* stop = command->add_subcommand("stop", "Stop one slot, or all");
    stop->add_option("--slot", choice->slot, "Slot 1 to 7; stops slot 0 too")->check(CLI::Range(0, 7));
    stop->callback([&session, choice] { session.run = [&session, choice] { RunStop(session, *choice); }; });
}

}  // namespace zulctl
