/// What a program says of itself, made from the option tree that --help shows: its manual page, and completion for
/// shells, whose short scripts call the program, which finds the words.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace cli {

/// Sections of a manual page beyond the option tree: titles and texts. A line that begins with two blanks is printed
/// verbatim.
using ManualSections = std::vector<std::pair<std::string, std::string>>;

/// Adds --version and the hidden --man and --completion SHELL, which print and end the program as --help does.
void AddDocuments(CLI::App& app, const ManualSections& sections);

/// \return the script of bash, zsh or fish, which calls the program with --complete WORD...
std::string CompletionScript(const std::string& shell, const std::string& program);

/// The options on a line so far with their values, by long name: "board".
using Given = std::multimap<std::string, std::string>;

/// \return what an option or argument may take beyond the choices that it declares
using Words = std::function<std::vector<std::string>(const CLI::Option& option, const Given& given)>;

/// Serves --complete WORD..., the words of a line up to the cursor: prints "files" or "words" and a line a word that
/// fits, with a tab and its description. \return whether that was asked
bool ServeCompletion(const CLI::App& app, int argc, const char* const* argv, const Words& words = {});

}  // namespace cli
