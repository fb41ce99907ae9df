/// The subcommands of zulctl, one file each. Each function adds one to the option tree.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "completion.h"
#include "net/session.h"

namespace zulctl {

using AddsCommand = void(CLI::App& app, Session& session);
// AddServeCommand is built where the service's libraries are installed.
AddsCommand AddApplyCommand, AddChannelsCommand, AddCaptionsCommand, AddCompletionCommand, AddDiscoverCommand,
    AddDoctorCommand, AddExportCommand, AddGuideCommand, AddKeysCommand, AddLanguageCommand, AddLanguagesCommand,
    AddLogCommand, AddNetworkCommand, AddPageCommand, AddPlayCommand, AddProbeCommand, AddRawCommand, AddResetCommand,
    AddScanCommand, AddStatusCommand, AddServeCommand, AddSerialCommand, AddStreamCommand, AddUpgradeCommand,
    AddWhyCommand;

/// \return words for an option's value that completion offers: boards of the file of names, channels of a board on the
/// line
std::vector<std::string> CompletionWords(Session& session, const CLI::Option& option, const cli::Given& given);

}  // namespace zulctl
