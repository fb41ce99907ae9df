// zulctl completion: the script of a shell, and the words that only zulctl knows.
#include "completion.h"

#include <memory>

#include "commands/commands.h"
#include "net/fetch.h"

namespace zulctl {

std::vector<std::string> CompletionWords(Session& session, const CLI::Option& option, const cli::Given& given) try {
    std::vector<std::string> words;
    session.out.quiet = true;
    session.options.timeoutSeconds = 0.5;
    if (option.get_type_name().find("ADDRESS") != std::string::npos) {
        session.Prepare();
        for (const NamedBoard& board : session.Names().boards) words.push_back(board.name);
        return words;
    }
    // A board that the line names is asked for its list; none is searched for.
    const bool playing = option.get_name() == "what";
    const auto board = given.find(playing ? "from" : "board");
    if (board == given.end() || (!playing && option.get_name() != "channel")) return words;
    session.Prepare();
    Client client = session.Connect(session.Named(board->second, Role::kTransmitter));
    for (const Channel& channel : FetchChannels(client)) words.push_back(channel.name);
    return words;
} catch (const std::exception&) {
    return {};
}

void AddCompletionCommand(CLI::App& app, Session& session) {
    CLI::App* command = app.add_subcommand("completion", "Print the completion script of a shell");
    command->footer(
        "Installed copies load by themselves. By hand:\n"
        "  source <(zulctl completion bash)\n"
        "  zulctl completion fish | source");
    const auto shell = std::make_shared<std::string>();
    command->add_option("shell", *shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    command->callback([&session, shell] {
        session.run = [&session, shell] {
            const std::string text = cli::CompletionScript(*shell, "zulctl");
            session.out.Emit("zulctl.completion/1", {{"shell", *shell}, {"text", text}}, [&] { return text; });
        };
    });
}

}  // namespace zulctl
