// zulctl: the operator's command line for driving boards.
#include <cstdio>
#include <iterator>

#include "commands/commands.h"
#include "manual.h"

namespace {

using zulctl::Session;

const cli::ManualMatter kManual = {
    {{"output",
      "Data goes to standard output as a table, as one JSON object that begins with its schema (--json; a line an\n"
      "object for a command that goes on), or as key=value lines (--format plain). The schema \"zulctl.status/1\" is\n"
      "the file share/zulctl/schemas/zulctl.status-1.json. Times are UTC. Progress and errors\n"
      "go to standard error, progress only where that is a terminal. Text of the broadcast is shown with control\n"
      "characters escaped.\n"},
     {"exit status",
      "  0  done\n  1  the board refused, or what was judged has faults\n  2  wrong usage\n  3  no answer\n  "
      "4  of several boards only some did it\n"},
     {"files",
      "$XDG_CONFIG_HOME/zulctl/boards.toml, ~/.config/zulctl/boards.toml, /etc/zulctl/boards.toml: the first of them "
      "that is there names boards:\n"
      "  interface  = \"eth0\"          # all of these are optional\n"
      "  local_port = 52440\n"
      "  [boards.attic]\n"
      "  address = \"10.0.0.5\"         # or \"10.0.0.5:5000\"\n"
      "  role    = \"transmitter\"      # or \"receiver\"\n"},
     {"environment",
      "ZULCTL_CONFIG names another file of names. NO_COLOR takes the colours away. COLUMNS is the width of tables\n"
      "where standard output isn't a terminal.\n"},
     {"examples",
      "  zulctl discover\n"
      "  zulctl -b attic scan\n"
      "  zulctl -b attic stream start CINEMA --to 239.1.1.1:5000\n"
      "  zulctl -b lobby play CINEMA --from attic\n"
      "  zulctl why lobby\n"},
     {"see also", "zul-board(1), zul-mux(1)\n"}}};

constexpr void (*kCommands[])(CLI::App&, Session&) = {
    // in the order of --help
    zulctl::AddDiscoverCommand, zulctl::AddStatusCommand,     zulctl::AddScanCommand,       zulctl::AddChannelsCommand,
    zulctl::AddGuideCommand,    zulctl::AddStreamCommand,     zulctl::AddProbeCommand,      zulctl::AddPlayCommand,
    zulctl::AddPageCommand,     zulctl::AddScaleCommand,      zulctl::AddResolutionCommand, zulctl::AddCaptionsCommand,
    zulctl::AddLanguageCommand, zulctl::AddLanguagesCommand,  zulctl::AddKeysCommand,       zulctl::AddSerialCommand,
    zulctl::AddNetworkCommand,  zulctl::AddResetCommand,      zulctl::AddUpgradeCommand,    zulctl::AddLogCommand,
    zulctl::AddRawCommand,      zulctl::AddExportCommand,     zulctl::AddApplyCommand,      zulctl::AddDoctorCommand,
    zulctl::AddWhyCommand,      zulctl::AddCompletionCommand,
#ifdef ZUL_SERVE
    zulctl::AddServeCommand,
#endif
};

/// Adds the options that all commands share.
void AddOptions(CLI::App& app, Session& session) {
    zulctl::SessionOptions& options = session.options;
    app.add_option("-b,--board", options.boards,
                   "Board by name or ADDRESS[:PORT]; may be given several times where a command takes several")
        ->type_name("NAME|ADDRESS")
        ->take_all()
        ->allow_extra_args(false);
    app.add_flag("-a,--all", options.all, "All boards that are named or heard");
    app.add_flag("--json", options.json, "Print one JSON object (several for a command that goes on)");
    app.add_option("--format", options.format, "Form of the output")
        ->check(CLI::IsMember({"table", "plain", "json"}))
        ->capture_default_str();
    app.add_flag("-q,--quiet", session.out.quiet, "No progress, notes or warnings");
    app.add_flag("-v,--verbose", session.out.verbose, "More about what is going on");
    app.add_option("--timeout", options.timeoutSeconds,
                   "Wait this long for each answer instead of what fits the request")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.05, 3600.0));
    app.add_option("--interface", options.interfaceName, "Network interface towards the boards and for groups")
        ->type_name("NAME");
    app.add_option("--local-port", options.localPort,
                   "Local port for all that is asked; boards remember the first they saw")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535));
    app.add_option("--config", options.configPath, "File of names instead of ~/.config/zulctl/boards.toml")
        ->type_name("FILE");
    app.add_option("--record", options.recordPath, "Record every datagram to and from boards as JSON lines")
        ->type_name("FILE");
}

int Run(CLI::App& app, Session& session, int argc, char** argv) {
    try {
        app.parse(argc, argv);
        session.Prepare();
        session.run();
        session.out.CheckWritten();
        return session.SomeAreMissing() ? zulctl::kPartly : zulctl::kDone;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        app.exit(error);
        return zulctl::kUsage;
    } catch (const zulctl::Failure& failure) {
        if (failure.what()[0] != '\0') session.out.Error(failure.what());
        return failure.code;
    } catch (const std::exception& error) {
        session.out.Error(error.what());
        return zulctl::kUsage;
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
    app.footer("Exit codes: 0 done, 1 the board refused, 2 wrong usage, 3 no answer, 4 some boards only.");
    Session session;
    AddOptions(app, session);
    for (const auto add : kCommands) add(app, session);
    const auto words = [&](const auto&... asked) { return zulctl::CompletionWords(session, asked...); };
    if (cli::ServeCompletion(app, argc, argv, words)) return zulctl::kDone;
    return Run(app, session, argc, argv);
}
