// zulctl: the operator's command line for driving boards.
#include <fmt/format.h>

#include <vector>

#include "commands/commands.h"
#include "documents.h"
#include "net/fetch.h"
#include "output/escape.h"

namespace {

using namespace zulctl;

const cli::ManualSections kManual = {
    {"output",
     "Data goes to standard output as a table, as one JSON object that begins with its schema (--json; a line an "
     "object for a command that goes on), or as key=value with a line a board or other item (--format plain). The "
     "schema \"zulctl.status/1\" is the file share/zulctl/schemas/zulctl.status-1.json. Times of JSON are UTC. "
     "Progress "
     "and errors go to standard error, progress only where that is a terminal. Text of the broadcast is shown with "
     "control characters escaped.\n"},
    {"exit status",
     "  0  done\n"
     "  1  the board refused, or what was judged has faults\n"
     "  2  wrong usage\n"
     "  3  no answer\n"
     "  4  of several boards only some did it\n"},
    {"files",
     "$XDG_CONFIG_HOME/zulctl/boards.toml, ~/.config/zulctl/boards.toml, /etc/zulctl/boards.toml: the first of them "
     "that is there names boards:\n"
     "  interface  = \"eth0\"          # all of these are optional\n"
     "  local_port = 52440\n"
     "  [boards.attic]\n"
     "  address = \"10.0.0.5\"         # or \"10.0.0.5:5000\"\n"
     "  role    = \"transmitter\"      # or \"receiver\"\n"},
    {"environment",
     "ZULCTL_CONFIG names another file of names. NO_COLOR takes the colours away. COLUMNS is the width of a terminal; "
     "without one, nothing is cut.\n"},
    {"examples",
     "  zulctl discover\n"
     "  zulctl -b attic scan\n"
     "  zulctl -b attic stream start CINEMA --to 239.1.1.1:5000\n"
     "  zulctl -b lobby play CINEMA\n"
     "  zulctl why lobby\n"},
    {"completion", "zulctl completion bash, zsh or fish prints the script that packages install.\n"},
    {"see also", "zul-board(1), zul-mux(1)\n"}};

void RunCompletion(Session& session, const std::string& shell) {
    const std::string text = cli::CompletionScript(shell, "zulctl");
    session.out.Emit("zulctl.completion/1", {{"shell", shell}, {"text", text}}, [&] { return text; });
}

void AddCompletionCommand(CLI::App& app, Session& session) {
    const auto [command, shell] =
        AddCommand(app, session, "completion", "Print the completion script of a shell", RunCompletion);
    command->footer(
        "Installed copies load by themselves. By hand:\n"
        "  source <(zulctl completion bash)\n"
        "  zulctl completion fish | source");
    command->add_option("shell", *shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
}

/// The words for an option's value that only zulctl knows: boards of the file of names, channels of a board on the
/// line.
std::vector<std::string> CompletionWords(Session& session, const CLI::Option& option, const cli::Given& given) try {
    std::vector<std::string> words;
    session.out.quiet = true;
    session.options.timeoutSeconds = 0.5;
    session.Prepare();
    if (option.get_type_name().find("ADDRESS") != std::string::npos) {
        for (const NamedBoard& board : session.Names().boards) words.push_back(board.name);
        return words;
    }
    // A board that the line names is asked for its list; none is searched for.
    const bool playing = option.get_name() == "what";
    const auto board = given.find(playing ? "from" : "board");
    if (board == given.end() || (!playing && option.get_name() != "channel")) return words;
    Client client = session.Connect(session.Named(board->second, Role::kTransmitter));
    for (const Channel& channel : FetchChannels(client)) words.push_back(channel.name);
    return words;
} catch (const std::exception&) {
    return {};
}

/// The commands in the order of --help, by group; those of the last one aren't in it.
const struct {
    const char* group;
    std::vector<void (*)(CLI::App&, Session&)> add;
} kCommands[] = {
    {"Look", {AddDiscoverCommand, AddStatusCommand, AddWhyCommand, AddDoctorCommand, AddProbeCommand, AddLogCommand}},
#ifdef ZUL_SERVE
    {"Look", {AddServeCommand}},
#endif
    {"Transmitters",
     {AddScanCommand, AddChannelsCommand, AddGuideCommand, AddStreamCommand, AddApplyCommand, AddExportCommand}},
    {"Receivers", {AddPlayCommand, AddPageCommand, AddCaptionsCommand, AddKeysCommand, AddSerialCommand}},
    {"All boards",
     {AddLanguageCommand, AddLanguagesCommand, AddNetworkCommand, AddResetCommand, AddUpgradeCommand, AddRawCommand}},
    {"", {AddCompletionCommand}},
};

/// Adds the options that all commands share.
void AddOptions(CLI::App& app, Session& session) {
    SessionOptions& options = session.options;
    AddOption(&app, "-b,--board NAME|ADDRESS", options.boards, "Board by name or ADDRESS[:PORT]; may be repeated");
    app.add_flag("-a,--all", options.all, "All boards that are named or heard");
    app.add_flag("--json", options.json, "Print one JSON object (several for a command that goes on)");
    app.add_option("--format", options.format, "Form of the output, in place of a table")
        ->check(CLI::IsMember({"table", "plain", "json"}).description("{plain,json}"));
    app.add_flag("-q,--quiet", session.out.quiet, "No progress, notes or warnings");
    AddOption(&app, "--timeout SECONDS", options.timeoutSeconds,
              "Wait this long for each answer instead of what fits the request")
        ->check(CLI::Range(0.05, 3600.0).description(""));
    AddOption(&app, "--interface NAME", options.interfaceName, "Network interface towards the boards and for groups");
    AddOption(&app, "--local-port PORT", options.localPort,
              "Local port for all that is asked; boards remember the first they saw")
        ->check(CLI::Range(1, 65535).description(""));
    AddOption(&app, "--config FILE", options.configPath, "File of names instead of ~/.config/zulctl/boards.toml");
    AddOption(&app, "--record FILE", options.recordPath, "Record every datagram to and from boards as JSON lines");
}

/// Names the first word that nothing takes, and a similar one that something does. \return empty where all are taken
std::string Unknown(const CLI::App& app) {
    const auto words = app.remaining(true);
    if (words.empty()) return "";
    const std::string word = words.front().substr(0, words.front().find('='));
    std::vector<std::string> known;
    for (const CLI::App* at = &app; at != nullptr;) {
        const auto chosen = at->get_subcommands();
        for (const CLI::Option* option : at->get_options()) {
            for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
        }
        for (const CLI::App* command : at->get_subcommands({})) {
            if (chosen.empty()) known.push_back(command->get_name());
        }
        at = chosen.empty() ? nullptr : chosen.front();
    }
    return fmt::format("\"{}\" isn't known here{}", word, DidYouMean(word, known));
}

int Run(CLI::App& app, Session& session, int argc, char** argv) {
    try {
        app.parse(argc, argv);
        session.out.CheckWritten();
        return session.SomeAreMissing() ? kPartly : kDone;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        const std::string unknown = Unknown(app);
        if (unknown.empty())
            app.exit(error);
        else
            session.out.Error(unknown);
        return kUsage;
    } catch (const Failure& failure) {
        if (failure.what()[0] != '\0') session.out.Error(failure.what());
        return failure.code;
    } catch (const std::exception& error) {
        session.out.Error(error.what());
        return kUsage;
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(
        "Drives television boards on the network: finds them, scans, streams, plays, upgrades, judges streams.",
        "zulctl");
    app.require_subcommand(1);
    app.fallthrough();
    cli::AddDocuments(app, kManual);
    Session session;
    AddOptions(app, session);
    for (const auto& [group, add] : kCommands) {
        for (const auto addOne : add) {
            addOne(app, session);
            app.get_subcommands({}).back()->group(group);
        }
    }
    app.parse_complete_callback([&] { session.Prepare(); });
    const auto words = [&](const auto&... asked) { return CompletionWords(session, asked...); };
    if (cli::ServeCompletion(app, argc, argv, words)) return kDone;
    return Run(app, session, argc, argv);
}
