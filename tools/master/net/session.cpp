// Selects the boards that a command addresses.
#include "net/session.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>

#include "output/escape.h"

namespace zulctl {

namespace {

/// Wait for the other role's port: an address rarely has two boards, and both ports were probed simultaneously.
constexpr std::chrono::milliseconds kOtherRole{250};
/// A board serves one request at a time, and a start of a stream takes 13 s.
constexpr std::chrono::seconds kBusyPatience{15};

/// The roles whose ports are probed for a board of unknown role.
std::vector<Role> Candidates(std::optional<Role> role) {
    if (role) return {*role};
    return {Role::kTransmitter, Role::kReceiver};
}

std::string Listed(const std::vector<Target>& targets) {
    std::string list;
    for (const Target& target : targets)
        list += fmt::format("\n  {}  {}  {}", target.name, EndpointText(target.at), RoleName(target.role));
    return list;
}

void AddOnce(std::vector<Target>& targets, const Target& target) {
    if (std::ranges::find(targets, target.at, &Target::at) == targets.end()) targets.push_back(target);
}

Failure Roleless(const std::string& board) {
    return {kNoAnswer, "{} doesn't answer: it is off, or still booting or busy with an order", board};
}

}  // namespace

std::chrono::milliseconds ParseSpan(const std::string& text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    const std::string_view unit(stop, static_cast<std::size_t>(end - stop));
    using Unit = std::pair<std::string_view, double>;
    constexpr Unit kUnits[] = {{"", 1000}, {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}};
    const auto known = std::ranges::find(kUnits, unit, &Unit::first);
    constexpr double kLongest = 366.0 * 86400000;
    if (error != std::errc{} || known == std::end(kUnits) || value <= 0 || value * known->second > kLongest) {
        throw Failure(kUsage, "\"{}\" isn't a span of time such as 60s, 5m or 1h", text);
    }
    return std::chrono::milliseconds(static_cast<long long>(value * known->second));
}

void Session::Prepare() {
    out.format = options.json || options.format == "json" ? Format::kJson
                 : options.format == "plain"              ? Format::kPlain
                                                          : Format::kTable;
    mConfigPath = options.configPath.empty() ? DefaultConfigPath() : options.configPath;
    const bool isChosen = !options.configPath.empty() || std::getenv("ZULCTL_CONFIG") != nullptr;
    if (isChosen || std::filesystem::exists(mConfigPath)) mConfig = ReadConfig(mConfigPath);
    mInterface = options.interfaceName.empty() ? mConfig.interfaceName : options.interfaceName;
    mClientOptions.localPort = options.localPort.value_or(mConfig.localPort.value_or(kLocalPort));
    if (options.timeoutSeconds)
        mClientOptions.timeout = std::chrono::milliseconds(static_cast<long long>(*options.timeoutSeconds * 1000));
    if (!options.recordPath.empty()) mClientOptions.recorder = std::make_shared<Recorder>(options.recordPath);
    if (mInterface.empty()) return;
    const Interface chosen = InterfacesNamed(mInterface).back();
    mClientOptions.localAddress = chosen.address;
    mInterfaceIndex = chosen.index;
}

Client Session::Connect(const Target& target) const {
    ClientOptions patient = mClientOptions;
    patient.waitsForBoot = true;
    return Client(target.at, patient);
}

DiscoverOptions Session::Discovery() const {
    DiscoverOptions discovery;
    discovery.client = mClientOptions;
    discovery.interfaceName = mInterface;
    if (mClientOptions.timeout) discovery.time = *mClientOptions.timeout;
    for (const NamedBoard& board : mConfig.boards) {
        for (const Role role : Candidates(board.role)) discovery.known.push_back(board.At(role));
    }
    std::ranges::sort(discovery.known);
    discovery.known.erase(std::unique(discovery.known.begin(), discovery.known.end()), discovery.known.end());
    return discovery;
}

std::vector<Target> Session::Heard() {
    std::vector<Target> targets;
    for (const FoundBoard& board : DiscoverAll(Discovery())) {
        if (!board.beacon.role) continue;
        const std::string name = mConfig.NameOf(board.at);
        targets.push_back({name.empty() ? AddressText(board.at.address) : name, board.at, *board.beacon.role});
    }
    return targets;
}

NamedBoard Session::Meant(const std::string& text) const {
    if (const NamedBoard* named = mConfig.Find(text)) return *named;
    if (const auto board = BoardAt(text, text)) return *board;
    std::vector<std::string> names;
    for (const NamedBoard& known : mConfig.boards) names.push_back(known.name);
    throw Failure(kUsage, "no board is named \"{}\", and it isn't an address{}", text, DidYouMean(text, names));
}

std::optional<Target> Session::Known(const NamedBoard& board, std::optional<Role> wanted) const {
    if (wanted && board.role && board.role != wanted) throw WrongRole(board.name, *board.role, *wanted);
    const auto role = board.role ? board.role : wanted;
    if (!role) return std::nullopt;
    return Target{board.name, board.At(*role), *role};
}

std::vector<Target> Session::Probe(std::vector<NamedBoard>& boards, std::chrono::milliseconds patience) {
    DiscoverOptions ask = Discovery();
    ask.wake = false;
    ask.grace = kOtherRole;
    std::vector<Target> found;
    const auto end = Clock::now() + patience;
    do {
        ask.known.clear();
        for (const NamedBoard& board : boards) {
            for (const Role role : Candidates(std::nullopt)) ask.known.push_back(board.At(role));
        }
        for (const FoundBoard& heard : DiscoverAll(ask)) {
            for (const NamedBoard& board : boards) {
                const bool isIt = heard.at.address == board.address && (board.port == 0 || board.port == heard.at.port);
                if (heard.beacon.role && isIt) found.push_back({board.name, heard.at, *heard.beacon.role});
            }
        }
        std::erase_if(boards, [&](const NamedBoard& board) {
            return std::ranges::find(found, board.name, &Target::name) != found.end();
        });
        if (boards.empty()) break;
        out.Progress(fmt::format("waiting for {}, which may be booting or busy with an order...", boards.front().name));
    } while (!Interrupted() && Clock::now() < end);
    return found;
}

Target Session::Named(const std::string& text, std::optional<Role> role) {
    std::vector<NamedBoard> board = {Meant(text)};
    if (const auto target = Known(board.front(), role)) return *target;
    const auto found = Probe(board, {});
    if (found.empty()) throw Roleless(text);
    return found.front();
}

std::vector<Target> Session::Find(std::optional<Role> role, std::vector<Failure>& missing) {
    std::vector<Target> targets;
    std::vector<NamedBoard> roleless;
    for (const std::string& text : options.boards) {
        const NamedBoard board = Meant(text);
        if (const auto target = Known(board, role))
            AddOnce(targets, *target);
        else
            roleless.push_back(board);
    }
    if (!roleless.empty()) {
        for (const Target& target : Probe(roleless, Timeout().value_or(kBusyPatience))) AddOnce(targets, target);
        for (const NamedBoard& silent : roleless) missing.push_back(Roleless(silent.name));
    }
    if (options.boards.empty() || options.all) FindUnasked(options.all, role, targets, missing);
    if (targets.empty() && missing.empty()) throw Failure(kNoAnswer, "no board is heard; name one with --board");
    return targets;
}

void Session::FindUnasked(bool all, std::optional<Role> role, std::vector<Target>& targets,
                          std::vector<Failure>& missing) {
    const std::vector<NamedBoard>& named = mConfig.boards;
    all = all || named.empty();
    const bool listen = all || std::any_of(named.begin(), named.end(), [](const auto& board) { return !board.role; });
    const std::vector<Target> heard = listen ? Heard() : std::vector<Target>();
    for (const Target& target : heard) {
        const bool isWanted = all || !mConfig.NameOf(target.at).empty();
        if (isWanted && (!role || target.role == role)) AddOnce(targets, target);
    }
    for (const NamedBoard& board : named) {
        const auto isThere = [&](const Target& target) { return target.at.address == board.address; };
        if (board.role && (!role || board.role == role)) AddOnce(targets, *Known(board, role));
        if (!board.role && std::none_of(heard.begin(), heard.end(), isThere)) missing.push_back(Roleless(board.name));
    }
}

std::vector<Target> Session::Everybody(Role role) {
    std::vector<Target> targets;
    std::vector<Failure> silent;
    FindUnasked(true, role, targets, silent);
    return targets;
}

std::vector<Target> Session::Boards(std::optional<Role> role) {
    std::vector<Failure> missing;
    std::vector<Target> targets = Find(role, missing);
    if (targets.empty() && missing.size() == 1) throw missing.front();
    for (const Failure& failure : missing) out.Error(failure.what());  // the others are served
    if (targets.empty()) throw Failure(kNoAnswer, "none of these boards answers");
    mSomeAreMissing = !missing.empty();
    return targets;
}

std::vector<Target> Session::Addressed(std::optional<Role> role) {
    return Several() ? Boards(role) : std::vector{OneBoard(role)};
}

Target Session::OneBoard(std::optional<Role> role) {
    if (Several()) throw Failure(kUsage, "this is for one board");
    std::vector<Failure> missing;
    const std::vector<Target> targets = Find(role, missing);
    if (targets.empty()) throw missing.front();
    if (targets.size() == 1) return targets.front();
    const bool sameAddress = std::ranges::all_of(
        targets, [&](const Target& target) { return target.at.address == targets.front().at.address; });
    throw Failure(kUsage, "which board? say it with --board{}:{}", sameAddress ? " ADDRESS:PORT" : "", Listed(targets));
}

}  // namespace zulctl
