/// Manual pages from the option tree that --help shows.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace cli {

/// Sections of a manual page beyond the option tree: titles and texts. A line that begins with two blanks is printed
/// verbatim.
using ManualSections = std::vector<std::pair<std::string, std::string>>;

/// Adds --version and the hidden --man and --completion SHELL, which print and end the program as --help does.
void AddDocuments(CLI::App& app, const ManualSections& sections);

}  // namespace cli
