// zulctl stream: starts and stops what a transmitter sends.
#include <fmt/format.h>

#include "commands/commands.h"
#include "commands/order.h"
#include "doctor/screen.h"
#include "doctor/senders.h"
#include "net/fetch.h"
#include "net/stream_order.h"
#include "output/escape.h"

namespace zulctl {

namespace {

struct StartChoice : StreamChoice {
    bool replace = false, force = false, yes = false;
};

struct StopChoice {
    std::optional<int> slot;
    bool yes = false;
};

/// Asks before streams end.
void ConfirmEnds(Session& session, const Target& target, const std::vector<StreamStatus>& ended, bool yes) {
    if (ended.empty()) return;
    std::string text = (session.Several() ? Escaped(target.name) + ": " : "") + "this ends";
    for (const StreamStatus& stream : ended)
        text += fmt::format("{} slot {} to {}", &stream == &ended.front() ? "" : ",", stream.id,
                            EndpointText(stream.group));
    session.out.Confirm(text, ended.size() == 1 ? "End it?" : "End them?", yes);
}

void RunStart(Session& session, const StartChoice& choice) {
    const Target target = session.OneBoard(Role::kTransmitter);
    Client client = session.Connect(target);
    StreamRequest request = FindStream(client, choice);
    if (!request.slot && !choice.replace) request.slot = FreeSlot(client, request.to);
    const std::string text = StartText(request);
    const auto ended = CheckAgainstBoard(client, request);
    session.out.Progress("looking who else sends there...");
    if (!choice.force) RefuseTakenGroup(session, request.to, AskOthers(session, {target.at}), {target.at});
    ConfirmEnds(session, target, ended, choice.yes);
    session.out.Progress("tuning and starting, some 11 s...");
    client.Order(text, "the stream");
    session.out.Emit("zulctl.stream/1", StartedJson(request, text), [&] {
        return fmt::format("streaming to {}, slot {}\n", EndpointText(request.to), request.slot.value_or(0));
    });
    std::set<std::uint16_t> programmes;
    for (const ProgrammeId& id : request.programmes) programmes.insert(id.programme);
    WarnOfStream(session, request.to, std::move(programmes));
}

void RunStop(Session& session, const StopChoice& choice) {
    const std::string text = StopText(choice.slot);
    const auto targets = session.Addressed(Role::kTransmitter);
    for (const Target& target : targets) {
        Client client = session.Connect(target);
        RefuseWhileBusy(client);
        std::vector<StreamStatus> ended = FetchStatus(client).streams;
        std::erase_if(ended, [&](const StreamStatus& stream) {  // a named or only stream needs no confirmation
            return !stream.active || (choice.slot && (stream.id == *choice.slot || stream.id != 0));
        });
        if (choice.slot || ended.size() > 1) ConfirmEnds(session, target, ended, choice.yes);
    }
    session.out.Progress("stopping...");
    Report(session, "zulctl.stream/1", OnEach(targets, [&](const Target& target) -> Done {
               session.Connect(target).Order(text, "the stop");
               return {StoppedJson(choice.slot, text), choice.slot
                                                           ? fmt::format("slot {} stopped, and slot 0", *choice.slot)
                                                           : std::string("all streams stopped")};
           }));
}

}  // namespace

void AddStreamCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("stream", "Start and stop what a transmitter sends");
    command->require_subcommand(1);
    const auto [start, choice] =
        AddCommand(*command, session, "start", "Send programmes, or a whole multiplex, to a group", RunStart);
    start->footer(
        "All streams of a board come from one tuner channel. Starting or stopping any slot stops slot 0, and a start "
        "tunes the board anew: its other streams pause for a moment. Where streams end, zulctl asks first; a start to "
        "a group that the board sends to replaces what it carries.");
    start->add_option("channel", choice->channels, "Channels by number (7.1), name or index, all on one tuner channel");
    AddOption(start, "--to GROUP:PORT", choice->to, "Where to")->required();
    CLI::Option* slot = start->add_option("--slot", choice->slot, "Slot 0 to 7; without it a free one")
                            ->check(CLI::Range(0, kStreamSlots - 1));
    start->add_flag("--replace", choice->replace, "End all other streams of the board")->excludes(slot);
    start->add_flag("--force", choice->force, "Start although another transmitter sends to that group");
    start->add_flag("-y,--yes", choice->yes, "Don't ask where streams end");
    start->add_flag("--whole", choice->whole, "The whole multiplex that the channel is in");
    start->add_option("--tuner-channel", choice->tunerChannel, "In place of names: channel number of the tuner")
        ->check(CLI::Range(1, kHighestChannel));
    AddOption(start, "--programme TSID:NUMBER", choice->programmes,
              "With --tuner-channel: a programme in hexadecimal; may be given several times. Without it: all");

    const auto [stop, stopping] = AddCommand(*command, session, "stop", "Stop one slot, or all", RunStop);
    stop->add_option("--slot", stopping->slot, "Slot to stop; stops slot 0 too")
        ->check(CLI::Range(0, kStreamSlots - 1));
    stop->add_flag("-y,--yes", stopping->yes, "Don't ask where other streams end");
}

}  // namespace zulctl
