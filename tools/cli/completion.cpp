// The walk over the words of a line, and a script for each shell.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "documents.h"
#include "option_text.h"

namespace cli {

namespace {

/// What the words before the last one lead to.
struct Place {
    const CLI::App* command;
    const CLI::Option* option = nullptr;  ///< whose value is next
    std::size_t arguments = 0;
    Given given;
};

/// A word without the quotes and backslashes that bash leaves in it.
std::string Unquoted(std::string word) {
    std::erase_if(word, [](char c) { return c == '\\' || c == '"' || c == '\''; });
    return word;
}

/// The options of a command and, as they are accepted after it too, of those above it.
std::vector<const CLI::Option*> OptionsAt(const CLI::App& app) {
    std::vector<const CLI::Option*> options;
    for (const CLI::App* at = &app; at != nullptr; at = at->get_parent()) {
        for (const CLI::Option* option : ShownOptions(*at)) {
            const bool repeated = option == at->get_help_ptr() && at != &app;
            if (!option->get_positional() && !repeated) options.push_back(option);
        }
    }
    return options;
}

const CLI::Option* FindOption(const CLI::App& app, const std::string& name) {
    for (const CLI::Option* option : OptionsAt(app)) {
        if (option->check_name(name)) return option;
    }
    return nullptr;
}

Place Walk(const CLI::App& app, const std::vector<std::string>& words) {
    Place place{&app, nullptr, 0, {}};
    for (const std::string& word : words) {
        if (place.option != nullptr) {
            if (word == "=") continue;  // bash splits "--format=plain" into three words
            place.given.emplace(std::exchange(place.option, nullptr)->get_single_name(), word);
        } else if (word.starts_with('-')) {
            const CLI::Option* option = FindOption(*place.command, word);
            if (option != nullptr && TakesValue(*option)) place.option = option;
        } else {
            const auto commands = ShownCommands(*place.command);
            const auto command = std::ranges::find(commands, word, &CLI::App::get_name);
            if (command != commands.end())
                place.command = *command;
            else
                ++place.arguments;
        }
    }
    return place;
}

/// The argument of a command that comes next; the last one may repeat.
const CLI::Option* NextArgument(const Place& place) {
    const CLI::Option* last = nullptr;
    std::size_t left = place.arguments;
    for (const CLI::Option* option : ShownOptions(*place.command)) {
        if (!option->get_positional()) continue;
        last = option;
        if (left-- == 0) break;
    }
    return last;
}

std::vector<std::string> ValuesOf(const CLI::Option& option, const Given& given, const Words& more) {
    std::vector<std::string> values = ChoicesOf(option);
    if (option.check_lname("interface")) {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net", none))
            values.push_back(entry.path().filename());
    }
    return values.empty() && more ? more(option, given) : values;
}

constexpr const char* kBash = R"(# bash completion for @NAME@
_@NAME@() {
    local kind word cur=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    {
        read -r kind
        while IFS=$'\t' read -r word _; do COMPREPLY+=("$word"); done
    } < <(@NAME@ --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    [[ $kind != files ]] || mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    # This quotes names with blanks too.
    [[ $kind != files && ${COMPREPLY[*]-} != *[[:space:]]* ]] || compopt -o filenames 2>/dev/null
}
complete -F _@NAME@ @NAME@
)";

constexpr const char* kZsh = R"(#compdef @NAME@
_@NAME@() {
    local -a found
    found=("${(@f)$(@NAME@ --complete "${(@Q)words[2,CURRENT]}" 2>/dev/null)}")
    if [[ $found[1] == files ]]; then
        _files
    else
        found=("${(@)found[2,-1]//:/\\:}")
        found=("${(@)found/$'\t'/:}")
        _describe value found
    fi
}
if [[ $funcstack[1] == _@NAME@ ]]; then _@NAME@ "$@"; else compdef _@NAME@ @NAME@; fi
)";

constexpr const char* kFish = R"(# fish completion for @NAME@
function __@NAME@_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l found (@NAME@ --complete $words[2..] 2>/dev/null)
    if test "$found[1]" = files
        __fish_complete_path (commandline -ct)
    else
        string join \n -- $found[2..]
    end
end
complete -c @NAME@ -f -a '(__@NAME@_complete)'
)";

}  // namespace

std::string CompletionScript(const std::string& shell, const std::string& program) {
    const char* const script = shell == "bash" ? kBash : shell == "zsh" ? kZsh : kFish;
    return CLI::detail::find_and_replace(script, "@NAME@", program);
}

bool ServeCompletion(const CLI::App& app, int argc, const char* const* argv, const Words& words) {
    if (argc < 3 || std::string(argv[1]) != "--complete") return false;
    std::vector<std::string> line;
    for (int n = 2; n < argc; ++n) line.push_back(Unquoted(argv[n]));
    std::string typed = line.back(), prefix;  // of all words: "--format="
    line.pop_back();
    Place place = Walk(app, line);
    if (place.option != nullptr && typed == "=") typed.clear();
    if (place.option == nullptr && typed.starts_with("--") && typed.find('=') != std::string::npos) {
        prefix = typed.substr(0, typed.find('=') + 1);
        place.option = FindOption(*place.command, prefix.substr(0, prefix.size() - 1));
    }
    if (place.option == nullptr && !typed.starts_with('-') && ShownCommands(*place.command).empty())
        place.option = NextArgument(place);
    std::vector<std::pair<std::string, std::string>> offers;  // words and their descriptions
    if (place.option != nullptr) {
        for (const std::string& value : ValuesOf(*place.option, place.given, words)) offers.emplace_back(value, "");
    } else if (typed.starts_with('-')) {
        for (const CLI::Option* option : OptionsAt(*place.command)) {
            for (const std::string& name : NamesOf(*option)) offers.emplace_back(name, option->get_description());
        }
    } else {
        for (const CLI::App* command : ShownCommands(*place.command))
            offers.emplace_back(command->get_name(), command->get_description());
    }
    std::string answer = place.option != nullptr && ValueOf(*place.option) == "FILE" ? "files\n" : "words\n";
    for (const auto& [word, description] : offers) {
        if (!(prefix + word).starts_with(typed)) continue;
        answer +=
            prefix + word + (description.empty() ? "" : "\t" + description.substr(0, description.find('\n'))) + "\n";
    }
    std::fputs(answer.c_str(), stdout);
    return true;
}

}  // namespace cli
