// Pages in the man macros, man(7).
#include <cctype>
#include <cstdio>
#include <sstream>

#include "documents.h"
#include "option_text.h"
#include "zul_version.h"

namespace cli {

namespace {

/// Text escaped for roff: backslashes, hyphens, and dots at the start of a line.
std::string Roff(std::string text) {
    constexpr const char* kEscapes[][2] = {{"\\", "\\e"}, {"-", "\\-"}, {"'", "\\(aq"}, {"\n.", "\n\\&."}};
    for (const auto& [plain, escaped] : kEscapes) text = CLI::detail::find_and_replace(text, plain, escaped);
    return text.starts_with('.') ? "\\&" + text : text;
}

std::string Upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

/// Paragraphs, and lines that are printed verbatim.
std::string Prose(const std::string& text) {
    std::istringstream lines(text);
    std::string roff;
    bool verbatim = false;
    for (std::string line; std::getline(lines, line);) {
        const bool shown = line.starts_with("  ");
        if (shown != verbatim) roff += shown ? ".PP\n.nf\n" : ".fi\n.PP\n";
        verbatim = shown;
        roff += Roff(line) + "\n";
    }
    return roff + (verbatim ? ".fi\n" : "");
}

std::string OptionEntry(const CLI::Option& option) {
    const bool positional = option.get_positional();
    std::string names;
    for (const std::string& name : NamesOf(option))
        names += (names.empty() ? "" : ", ") + std::string(positional ? "\\fI" : "\\fB") + Roff(name) + "\\fR";
    std::string value = ValueOf(option);
    if (positional && (value == "TEXT" || value == "INT" || value == "UINT")) value.clear();
    std::string text =
        ".TP\n" + names + (value.empty() ? "" : " \\fI" + Roff(value) + "\\fR") + "\n" + Roff(option.get_description());
    if (!option.get_default_str().empty() && TakesValue(option))
        text += " (" + Roff(option.get_default_str()) + " unless given)";
    return text + (option.get_required() ? "; required.\n" : ".\n");
}

std::string Options(const CLI::App& app) {
    std::string text;
    for (const bool positional : {true, false}) {
        for (const CLI::Option* option : ShownOptions(app)) {
            const bool isHelp = option == app.get_help_ptr() && app.get_parent() != nullptr;
            if (option->get_positional() == positional && !isHelp) text += OptionEntry(*option);
        }
    }
    return text;
}

std::string Usage(const CLI::App& app, const std::string& name) {
    std::string text = ".B " + Roff(name) + "\n.RI [ options ]";
    for (const CLI::Option* option : ShownOptions(app)) {
        if (!option->get_positional()) continue;
        const std::string word = "\" " + Roff(option->get_name(true)) + "\"";
        text += option->get_required() ? "\n.I " + word : "\n.RI [" + word + " ]";
    }
    if (!ShownCommands(app).empty()) text += "\n.I command";
    return text + "\n";
}

void Commands(const CLI::App& app, const std::string& name, std::string& text) {
    for (const CLI::App* command : ShownCommands(app)) {
        const std::string full = name + command->get_name();
        text += ".SS " + Roff(full) + "\n" + Roff(command->get_description()) + ".\n" + Options(*command);
        if (!command->get_footer().empty()) text += ".PP\n" + Prose(command->get_footer());
        Commands(*command, full + " ", text);
    }
}

/// \return a page of section 1 in the man macros
std::string ManualPage(const CLI::App& app, const ManualSections& sections) {
    const std::string& name = app.get_name();
    const std::string description = app.get_description();
    const std::string first = description.substr(0, description.find_first_of(":.\n"));
    std::string text =
        ".TH " + Upper(Roff(name)) + " 1 \"" ZUL_DATE "\" \"" + Roff(name + " " ZUL_VERSION) + "\" \"User Commands\"\n";
    text += ".SH NAME\n" + Roff(name) + " \\- " + Roff(first) + "\n.SH SYNOPSIS\n" + Usage(app, name);
    text += ".SH DESCRIPTION\n" + Prose(description) + ".SH OPTIONS\n" + Options(app);
    std::string commands;
    Commands(app, "", commands);
    if (!commands.empty()) text += ".SH COMMANDS\n" + commands;
    for (const auto& [title, section] : sections) text += ".SH " + Upper(Roff(title)) + "\n" + Prose(section);
    if (!app.get_footer().empty()) text += ".SH NOTES\n" + Prose(app.get_footer());
    return text;
}

}  // namespace

void AddDocuments(CLI::App& app, const ManualSections& sections) {
    const auto print = [](const std::string& text) {
        std::fputs(text.c_str(), stdout);
        throw CLI::Success();
    };
    app.set_version_flag("--version", app.get_name() + " " ZUL_VERSION);
    app.add_flag_callback("--man", [&app, sections, print] { print(ManualPage(app, sections)); })->group("");
    app.add_option_function<std::string>(
           "--completion", [&app, print](const std::string& shell) { print(CompletionScript(shell, app.get_name())); })
        ->check(CLI::IsMember({"bash", "zsh", "fish"}))
        ->group("");
}

}  // namespace cli
