/// The subcommands of zulctl, one file each. Each function adds one to the option tree.
#pragma once

#include "session.h"

namespace zulctl {

void AddChannelsCommand(CLI::App& app, Session& session);
void AddDiscoverCommand(CLI::App& app, Session& session);
void AddGuideCommand(CLI::App& app, Session& session);
void AddLanguagesCommand(CLI::App& app, Session& session);
void AddLogCommand(CLI::App& app, Session& session);
void AddProbeCommand(CLI::App& app, Session& session);
void AddRawCommand(CLI::App& app, Session& session);
void AddScanCommand(CLI::App& app, Session& session);
void AddStatusCommand(CLI::App& app, Session& session);
void AddStreamCommand(CLI::App& app, Session& session);

}  // namespace zulctl
