// Work on one board or several, and its report.
#include "commands/order.h"

#include <fmt/format.h>

#include "commands/channel_table.h"
#include "net/stream_order.h"
#include "output/escape.h"

namespace zulctl {

namespace {

/// What was done or why not, a line a board.
std::string ResultTable(const Output& out, const std::vector<Outcome<Done>>& outcomes) {
    Table table({{"BOARD", Align::kLeft, true}, {"RESULT", Align::kLeft, true}});
    for (const auto& outcome : outcomes) {
        const Cell result =
            outcome.failure ? Cell(EscapedMessage(outcome.failure->what()), Style::kBad) : Cell(outcome.result->line);
        if (!result.text.empty()) table.Add({Escaped(outcome.target.name), result});
    }
    return table.Empty() ? "" : out.Render(table);
}

}  // namespace

void Report(Session& session, std::string_view schema, const std::vector<Outcome<Done>>& outcomes) {
    const bool several = session.Several();
    Json list = Json::array();
    std::size_t failed = 0;
    ExitCode code = kRefused;
    for (const auto& outcome : outcomes) {
        if (outcome.failure && !several) throw Failure(*outcome.failure);
        if (outcome.failure) ++failed, code = outcome.failure->code;
        Json result;
        if (outcome.result) result = {{"schema", schema}}, result.update(outcome.result->body);
        list.push_back({{"board", outcome.target.name},
                        {"error", outcome.failure ? Json(outcome.failure->what()) : Json()},
                        {"result", result}});
    }
    const auto people = [&] {
        const Done* const one = several ? nullptr : &*outcomes.front().result;
        const std::string head =
            one == nullptr ? ResultTable(session.out, outcomes) : one->line + (one->line.empty() ? "" : "\n");
        const std::string channels = ChannelTable(session.out, outcomes, several);
        return head + (head.empty() || channels.empty() ? "" : "\n") + channels;
    };
    if (several)
        session.out.Emit("zulctl.results/1", {{"boards", list}}, people);
    else
        session.out.Emit(schema, outcomes.front().result->body, people);
    FailWhereSome(failed, outcomes.size(), code, "failed");
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
