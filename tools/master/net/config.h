/// The file of names: boards.toml.
///
///     interface  = "eth0"            # all of these are optional
///     local_port = 52440
///     [boards.attic]
///     address = "10.0.0.5"           # or "10.0.0.5:5000"
///     role    = "transmitter"        # or "receiver"
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "protocol/beacon.h"

namespace zulctl {

struct NamedBoard {
    std::string name;
    std::uint32_t address = 0;
    std::uint16_t port = 0;  ///< 0: the role's
    std::optional<Role> role;

    /// \return the command service, for a role
    Endpoint At(Role as) const { return {address, port != 0 ? port : CommandPort(as)}; }
};

/// \return the board at "10.0.0.5" or "10.0.0.5:5000", whose role follows from a usual port; nothing for another text
std::optional<NamedBoard> BoardAt(const std::string& name, const std::string& text);

struct Config {
    std::string interfaceName;
    std::optional<std::uint16_t> localPort;
    std::vector<NamedBoard> boards;  ///< by name, in order

    const NamedBoard* Find(const std::string& name) const;
    /// \return the name of the board at a command service, or an empty text
    std::string NameOf(const Endpoint& at) const;
};

/// Reads a file. Throws Failure(kUsage) with the position of an error; an unknown key is an error.
Config ReadConfig(const std::string& path);
/// \return $ZULCTL_CONFIG, or the first of $XDG_CONFIG_HOME/zulctl/boards.toml, ~/.config/zulctl/boards.toml and
/// /etc/zulctl/boards.toml that exists, or where none does the first of them
std::string DefaultConfigPath();

}  // namespace zulctl
