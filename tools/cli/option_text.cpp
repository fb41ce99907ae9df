// CLI11 appends a validator's text to the type's name: "TEXT:{a,b}", "INT:INT in [1 - 158]".
#include "option_text.h"

#include <regex>

namespace cli {

std::vector<std::string> NamesOf(const CLI::Option& option) {
    return CLI::detail::split(option.get_name(option.get_positional(), true), ',');
}

std::vector<std::string> ChoicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{'), close = type.find('}');
    if (open == std::string::npos || close == std::string::npos) return {};
    return CLI::detail::split(type.substr(open + 1, close - open - 1), ',');
}

std::string ValueOf(const CLI::Option& option) {
    if (!TakesValue(option)) return "";
    if (const auto choices = ChoicesOf(option); !choices.empty()) return CLI::detail::join(choices, "|");
    static const std::regex kRange(R"((?:INT|UINT|FLOAT):.* in \[(.*) - (.*)\])"),
        kChecked(R"((.*):(?:FILE|NONNEGATIVE|.* in .*))");
    const std::string type = option.get_type_name();
    std::smatch match;
    if (std::regex_match(type, match, kRange)) return match[1].str() + ".." + match[2].str();
    if (type == "TEXT:FILE") return "FILE";
    return std::regex_match(type, match, kChecked) ? match[1].str() : type;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::vector<const CLI::Option*> ShownOptions(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

std::vector<const CLI::App*> ShownCommands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

}  // namespace cli
