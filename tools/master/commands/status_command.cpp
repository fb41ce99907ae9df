// zulctl status: state of boards, queried in parallel.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "commands/commands.h"
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

/// "scans channel 31 of 2 to 69, 42 %", or the number of streams.
std::string TransmitterText(const TransmitterStatus& status, const std::optional<ScanState>& scan) {
    const auto active = std::ranges::count_if(status.streams, &StreamStatus::active);
    if (!scan || scan->state != ScanState::State::kRunning)
        return Escaped(status.tunerMode) + ", " + Counted(active, "stream");
    const ChannelRange range = ChannelsOf(status.tunerMode);
    return fmt::format("{}, scans channel {} of {} to {}, {} %", Escaped(status.tunerMode), scan->channel, range.first,
                       range.last, range.Percent(scan->channel));
}

std::string ReceiverText(const ReceiverStatus& status) {
    const std::string stream = fmt::format("{}:{}", Escaped(status.address), status.port);
    return (status.playsStream       ? fmt::format("plays {} programme {:04x}", stream, status.programme)
            : status.address.empty() ? "plays no stream"
                                     : "told to play " + stream) +
           std::string(status.browserUp ? ", browser up" : "");
}

std::vector<Cell> RowOf(const Answer& answer) {
    Cell signal = "", load = "", state = "";
    if (answer.failure) {
        state = Cell(EscapedMessage(answer.failure->what()), Style::kBad);
    } else if (const auto& status = answer.result->transmitter) {
        const int percent = status->signal * 100 / 255;
        signal = Cell(fmt::format("{} %", percent), percent >= 60 ? Style::kGood
                                                    : percent > 0 ? Style::kWarn
                                                                  : Style::kBad);
        load = fmt::format("{} %", status->load);
        state = TransmitterText(*status, answer.result->scan);
    } else {
        load = fmt::format("{} %", answer.result->receiver->load);
        state = ReceiverText(*answer.result->receiver);
    }
    const Target& board = answer.target;
    return {Escaped(board.name), RoleName(board.role), EndpointText(board.at), signal, load, state};
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
                {Escaped(answer.target.name), stream.id, EndpointText(stream.group),
                 Cell(stream.active ? "active" : "idle", stream.active ? Style::kGood : Style::kDim),
                 stream.programmes.empty() ? "none" : fmt::format("{:04x}", fmt::join(stream.programmes, " "))});
        }
    }
    const std::string running = out.Render(streams);
    return out.Render(boards) + (running.empty() ? "" : "\n" + running);
}

void RunStatus(Session& session, bool watch) {
    if (watch && (!session.out.IsTerminal() || session.out.format != Format::kTable))
        throw Failure(kUsage, "--watch draws on a terminal; without one, run status again and again");
    const std::vector<Target> targets = session.Boards(std::nullopt);
    session.out.Progress(fmt::format("asking {}...", Counted(targets.size(), "board")));
    const auto ask = [&] { return OnEach(targets, [&](const Target& target) { return AskState(session, target); }); };
    if (watch) {
        CatchInterrupts();
        for (auto answers = ask(); !Interrupted(); answers = ask()) {
            session.out.EmitItem("", {}, [&] { return "\x1b[H\x1b[2J" + People(session.out, answers); });
            SleepUntil(Clock::now() + kRedraw);
        }
        return;
    }
    const auto answers = ask();
    Json list = Json::array();
    std::size_t silent = 0;
    for (const auto& [target, result, failure] : answers) {
        const State state = result.value_or(State{});
        list.push_back(BoardJson(target.name, target.at, target.role, state.transmitter, state.receiver, state.scan,
                                 failure ? failure->what() : ""));
        silent += failure ? 1 : 0;
    }
    if (silent == 1 && answers.size() == 1) throw Failure(*answers.front().failure);
    session.out.Emit("zulctl.status/1", {{"boards", list}}, [&] { return People(session.out, answers); });
    FailWhereSome(silent, answers.size(), kNoAnswer, "don't report their status");
}

}  // namespace

void AddStatusCommand(CLI::App& app, Session& session) {
    const auto [command, watch] = AddCommand(
        app, session, "status", "Show what boards do: one, several or --all, asked at the same time", RunStatus);
    command->add_flag("-w,--watch", *watch, "Redraw the table every two seconds, until Ctrl-C");
}

}  // namespace zulctl
