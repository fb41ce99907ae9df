/// The subcommands of zulctl. Each function adds one to the option tree, and is in the source of the command's name but
/// for channels (guide), captions, language, languages, page (screen), keys, log, serial (listen) and reset (network).
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

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

/// Adds an option or argument with the name of its value, as in "--for SPAN". A value that is set already is shown as
/// the default; a list takes one value each time.
template <typename Value>
CLI::Option* AddOption(CLI::App* command, const std::string& form, Value& value, const char* description) {
    const std::size_t blank = form.find(' ');
    CLI::Option* option = command->add_option(form.substr(0, blank), value, description);
    option->type_name(form.substr(blank + 1));
    if constexpr (std::is_same_v<Value, std::vector<std::string>>) option->take_all()->allow_extra_args(false);
    return value == Value() ? option : option->capture_default_str();
}

}  // namespace zulctl
