/// The subcommands of zulctl, one file each. Each function adds one to the option tree.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "completion.h"
#include "net/session.h"

namespace zulctl {

void AddApplyCommand(CLI::App& app, Session& session);
void AddChannelsCommand(CLI::App& app, Session& session);
void AddCaptionsCommand(CLI::App& app, Session& session);
void AddCompletionCommand(CLI::App& app, Session& session);
void AddDiscoverCommand(CLI::App& app, Session& session);
void AddDoctorCommand(CLI::App& app, Session& session);
void AddExportCommand(CLI::App& app, Session& session);
void AddGuideCommand(CLI::App& app, Session& session);
void AddKeysCommand(CLI::App& app, Session& session);
void AddLanguageCommand(CLI::App& app, Session& session);
void AddLanguagesCommand(CLI::App& app, Session& session);
void AddLogCommand(CLI::App& app, Session& session);
void AddNetworkCommand(CLI::App& app, Session& session);
void AddPageCommand(CLI::App& app, Session& session);
void AddPlayCommand(CLI::App& app, Session& session);
void AddProbeCommand(CLI::App& app, Session& session);
void AddRawCommand(CLI::App& app, Session& session);
void AddResetCommand(CLI::App& app, Session& session);
void AddScanCommand(CLI::App& app, Session& session);
void AddStatusCommand(CLI::App& app, Session& session);
void AddServeCommand(CLI::App& app, Session& session);  ///< built where the service's libraries are installed
void AddSerialCommand(CLI::App& app, Session& session);
void AddStreamCommand(CLI::App& app, Session& session);
void AddUpgradeCommand(CLI::App& app, Session& session);
void AddWhyCommand(CLI::App& app, Session& session);

/// \return words for an option's value that completion offers: boards of the file of names, channels of a board on the
/// line
std::vector<std::string> CompletionWords(Session& session, const CLI::Option& option, const cli::Given& given);

}  // namespace zulctl
