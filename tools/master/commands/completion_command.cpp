// zulctl completion: scripts for shells, and the words that they query.
#include <memory>

#include "commands/commands.h"
#include "completion.h"

namespace zulctl {

namespace {

std::string BoardNames(const Session& session) {
    std::string names;
    for (const NamedBoard& board : session.Names().boards) names += board.name + "\n";
    return names;
}

}  // namespace

void AddCompletionCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("completion", "Print the completion script of a shell");
    command->footer(
        "Installed copies load by themselves. By hand:\n"
        "  source <(zulctl completion bash)\n"
        "\"boards\" lists the names of boards.toml, for the scripts.");
    const auto what = std::make_shared<std::string>();
    command->add_option("shell", *what, "bash, zsh, or boards")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "boards"}));
    command->callback([&app, &session, what] {
        session.run = [&app, &session, what] {
            constexpr const char* kBoards = "zulctl completion boards";
            const std::string text = *what == "bash"  ? cli::BashCompletion(app, kBoards)
                                     : *what == "zsh" ? cli::ZshCompletion(app, kBoards)
                                                      : BoardNames(session);
            session.out.Emit("zulctl.completion/1", {{"shell", *what}, {"text", text}}, [&] { return text; });
        };
    });
}

}  // namespace zulctl
