// CLI11 appends a validator's text to the type's name: "TEXT:{a,b}", "INT:INT in [1 - 158]".
#include "option_text.h"

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
    std::string type = option.get_type_name();
    const std::size_t range = type.find(" in [");
    if (range != std::string::npos) {
        const std::string name = type.substr(0, type.find(':'));
        if (name != "INT" && name != "UINT" && name != "FLOAT") return name;
        std::string numbers = type.substr(range + 5, type.find(']', range) - range - 5);
        const std::size_t dash = numbers.find(" - ");
        return dash == std::string::npos ? numbers : numbers.replace(dash, 3, "..");
    }
    if (type == "TEXT:FILE") return "FILE";
    for (const std::string check : {":FILE", ":NONNEGATIVE"}) {
        if (type.size() > check.size() && type.ends_with(check)) type.resize(type.size() - check.size());
    }
    return type;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::vector<const CLI::Option*> ShownOptions(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return !option->get_group().empty(); });
}

std::vector<const CLI::App*> ShownCommands(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

}  // namespace cli
