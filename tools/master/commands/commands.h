/// The subcommands of zulctl, one file each. Each function adds one to the option tree.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <type_traits>
#include <utility>

#include "net/session.h"

namespace zulctl {

using AddsCommand = void(CLI::App& app, Session& session);
// AddServeCommand is built where the service's libraries are installed.
AddsCommand AddApplyCommand, AddChannelsCommand, AddCaptionsCommand, AddDiscoverCommand, AddDoctorCommand,
    AddExportCommand, AddGuideCommand, AddKeysCommand, AddLanguageCommand, AddLanguagesCommand, AddLogCommand,
    AddNetworkCommand, AddPageCommand, AddPlayCommand, AddProbeCommand, AddRawCommand, AddResetCommand, AddScanCommand,
    AddStatusCommand, AddServeCommand, AddSerialCommand, AddStreamCommand, AddUpgradeCommand, AddWhyCommand;

/// Adds a subcommand that calls `run` with what its options have set. \return the subcommand, and what they set
template <typename Argument, typename Choice = std::remove_cvref_t<Argument>>
std::pair<CLI::App*, std::shared_ptr<Choice>> AddCommand(CLI::App& parent, Session& session, const char* name,
                                                         const char* description, void (*run)(Session&, Argument)) {
    const auto choice = std::make_shared<Choice>();
    CLI::App* command = parent.add_subcommand(name, description);
    command->callback([&session, choice, run] { run(session, *choice); });
    return {command, choice};
}

}  // namespace zulctl
