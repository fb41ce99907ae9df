/// Completion scripts for shells, from the option tree that --help shows.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cli {

/// \param boards  command that lists the words for options that take a board, one a line
std::string BashCompletion(const CLI::App& app, const std::string& boards);
std::string ZshCompletion(const CLI::App& app, const std::string& boards);

}  // namespace cli
