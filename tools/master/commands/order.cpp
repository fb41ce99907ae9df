// Work on one board or several, and its report.
#include "commands/order.h"

#include <fmt/format.h>

#include "common/psi.h"
#include "net/stream_order.h"
#include "output/escape.h"

namespace zulctl {

namespace {

/// What was done or why not, a line a board.
std::string ResultTable(const Output& out, const std::vector<Outcome<Done>>& outcomes) {
    Table table({Elastic("BOARD"), Elastic("RESULT")});
    for (const auto& outcome : outcomes) {
        const Cell result =
            outcome.failure ? Cell(EscapedMessage(outcome.failure->what()), Style::kBad) : Cell(outcome.result->line);
        if (!result.text.empty()) table.Add({Escaped(outcome.target.name), result});
    }
    return out.Render(table);
}

/// The channels of all boards, with a column for the board where there are several; empty where there are none.
std::string ChannelTable(const Output& out, const std::vector<Outcome<Done>>& outcomes, bool several) {
    std::vector<Column> columns = {Right("#"),          Left("NUMBER"),      Elastic("NAME"),
                                   Right("TUNER"),      Left("TSID:PROG"),   Right("SIGNAL"),
                                   Elastic("VIDEO", 3), Elastic("AUDIO", 2), Left("SCRAMBLED", 1)};
    if (several) columns.insert(columns.begin(), Elastic("BOARD"));
    Table table(std::move(columns));
    const auto kind = [](int type) {
        return type == 0 ? std::string("-") : common::StreamTypeName(static_cast<std::uint8_t>(type));
    };
    for (const auto& outcome : outcomes) {
        if (!outcome.result) continue;
        for (const Channel& channel : outcome.result->channels) {
            const int percent = channel.signal * 100 / 255;
            std::vector<Cell> row = {channel.index,
                                     channel.NumberText(),
                                     Escaped(channel.name),
                                     channel.tunerChannel,
                                     ProgrammeText(channel.id),
                                     Cell(fmt::format("{} %", percent), percent >= 60 ? Style::kGood : Style::kWarn),
                                     kind(channel.videoType),
                                     kind(channel.audioType),
                                     Cell(channel.scrambled ? "yes" : "", Style::kWarn)};
            if (several) row.insert(row.begin(), Escaped(outcome.target.name));
            table.Add(std::move(row));
        }
    }
    return out.Render(table);
}

}  // namespace

void Report(Session& session, std::string_view schema, const std::vector<Outcome<Done>>& outcomes, const char* what) {
    const auto people = [&](const std::string& head) {
        const std::string channels = ChannelTable(session.out, outcomes, session.Several());
        return head + (head.empty() || channels.empty() ? "" : "\n") + channels;
    };
    if (!session.Several()) {
        const auto& only = outcomes.front();
        if (only.failure) throw Failure(*only.failure);
        const std::string& line = only.result->line;
        return session.out.Emit(schema, only.result->body, [&] { return people(line + (line.empty() ? "" : "\n")); });
    }
    Json list = Json::array();
    std::size_t failed = 0;
    ExitCode code = kRefused;
    for (const auto& [target, done, failure] : outcomes) {
        if (failure) ++failed, code = failure->code;
        Json result;
        if (done) result = {{"schema", schema}}, result.update(done->body);
        list.push_back(
            {{"board", target.name}, {"error", failure ? Json(failure->what()) : Json()}, {"result", result}});
    }
    session.out.Emit("zulctl.results/1", {{"boards", list}},
                     [&] { return people(ResultTable(session.out, outcomes)); });
    FailWhereSome(failed, outcomes.size(), code, what);
}

void RunOnBoards(Session& session, std::optional<Role> role, std::string_view schema,
                 const std::function<Done(const Target&)>& work) {
    Report(session, schema, OnEach(session.Addressed(role), work));
}

void RunOrder(Session& session, std::optional<Role> role, const std::string& request, const std::string& what,
              const std::string& done, const std::function<void(Client&)>& check) {
    RunOnBoards(session, role, "zulctl.order/1", [&](const Target& target) -> Done {
        Client client = session.Connect(target);
        RefuseDuringUpgrade(client);
        if (check) check(client);
        session.out.Progress(fmt::format("asking {}...", target.name));
        client.Order(request, what);
        return {{{"board", target.name}, {"request", request}, {"done", true}}, done};
    });
}

}  // namespace zulctl
