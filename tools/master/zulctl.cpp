// zulctl: the operator's command line for driving boards.
#include <cstdio>
#include <iterator>

#include "commands/commands.h"
#include "manual.h"
#include "zul_version.h"

namespace {

using zulctl::Session;

const cli::ManualMatter kManual = {
    ZUL_VERSION,
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
     {"see also", "zul-board(1), zul-mux(1)\n"}}};

constexpr void (*kCommands[])(CLI::App&, Session&) = {
    // in the order of --help
    zulctl::AddDiscoverCommand,   zulctl::AddStatusCommand,    zulctl::AddScanCommand,       zulctl::AddChannelsCommand,
    zulctl::AddGuideCommand,      zulctl::AddStreamCommand,    zulctl::AddProbeCommand,      zulctl::AddPlayCommand,
    zulctl::AddPageCommand,       zulctl::AddScaleCommand,     zulctl::AddResolutionCommand, zulctl::AddCaptionsCommand,
    zulctl::AddLanguageCommand,   zulctl::AddLanguagesCommand, zulctl::AddKeysCommand,       zulctl::AddSerialCommand,
    zulctl::AddNetworkCommand,    zulctl::AddResetCommand,     zulctl::AddUpgradeCommand,    zulctl::AddLogCommand,
    zulctl::AddRawCommand,        zulctl::AddExportCommand,    zulctl::AddApplyCommand,      zulctl::AddDoctorCommand,
    zulctl::AddCompletionCommand,
#ifdef ZUL_SERVE
    zulctl::AddServeCommand,
#endif
};

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
    app.set_version_flag("--version", "zulctl " ZUL_VERSION);
    cli::AddManualFlag(app, kManual);
    app.footer("Exit codes: 0 done, 1 the board refused, 2 wrong usage, 3 no answer, 4 some boards only.");
    Session session;
    session.AddOptions(app);
    for (const auto add : kCommands) add(app, session);
    return Run(app, session, argc, argv);
}
