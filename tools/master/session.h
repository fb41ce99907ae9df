/// What one call of zulctl knows: the common options, the output, the boards that are meant.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "board_client.h"
#include "config.h"
#include "discover.h"
#include "failure.h"
#include "output.h"

namespace zulctl {

/// A board that a command is for.
struct Target {
    std::string name;  ///< as in the file of names, or its address
    Endpoint at;       ///< its command service
    Role role;
};

class Session {
 public:
    Output out;
    /// Set by the subcommand that was chosen; runs once the options are read, and throws Failure where it can't do its
    /// work.
    std::function<void()> run;

    /// Adds the options that all subcommands share.
    void AddOptions(CLI::App& app);
    /// Puts the options to use. Throws Failure(kUsage).
    void Prepare();

    /// \return the one board meant by --board, or the only one of the role there is
    Target OneBoard(std::optional<Role> role);
    /// \return the board of this name or address
    Target Named(const std::string& board, std::optional<Role> role) { return Resolve(board, role).front(); }
    /// \return the boards meant by every --board, or with --all all that are known or heard
    std::vector<Target> Boards(std::optional<Role> role);
    /// \return what is known of a board by its name or address alone; port and role may be missing. Throws
    /// Failure(kUsage)
    NamedBoard Meant(const std::string& board) const;
    /// \return whether Boards left some out that were asked for, because they don't even tell their role
    bool SomeAreMissing() const { return mSomeAreMissing; }
    /// \return every --board, as given
    const std::vector<std::string>& Chosen() const { return mBoards; }
    /// \return whether the command line names boards with --board
    bool BoardsAreNamed() const { return !mBoards.empty(); }
    Client Connect(const Target& target) const { return Client(target.at, mClientOptions); }
    Client Connect(std::optional<Role> role) { return Connect(OneBoard(role)); }

    const ClientOptions& Options() const { return mClientOptions; }
    const Config& Names() const { return mConfig; }
    /// Discovery as the common options want it; named boards are asked directly too.
    DiscoverOptions Discovery() const;
    const std::string& InterfaceName() const { return mInterface; }
    /// Index of --interface, or 0.
    int InterfaceIndex() const { return mInterfaceIndex; }
    std::optional<std::chrono::milliseconds> Timeout() const { return mClientOptions.timeout; }

 private:
    std::vector<Target> Resolve(const std::string& board, std::optional<Role> role);
    std::vector<Target> Heard();
    /// \param missing  receives those that don't even tell their role
    std::vector<Target> Find(std::optional<Role> role, std::vector<Failure>& missing);

    std::vector<std::string> mBoards;
    bool mAll = false;
    bool mSomeAreMissing = false;
    bool mJson = false;
    std::string mFormat = "table";
    std::optional<double> mTimeoutSeconds;
    std::string mInterface;
    int mInterfaceIndex = 0;
    std::optional<std::uint16_t> mLocalPort;
    std::string mConfigPath;
    std::string mRecordPath;
    Config mConfig;
    ClientOptions mClientOptions;
};

/// A span of time as in "60s", "5m", "1.5h" or plain seconds. Throws Failure(kUsage).
std::chrono::milliseconds ParseSpan(const std::string& text);

}  // namespace zulctl
