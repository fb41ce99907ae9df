/// Manual pages from the option tree that --help shows.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace cli {

/// Sections of a manual page beyond the option tree, by title. A line that begins with two blanks is printed verbatim.
struct ManualMatter {
    std::vector<std::pair<std::string, std::string>> sections;
};

/// \return a page of section 1 in the man macros of roff
std::string ManualPage(const CLI::App& app, const ManualMatter& matter);

/// Adds --version and the hidden --man and --completion SHELL, which print and end the program as --help does.
void AddDocuments(CLI::App& app, const ManualMatter& matter);

}  // namespace cli
