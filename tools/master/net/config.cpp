// The file of names.
#include "net/config.h"

#include <fmt/format.h>

#include <toml++/toml.h>
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "output/failure.h"

namespace zulctl {

namespace {

template <typename... Args>
[[noreturn]] void Wrong(const toml::node& node, fmt::format_string<Args...> what, Args&&... args) {
    throw Failure(kUsage, "{}:{}: {}", *node.source().path, node.source().begin.line,
                  fmt::format(what, std::forward<Args>(args)...));
}

std::string TextOf(const toml::node& node, std::string_view key) {
    const auto text = node.value<std::string>();
    if (!text) Wrong(node, "{} must be a text", key);
    return *text;
}

NamedBoard ReadBoard(const std::string& name, const toml::node& node) {
    const toml::table* table = node.as_table();
    if (table == nullptr) Wrong(node, "a board is a table with an address");
    NamedBoard board{name, {}, {}, {}};
    for (const auto& [key, value] : *table) {
        if (key != "address" && key != "role") Wrong(value, "a board has no \"{}\"", key.str());
        const std::string text = TextOf(value, key.str());
        if (key == "address") {
            const auto found = BoardAt(name, text);
            if (!found) Wrong(value, "\"{}\" isn't an IPv4 address", text);
            board = *found;  // before the role: keys are sorted, and a usual port decides
        } else {
            if (text != "transmitter" && text != "receiver") Wrong(value, "a role is transmitter or receiver");
            if (!board.role) board.role = text == "transmitter" ? Role::kTransmitter : Role::kReceiver;
        }
    }
    if (board.address == 0) Wrong(node, "board {} has no address", name);
    return board;
}

void ReadKey(Config& config, std::string_view key, const toml::node& node) {
    if (key == "interface") {
        config.interfaceName = TextOf(node, key);
    } else if (key == "local_port") {
        const auto port = node.value<std::int64_t>();
        if (!port || *port < 1 || *port > 65535) Wrong(node, "local_port is a number from 1 to 65535");
        config.localPort = static_cast<std::uint16_t>(*port);
    } else if (key == "boards" && node.is_table()) {
        for (const auto& [name, board] : *node.as_table())
            config.boards.push_back(ReadBoard(std::string(name.str()), board));
    } else {
        Wrong(node, "\"{}\" isn't known here", key);
    }
}

}  // namespace

std::optional<NamedBoard> BoardAt(const std::string& name, const std::string& text) {
    NamedBoard board{name, 0, 0, std::nullopt};
    if (const auto endpoint = ParseEndpoint(text)) {
        board.address = endpoint->address, board.port = endpoint->port;
    } else if (const auto address = ParseAddress(text)) {
        board.address = *address;
    } else {
        return std::nullopt;
    }
    for (const Role role : {Role::kTransmitter, Role::kReceiver}) {
        if (board.port == CommandPort(role)) board.role = role;
    }
    return board;
}

const NamedBoard* Config::Find(const std::string& name) const {
    const auto found = std::ranges::find(boards, name, &NamedBoard::name);
    return found == boards.end() ? nullptr : &*found;
}

std::string Config::NameOf(const Endpoint& at) const {
    for (const NamedBoard& board : boards) {
        const bool isAnyPort = board.port == 0 && !board.role;
        if (isAnyPort ? board.address == at.address : board.At(board.role.value_or(Role{})) == at) return board.name;
    }
    return {};
}

Config ReadConfig(const std::string& path) {
    Config config;
    try {
        const toml::table file = toml::parse_file(path);
        for (const auto& [key, node] : file) ReadKey(config, key.str(), node);
    } catch (const toml::parse_error& error) {
        const auto line = error.source().begin.line;  // 0 for a file that can't be opened
        throw Failure(kUsage, "{}{}: {}", path, line > 0 ? fmt::format(":{}", line) : "", error.description());
    }
    return config;
}

std::string DefaultConfigPath() {
    if (const char* named = std::getenv("ZULCTL_CONFIG")) return named;
    std::vector<std::string> places;
    if (const char* folder = std::getenv("XDG_CONFIG_HOME"))
        places.push_back(std::string(folder) + "/zulctl/boards.toml");
    if (const char* home = std::getenv("HOME")) places.push_back(std::string(home) + "/.config/zulctl/boards.toml");
    places.push_back("/etc/zulctl/boards.toml");
    std::error_code ignored;
    for (const std::string& place : places) {
        if (std::filesystem::exists(place, ignored)) return place;
    }
    return places.front();
}

}  // namespace zulctl
