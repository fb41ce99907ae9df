// Completion scripts for two shells from one walk over the option tree. Both find the subcommand in the words of the
// line, skip the values of options, and offer what fits at the cursor.
#include "completion.h"

#include <algorithm>
#include <set>
#include <vector>

#include "option_text.h"

namespace cli {

namespace {

/// The value of an option or argument.
struct Value {
    enum class Kind { kAnything, kChoice, kFile, kBoard, kInterface };
    Kind kind = Kind::kAnything;
    std::vector<std::string> choices;
};

struct Word {
    std::vector<std::string> names;  ///< "--board", "-b"
    std::string description;
    bool valued = false;
    Value value;
};

struct Place {
    std::string path;  ///< "stream start"; empty for the program itself
    std::vector<Word> commands, options;
    Value argument;
};

Value ValueKind(const CLI::Option& option) {
    const auto choices = ChoicesOf(option);
    const std::string value = ValueOf(option);
    if (!choices.empty()) return {Value::Kind::kChoice, choices};
    if (value == "FILE") return {Value::Kind::kFile, {}};
    if (value.find("ADDRESS") != std::string::npos) return {Value::Kind::kBoard, {}};
    const auto& names = option.get_lnames();
    if (std::find(names.begin(), names.end(), "interface") != names.end()) return {Value::Kind::kInterface, {}};
    return {};
}

void Walk(const CLI::App& app, const std::string& path, std::vector<Place>& places) {
    Place place{path, {}, {}, {}};
    for (const CLI::App* command : ShownCommands(app))
        place.commands.push_back({{command->get_name()}, command->get_description(), false, {}});
    for (const CLI::Option* option : ShownOptions(app)) {
        if (option->get_positional()) {
            if (place.argument.kind == Value::Kind::kAnything) place.argument = ValueKind(*option);
            continue;
        }
        Word word{{}, option->get_description(), TakesValue(*option), ValueKind(*option)};
        for (const std::string& name : option->get_lnames()) word.names.push_back("--" + name);
        for (const std::string& name : option->get_snames()) word.names.push_back("-" + name);
        place.options.push_back(std::move(word));
    }
    places.push_back(std::move(place));
    for (const CLI::App* command : ShownCommands(app))
        Walk(*command, path.empty() ? command->get_name() : path + " " + command->get_name(), places);
}

std::vector<Place> PlacesOf(const CLI::App& app) {
    std::vector<Place> places;
    Walk(app, "", places);
    return places;
}

std::string Joined(const std::vector<std::string>& words, const char* between = " ") {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

/// \return a text in single quotes, for either shell
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::string Names(const std::vector<Word>& words, bool onlyValued) {
    std::string text;
    for (const Word& word : words) {
        if (!onlyValued || word.valued) text += (text.empty() ? "" : " ") + Joined(word.names);
    }
    return text;
}

/// "command:what it does" in quotes, one for each name.
std::string Described(const std::vector<Word>& words) {
    std::string text;
    for (const Word& word : words) {
        for (const std::string& name : word.names) text += " " + Quoted(name + ":" + word.description);
    }
    return text;
}

std::string Replaced(std::string text, const std::string& mark, const std::string& with) {
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + with.size()))
        text.replace(at, mark.size(), with);
    return text;
}

/// The rows of `case "$path $previous"`: what follows an option. \param offer  the shell's code for a value
template <typename Offer>
std::string ValueRows(const std::vector<Place>& places, Offer offer) {
    std::string text;
    for (const Place& place : places) {
        for (const Word& word : place.options) {
            if (!word.valued) continue;
            std::vector<std::string> patterns;
            // The program's own options are accepted after any subcommand.
            for (const std::string& name : word.names)
                patterns.push_back(place.path.empty() ? "*' " + name + "'" : Quoted(place.path + " " + name));
            const std::string words = offer(word.value);
            text += "        " + Joined(patterns, "|") + ") " + (words.empty() ? "" : words + " ") + ";;\n";
        }
    }
    return text;
}

std::string BashOffer(const Value& value) {
    switch (value.kind) {
        case Value::Kind::kChoice: return "choices=" + Quoted(Joined(value.choices));
        case Value::Kind::kFile: return "files=1";
        case Value::Kind::kBoard: return "choices=$(@BOARDS@ 2>/dev/null)";
        case Value::Kind::kInterface: return "choices=$(cd /sys/class/net 2>/dev/null && echo *)";
        default: return "";
    }
}

std::string ZshOffer(const Value& value) {
    switch (value.kind) {
        case Value::Kind::kChoice: return "compadd -- " + Joined(value.choices) + "; return";
        case Value::Kind::kFile: return "_files; return";
        case Value::Kind::kBoard: return "compadd -- ${(f)\"$(@BOARDS@ 2>/dev/null)\"}; return";
        case Value::Kind::kInterface: return "_net_interfaces; return";
        default: return "";
    }
}

constexpr const char* kBash = R"(# bash completion for @NAME@

_@NAME@_at() {
    case "$1" in
@PLACES@    esac
}

_@NAME@() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local path='' word skip='' commands options valued argument choices='' files=''
    # "--format=plain" comes in three words.
    [[ $cur == = ]] && cur=''
    [[ $prev == = ]] && prev=${COMP_WORDS[COMP_CWORD - 2]}
    local common=@COMMON@ commonValued=@COMMON_VALUED@
    _@NAME@_at "$path"
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        if [[ -n $skip && $word != = ]]; then
            skip=''
        elif [[ " $valued $commonValued " == *" $word "* ]]; then
            skip=1
        elif [[ " $commands " == *" $word "* ]]; then
            path="${path:+$path }$word"
            _@NAME@_at "$path"
        fi
    done
    COMPREPLY=()
    if [[ -n $skip || $prev == -* && " $valued $commonValued " == *" $prev "* ]]; then
        case "$path $prev" in
@VALUES@        esac
    elif [[ $cur == -* ]]; then
        choices="$options $common"
    elif [[ -n $commands ]]; then
        choices=$commands
    else
        eval "$argument"
    fi
    if [[ -n $files ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    else
        mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
    fi
}

complete -F _@NAME@ @NAME@
)";

constexpr const char* kZsh = R"(#compdef @NAME@

_@NAME@() {
    local path_='' word skip='' previous=${words[CURRENT-1]} valued
    local -a commands options common
    common=(@COMMON@)
    local commonValued=@COMMON_VALUED@
    local argument
    _@NAME@_at() {
        case "$1" in
@PLACES@        esac
    }
    _@NAME@_at ''
    for word in "${(@)words[2,CURRENT-1]}"; do
        if [[ -n $skip ]]; then
            skip=''
        elif [[ " $valued $commonValued " == *" $word "* ]]; then
            skip=1
        elif (( ${commands[(I)$word:*]} )); then
            path_="${path_:+$path_ }$word"
            _@NAME@_at "$path_"
        fi
    done
    if [[ -n $skip ]]; then
        case "$path_ $previous" in
@VALUES@        esac
        return
    fi
    if [[ $PREFIX == -* ]]; then
        options+=("${(@)common}")
        _describe -o option options
    elif (( ${#commands} )); then
        _describe command commands
    else
        eval "$argument"
    fi
}

_@NAME@ "$@"
)";

std::string Fill(const char* frame, const CLI::App& app, const std::string& boards, const std::string& common,
                 const std::string& commonValued, const std::string& places, const std::string& values) {
    std::string text = Replaced(frame, "@PLACES@", places);
    text = Replaced(text, "@VALUES@", values);
    text = Replaced(text, "@COMMON@", common);
    text = Replaced(text, "@COMMON_VALUED@", commonValued);
    text = Replaced(text, "@BOARDS@", boards);
    return Replaced(text, "@NAME@", app.get_name());
}

}  // namespace

std::string BashCompletion(const CLI::App& app, const std::string& boards) {
    const std::vector<Place> places = PlacesOf(app);
    std::string rows;
    for (const Place& place : places) {
        const bool root = place.path.empty();
        rows += "        " + Quoted(place.path) + ")\n            commands=" + Quoted(Names(place.commands, false)) +
                "\n            options=" + Quoted(root ? "" : Names(place.options, false)) +
                " valued=" + Quoted(root ? "" : Names(place.options, true)) +
                " argument=" + Quoted(BashOffer(place.argument)) + "\n            ;;\n";
    }
    return Fill(kBash, app, boards, Quoted(Names(places.front().options, false)),
                Quoted(Names(places.front().options, true)), rows, ValueRows(places, BashOffer));
}

std::string ZshCompletion(const CLI::App& app, const std::string& boards) {
    const std::vector<Place> places = PlacesOf(app);
    std::string rows;
    for (const Place& place : places) {
        const bool root = place.path.empty();
        rows += "        " + Quoted(place.path) + ")\n            commands=(" + Described(place.commands) +
                ")\n            options=(" + (root ? "" : Described(place.options)) +
                ")\n            valued=" + Quoted(root ? "" : Names(place.options, true)) +
                " argument=" + Quoted(ZshOffer(place.argument)) + "\n            ;;\n";
    }
    return Fill(kZsh, app, boards, Described(places.front().options), Quoted(Names(places.front().options, true)), rows,
                ValueRows(places, ZshOffer));
}

}  // namespace cli
