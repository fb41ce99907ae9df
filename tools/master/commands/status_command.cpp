// zulctl status: state of boards, queried in parallel.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <memory>

#include "commands/commands.h"
#include "net/each_board.h"
#include "output/escape.h"
#include "protocol/reply_json.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

constexpr auto kRedraw = 2s;

/// What a board reports.
struct State {
    std::optional<TransmitterStatus> transmitter{};
    std::optional<ReceiverStatus> receiver{};
    std::optional<ScanState> scan{};
};
using Answer = Outcome<State>;

State AskState(const Session& session, const Target& target) {
    Client client = session.Connect(target);
    const std::string reply = client.Ask("STATUS");
    State state;
    if (target.role == Role::kTransmitter) state.transmitter = ParseTransmitterStatus(reply);
    if (target.role == Role::kReceiver) state.receiver = ParseReceiverStatus(reply);
    if (!state.transmitter && !state.receiver)
        throw Failure(kRefused, "its answer isn't a status: " + CutToWidth(Escaped(reply), 60));
    if (state.transmitter) state.scan = ParseScanState(client.Ask("SCA?"));
    return state;
}

Json JsonOf(const Answer& answer) {
    const State state = answer.result.value_or(State{});
    return BoardJson(answer.target.name, answer.target.at, answer.target.role, state.transmitter, state.receiver,
                     state.scan, answer.failure ? answer.failure->what() : "");
}

/// "scans channel 31 of 2 to 69, 42 %", or the number of streams.
std::string TransmitterText(const TransmitterStatus& status, const std::optional<ScanState>& scan) {
    const auto active = std::ranges::count_if(status.streams, &StreamStatus::active);
    if (!scan || scan->state != ScanState::State::kRunning)
        return fmt::format("{}, {} stream{}", Escaped(status.tunerMode), active, active == 1 ? "" : "s");
    const ChannelRange range = ChannelsOf(status.tunerMode);
    return fmt::format("{}, scans channel {} of {} to {}, {} %", Escaped(status.tunerMode), scan->channel, range.first,
                       range.last, range.Percent(scan->channel));
}

std::vector<Cell> RowOf(const Answer& answer) {
    std::vector<Cell> row = {Escaped(answer.target.name), RoleName(answer.target.role), EndpointText(answer.target.at)};
    const State state = answer.result.value_or(State{});
    if (const auto& status = state.transmitter) {
        const int percent = status->signal * 100 / 255;
        row.emplace_back(fmt::format("{} %", percent), percent >= 60 ? Style::kGood
                                                       : percent > 0 ? Style::kWarn
                                                                     : Style::kBad);
        row.emplace_back(fmt::format("{} %", status->load));
        row.emplace_back(TransmitterText(*status, state.scan));
    } else if (const auto& playing = state.receiver) {
        const bool ordered = !playing->address.empty() && playing->address != "0.0.0.0";
        const std::string stream = fmt::format("{}:{}", Escaped(playing->address), playing->port);
        row.emplace_back("");
        row.emplace_back(fmt::format("{} %", playing->load));
        row.emplace_back((playing->playsStream ? fmt::format("plays {} programme {:04x}", stream, playing->programme)
                          : ordered            ? "told to play " + stream
                                               : "plays no stream") +
                         std::string(playing->browserUp ? ", browser up" : ""));
    } else {
        row.emplace_back(""), row.emplace_back("");
        row.emplace_back(EscapedMessage(answer.failure->what()), Style::kBad);
    }
    return row;
}

std::string People(const Output& out, const std::vector<Answer>& answers) {
    Table boards(
        {Elastic("BOARD"), Left("ROLE", 1), Left("ADDRESS"), Right("SIGNAL"), Right("LOAD"), Elastic("STATE")});
    Table streams({Elastic("BOARD"), Right("SLOT"), Left("GROUP"), Left("STATE"), Elastic("PROGRAMMES")});
    for (const Answer& answer : answers) {
        boards.Add(RowOf(answer));
        if (!answer.result || !answer.result->transmitter) continue;
        for (const StreamStatus& stream : answer.result->transmitter->streams) {
            streams.Add(
                {Escaped(answer.target.name), std::to_string(stream.id), EndpointText(stream.group),
                 Cell(stream.active ? "active" : "idle", stream.active ? Style::kGood : Style::kDim),
                 stream.programmes.empty() ? "none" : fmt::format("{:04x}", fmt::join(stream.programmes, " "))});
        }
    }
    return out.Render(boards) + (streams.Empty() ? "" : "\n" + out.Render(streams));
}

/// Asks and redraws until an interrupt.
void Watch(Session& session, const std::vector<Target>& targets) {
    CatchInterrupts();
    for (;;) {
        const auto answers = OnEach(targets, [&](const Target& target) { return AskState(session, target); });
        if (Interrupted()) return;
        session.out.EmitItem("", {}, [&] { return "\x1b[H\x1b[2J" + People(session.out, answers); });
        SleepUntil(Clock::now() + kRedraw);
    }
}

void RunStatus(Session& session, bool watch) {
    if (watch && (!session.out.IsTerminal() || session.out.format != Format::kTable))
        throw Failure(kUsage, "--watch draws on a terminal; without one, run status again and again");
    const std::vector<Target> targets = session.Boards(std::nullopt);
    session.out.Progress(fmt::format("asking {} board{}...", targets.size(), targets.size() == 1 ? "" : "s"));
    if (watch) return Watch(session, targets);
    const auto answers = OnEach(targets, [&](const Target& target) { return AskState(session, target); });
    Json list = Json::array();
    std::size_t silent = 0;
    for (const Answer& answer : answers) {
        list.push_back(JsonOf(answer));
        silent += answer.failure ? 1 : 0;
    }
    if (silent == 1 && answers.size() == 1) throw Failure(*answers.front().failure);
    session.out.Emit("zulctl.status/1", {{"boards", list}}, [&] { return People(session.out, answers); });
    FailWhereSome(silent, answers.size(), kNoAnswer, "don't report their status");
}

}  // namespace

void AddStatusCommand(CLI::App& app, Session& session) {
    CLI::App* command =
        app.add_subcommand("status", "Show what boards do: one, several or --all, asked at the same time");
    const auto watch = std::make_shared<bool>(false);
    command->add_flag("-w,--watch", *watch, "Redraw the table every two seconds, until Ctrl-C");
    command->callback([&session, watch] { session.run = [&session, watch] { RunStatus(session, *watch); }; });
}

}  // namespace zulctl
