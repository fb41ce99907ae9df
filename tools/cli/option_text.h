/// The values that a command-line option takes, from CLI11's option tree: the single source of --help, manual pages and
/// completions.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace cli {

/// \return the names of an option, with their dashes and short ones first, or the name of an argument
std::vector<std::string> NamesOf(const CLI::Option& option);

/// \return the words an option may take, or nothing where it takes anything
std::vector<std::string> ChoicesOf(const CLI::Option& option);

/// \return "a|b" for a choice, the name of the type, "1..158" for a range, or an empty text for a flag
std::string ValueOf(const CLI::Option& option);

/// \return whether a value follows the option
bool TakesValue(const CLI::Option& option);

/// \return the options of a command that --help shows; positional arguments are those that have a positional name
std::vector<const CLI::Option*> ShownOptions(const CLI::App& app);
/// \return the subcommands that --help shows, in its order
std::vector<const CLI::App*> ShownCommands(const CLI::App& app);

}  // namespace cli
