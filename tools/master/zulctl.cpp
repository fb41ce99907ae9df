// zulctl: the operator's command line for driving boards.
#include <cstdio>
#include <iterator>

#include "commands/commands.h"

namespace {

using zulctl::Session;

constexpr void (*kCommands[])(CLI::App&, Session&) = {
    // in the order of --help
    zulctl::AddDiscoverCommand, zulctl::AddStatusCommand,    zulctl::AddScanCommand,       zulctl::AddChannelsCommand,
    zulctl::AddGuideCommand,    zulctl::AddStreamCommand,    zulctl::AddProbeCommand,      zulctl::AddPlayCommand,
    zulctl::AddPageCommand,     zulctl::AddScaleCommand,     zulctl::AddResolutionCommand, zulctl::AddCaptionsCommand,
    zulctl::AddLanguageCommand, zulctl::AddLanguagesCommand, zulctl::AddKeysCommand,       zulctl::AddSerialCommand,
    zulctl::AddNetworkCommand,  zulctl::AddResetCommand,     zulctl::AddUpgradeCommand,    zulctl::AddLogCommand,
    zulctl::AddRawCommand,      zulctl::AddExportCommand,    zulctl::AddApplyCommand,
    zulctl::AddDoctorCommand,
#ifdef ZUL_SERVE
    zulctl::AddServeCommand,
#endif
};

int Run(CLI::App& app, Session& session, int argc, char** argv) {
    try {
        app.parse(argc, argv);
        session.Prepare();
        session.run();
        return zulctl::kDone;
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
    app.set_version_flag("--version", "zulctl 0.82.14");
    app.footer("Exit codes: 0 done, 1 the board refused, 2 wrong usage, 3 no answer, 4 some boards only.");
    Session session;
    session.AddOptions(app);
    for (const auto add : kCommands) add(app, session);
    return Run(app, session, argc, argv);
}
