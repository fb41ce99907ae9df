// zulctl status: state of boards, queried in parallel.
#include <fmt/format.h>

#include <future>

#include "commands/commands.h"
#include "output/escape.h"
#include "protocol/status_json.h"

namespace zulctl {

namespace {

/// The result of querying one board.
struct Answer {
    Target target;
    std::optional<TransmitterStatus> transmitter;
    std::optional<ReceiverStatus> receiver;
    std::string error;
    ExitCode code = kDone;
};

Answer AskStatus(const Session& session, const Target& target) {
    Answer answer{target, std::nullopt, std::nullopt, "", kDone};
    try {
        const std::string reply = session.Connect(target).Ask("STATUS");
        if (target.role == Role::kTransmitter) answer.transmitter = ParseTransmitterStatus(reply);
        if (target.role == Role::kReceiver) answer.receiver = ParseReceiverStatus(reply);
        if (!answer.transmitter && !answer.receiver)
            throw Failure(kRefused, "its answer isn't a status: " + CutToWidth(Escaped(reply), 60));
    } catch (const Failure& failure) {
        answer.error = failure.what();
        answer.code = failure.code;
    }
    return answer;
}

std::string Programmes(const StreamStatus& stream) {
    std::string text;
    for (const auto programme : stream.programmes) text += fmt::format("{}{:04x}", text.empty() ? "" : " ", programme);
    return text.empty() ? "none" : text;
}

Json JsonOf(const Answer& answer) {
    return BoardJson(answer.target.name, answer.target.at, answer.target.role, answer.transmitter, answer.receiver,
                     answer.error);
}

std::vector<Cell> RowOf(const Answer& answer) {
    std::vector<Cell> row = {Escaped(answer.target.name), RoleName(answer.target.role), EndpointText(answer.target.at)};
    if (const auto& status = answer.transmitter) {
        const int percent = status->signal * 100 / 255;
        const auto active =
            std::count_if(status->streams.begin(), status->streams.end(), [](const auto& s) { return s.active; });
        row.emplace_back(fmt::format("{} %", percent), percent >= 60 ? Style::kGood
                                                       : percent > 0 ? Style::kWarn
                                                                     : Style::kBad);
        row.emplace_back(fmt::format("{} %", status->load));
        row.emplace_back(fmt::format("{}, {} stream{}", Escaped(status->tunerMode), active, active == 1 ? "" : "s"));
    } else if (const auto& playing = answer.receiver) {
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
        row.emplace_back(answer.error, Style::kBad);
    }
    return row;
}

std::string People(const Output& out, const std::vector<Answer>& answers) {
    Table boards({{"BOARD", Align::kLeft, true},
                  {"ROLE", Align::kLeft, false, 1},
                  {"ADDRESS"},
                  {"SIGNAL", Align::kRight},
                  {"LOAD", Align::kRight},
                  {"STATE", Align::kLeft, true}});
    Table streams({{"BOARD", Align::kLeft, true},
                   {"SLOT", Align::kRight},
                   {"GROUP"},
                   {"STATE"},
                   {"PROGRAMMES", Align::kLeft, true}});
    for (const Answer& answer : answers) {
        boards.Add(RowOf(answer));
        if (!answer.transmitter) continue;
        for (const StreamStatus& stream : answer.transmitter->streams) {
            streams.Add({Escaped(answer.target.name), std::to_string(stream.id), EndpointText(stream.group),
                         Cell(stream.active ? "active" : "idle", stream.active ? Style::kGood : Style::kDim),
                         Programmes(stream)});
        }
    }
    return out.Render(boards) + (streams.Empty() ? "" : "\n" + out.Render(streams));
}

void RunStatus(Session& session) {
    const std::vector<Target> targets = session.Boards(std::nullopt);
    session.out.Progress(fmt::format("asking {} board{}...", targets.size(), targets.size() == 1 ? "" : "s"));
    std::vector<std::future<Answer>> pending;
    for (const Target& target : targets) {
        pending.push_back(std::async(std::launch::async, [&session, target] { return AskStatus(session, target); }));
    }
    std::vector<Answer> answers;
    Json list = Json::array();
    std::size_t silent = 0;
    for (auto& future : pending) {
        answers.push_back(future.get());
        list.push_back(JsonOf(answers.back()));
        silent += answers.back().error.empty() ? 0 : 1;
    }
    if (silent == answers.size() && answers.size() == 1) throw Failure(answers.front().code, answers.front().error);
    session.out.Emit("zulctl.status/1", {{"boards", list}}, [&] { return People(session.out, answers); });
    FailWhereSome(silent, answers.size(), kNoAnswer, "don't tell their status");
}

}  // namespace

void AddStatusCommand(CLI::App& app, Session& session) {
    CLI::App* command =
        app.add_subcommand("status", "Tell what boards do: one, several or --all, asked at the same time");
    command->callback([&session] { session.run = [&session] { RunStatus(session); }; });
}

}  // namespace zulctl
