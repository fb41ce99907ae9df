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

[[noreturn]] void Wrong(const std::string& path, const toml::node& node, const std::string& what) {
    throw Failure(kUsage, "{}:{}: {}", path, node.source().begin.line, what);
}

std::string TextOf(const std::string& path, const toml::node& node, std::string_view key) {
    const auto text = node.value<std::string>();
    if (!text) Wrong(path, node, fmt::format("{} must be a text", key));
    return *text;
}

NamedBoard ReadBoard(const std::string& path, std::string name, const toml::node& node) {
    const toml::table* table = node.as_table();
    if (table == nullptr) Wrong(path, node, "a board is a table with an address");
    NamedBoard board{std::move(name), 0, 0, std::nullopt};
    for (const auto& [key, value] : *table) {
        if (key != "address" && key != "role") Wrong(path, value, fmt::format("a board has no \"{}\"", key.str()));
        const std::string text = TextOf(path, value, key.str());
        if (key == "address") {
            const auto endpoint = ParseEndpoint(text);
            const auto address = endpoint ? std::optional(endpoint->address) : ParseAddress(text);
            if (!address) Wrong(path, value, fmt::format("\"{}\" isn't an IPv4 address", text));
            board.address = *address;
            board.port = endpoint ? endpoint->port : std::uint16_t{0};
        } else {
            if (text != "transmitter" && text != "receiver") Wrong(path, value, "a role is transmitter or receiver");
            board.role = text == "transmitter" ? Role::kTransmitter : Role::kReceiver;
        }
    }
    if (board.address == 0) Wrong(path, node, fmt::format("board {} has no address", board.name));
    return board;
}

void ReadKey(const std::string& path, Config& config, std::string_view key, const toml::node& node) {
    if (key == "interface") {
        config.interfaceName = TextOf(path, node, key);
    } else if (key == "local_port") {
        const auto port = node.value<std::int64_t>();
        if (!port || *port < 1 || *port > 65535) Wrong(path, node, "local_port is a number from 1 to 65535");
        config.localPort = static_cast<std::uint16_t>(*port);
    } else if (key == "boards" && node.is_table()) {
        for (const auto& [name, board] : *node.as_table()) {
            config.boards.push_back(ReadBoard(path, std::string(name.str()), board));
        }
    } else {
        Wrong(path, node, fmt::format("\"{}\" isn't known here", key));
    }
}

}  // namespace

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
        for (const auto& [key, node] : file) ReadKey(path, config, key.str(), node);
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
