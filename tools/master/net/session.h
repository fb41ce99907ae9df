/// State of one run of zulctl: the common options, the output, the boards that it addresses.
#pragma once

#include <future>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "net/board_client.h"
#include "net/config.h"
#include "net/discover.h"
#include "output/failure.h"
#include "output/output.h"

namespace zulctl {

/// A board that a command addresses.
struct Target {
    std::string name;  ///< as in the file of names, or its address
    Endpoint at;       ///< its command service
    Role role;
};

/// What became of the work on one board: a result or a failure.
template <typename Result>
struct Outcome {
    Target target;
    std::optional<Result> result{};
    std::optional<Failure> failure{};
};

/// Calls `work` with each board, in parallel. \return the outcomes in the order of the boards
template <typename Work, typename Result = std::invoke_result_t<Work, const Target&>>
std::vector<Outcome<Result>> OnEach(const std::vector<Target>& targets, Work work) {
    std::vector<std::future<Outcome<Result>>> pending;
    for (const Target& target : targets) {
        pending.push_back(std::async(std::launch::async, [&work, &target] {
            Outcome<Result> outcome{target};
            try {
                outcome.result = work(target);
            } catch (const Failure& failure) {
                outcome.failure = failure;
            }
            return outcome;
        }));
    }
    std::vector<Outcome<Result>> outcomes;
    for (auto& future : pending) outcomes.push_back(future.get());
    return outcomes;
}

/// The options that all commands share, as the command line gives them.
struct SessionOptions {
    std::vector<std::string> boards;
    bool all = false;
    bool json = false;
    std::string format = "table";
    std::optional<double> timeoutSeconds;
    std::string interfaceName;
    std::optional<std::uint16_t> localPort;
    std::string configPath;
    std::string recordPath;
};

class Session {
 public:
    SessionOptions options;
    Output out;

    /// Applies the options. Throws Failure(kUsage).
    void Prepare();

    /// \return the board given by --board, or the only one of the role
    Target OneBoard(std::optional<Role> role);
    /// \return the board of this name or address
    Target Named(const std::string& board, std::optional<Role> role);
    /// \return the boards given by every --board, or with --all, all that are known or heard
    std::vector<Target> Boards(std::optional<Role> role);
    /// \return whether the command line asks for several boards, whose results make one list
    bool Several() const { return options.all || options.boards.size() > 1; }
    /// \return Boards with several --board or --all, else OneBoard
    std::vector<Target> Addressed(std::optional<Role> role);
    /// \return all boards of a role that are named or heard, regardless of --board; may be empty
    std::vector<Target> Everybody(Role role);
    /// \return what is known of a board by its name or address alone; port and role may be missing. Throws
    /// Failure(kUsage)
    NamedBoard Meant(const std::string& board) const;
    /// \return whether Boards left out requested ones because they don't report their role
    bool SomeAreMissing() const { return mSomeAreMissing; }
    Client Connect(const Target& target) const;
    Client Connect(std::optional<Role> role) { return Connect(OneBoard(role)); }

    const ClientOptions& Options() const { return mClientOptions; }
    const Config& Names() const { return mConfig; }
    /// \return the file of names, which may not exist yet
    const std::string& ConfigPath() const { return mConfigPath; }
    /// Discovery according to the common options; named boards are also probed directly.
    DiscoverOptions Discovery() const;
    /// Index of --interface, or 0.
    int InterfaceIndex() const { return mInterfaceIndex; }
    std::optional<std::chrono::milliseconds> Timeout() const { return mClientOptions.timeout; }

 private:
    /// \return the target where the role is known, or follows from `wanted`. Throws Failure(kUsage) for another role
    std::optional<Target> Known(const NamedBoard& board, std::optional<Role> wanted) const;
    /// Asks boards for their role until each has answered or the time is up, at least once.
    /// \return those that answer; `boards` keeps the others
    std::vector<Target> Probe(std::vector<NamedBoard>& boards, std::chrono::milliseconds patience);
    std::vector<Target> Heard();
    /// \param missing  receives those that don't report their role
    std::vector<Target> Find(std::optional<Role> role, std::vector<Failure>& missing);
    /// Adds the boards that are named, and with `all` those that are heard.
    void FindUnasked(bool all, std::optional<Role> role, std::vector<Target>& targets, std::vector<Failure>& missing);

    bool mSomeAreMissing = false;
    std::string mInterface, mConfigPath;
    int mInterfaceIndex = 0;
    Config mConfig;
    ClientOptions mClientOptions;
};

inline constexpr std::chrono::hours kEver{24 * 365};
/// A span of time as in "60s", "5m", "1.5h" or plain seconds. Throws Failure(kUsage).
std::chrono::milliseconds ParseSpan(const std::string& text);

}  // namespace zulctl
