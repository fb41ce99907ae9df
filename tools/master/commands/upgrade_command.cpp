// zulctl upgrade: sends a firmware image to a board.
#include <fmt/format.h>
#include <nettle/sha2.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "commands/commands.h"
#include "commands/order.h"
#include "commands/plan_work.h"
#include "output/escape.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

struct UpgradeChoice {
    std::string file;
    bool yes = false, noWait = false;
    std::size_t atOnce = 1;
};

struct Image {
    std::string bytes;
    std::string sha256;  ///< in hexadecimal
};

constexpr std::size_t kSmallestImage = 11, kLargestImage = 1000000000;
constexpr std::size_t kPiece = kLargestRequest - 5;  // bytes after "UPGR:"
constexpr int kMostAttempts = 5;
constexpr auto kBurnPatience = 10min;
constexpr auto kStatePoll = 2s;

/// Throws Failure(kUsage) for a file that can't be read or that a board would refuse for its size.
Image ReadImage(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw Failure(kUsage, "{}: {}", path, std::strerror(errno));
    std::error_code ignored;
    const auto size = std::filesystem::is_regular_file(path, ignored) ? std::filesystem::file_size(path, ignored) : 0;
    if (size < kSmallestImage || size > kLargestImage) {
        throw Failure(kUsage, "{} isn't a file of {} to {} bytes, which a board takes", path, kSmallestImage,
                      kLargestImage);
    }
    Image image{std::string(size, '\0'), {}};
    if (!file.read(image.bytes.data(), static_cast<std::streamsize>(size)))
        throw Failure(kUsage, "{} can't be read", path);
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, size, reinterpret_cast<const std::uint8_t*>(image.bytes.data()));
    char digest[SHA256_DIGEST_SIZE];
    sha256_digest(&context, sizeof digest, reinterpret_cast<std::uint8_t*>(digest));
    image.sha256 = HexText({digest, sizeof digest});
    return image;
}

void Confirm(Output& out, const std::vector<Target>& targets, const UpgradeChoice& choice, const Image& image) {
    std::string what =
        fmt::format("image   {}, {} bytes\nsha256  {}", Escaped(choice.file), image.bytes.size(), image.sha256);
    for (const Target& target : targets)
        what +=
            fmt::format("\nboard   {}, {} at {}", RoleName(target.role), Escaped(target.name), EndpointText(target.at));
    out.Confirm(
        what,
        targets.size() == 1 ? "Burn it? The board restarts afterwards." : "Burn it? The boards restart afterwards.",
        choice.yes);
}

/// Sends the image piece by piece, each after the answer to the one before.
/// \return false when an answer is missing: a piece has no number, so that it can't be repeated
bool Attempt(Client& client, const Image& image, const std::function<void(std::size_t sent)>& progress) {
    const auto order = [&](const std::string& request) {
        const std::string answer = client.Ask(request);
        if (IsOk(answer)) return;
        throw Failure(kRefused, "{} refuses the image: {}", EndpointText(client.Board()),
                      Escaped(answer.size() > 5 ? answer.substr(5) : answer));  // "KO CR LF, blank, reason"
    };
    try {
        order(fmt::format("UPGR{}", image.bytes.size()));
        for (std::size_t sent = 0; sent < image.bytes.size(); sent += kPiece) {
            progress(sent);
            order("UPGR:" + image.bytes.substr(sent, kPiece));
        }
        return true;
    } catch (const Failure& failure) {
        if (failure.code != kNoAnswer || Interrupted()) throw;
        return false;
    }
}

/// Sends the image, again from its first byte where an answer was lost. Throws Failure with how far it got.
void Send(Session& session, const Target& target, Client& client, const Image& image) {
    const auto start = Clock::now();
    std::size_t taken = 0;
    const auto progress = [&](std::size_t sent) {
        taken = sent;
        const double part = static_cast<double>(sent) / static_cast<double>(image.bytes.size());
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        session.out.Progress(fmt::format("{}  {} {:3.0f} %  {} of {} bytes, {:.0f} kB/s", target.name, Bar(part, 30),
                                         part * 100, sent, image.bytes.size(),
                                         seconds > 0 ? static_cast<double>(sent) / 1000 / seconds : 0));
        if (Interrupted()) throw Failure(kRefused, "interrupted");
    };
    try {
        for (int attempt = 1; !Attempt(client, image, progress); ++attempt) {
            // The answer also proves that no older one is pending: a board serves one request at a time.
            const auto state = ParseUpgradeState(client.Ask("UPGR?"));
            if (state == kBurning) return;
            if (state == kBurnFailed)
                throw Failure(kRefused, EndpointText(client.Board()) + " has the image, but can't burn it");
            if (attempt == kMostAttempts)
                throw Failure(kNoAnswer, "{} loses answers; {} attempts from the first byte have failed",
                              EndpointText(client.Board()), attempt);
            session.out.Warning(
                fmt::format("{}: an answer was lost; attempt {} from the first byte", target.name, attempt + 1));
        }
    } catch (const Failure& failure) {
        throw Failure(failure.code,
                      "{}. {} has taken {} of {} bytes and keeps its version; upgrade it again, or reset it",
                      failure.what(), target.name, taken, image.bytes.size());
    }
}

/// Follows the burning until the board has restarted. \return its version then
std::string Follow(Session& session, const Target& target, Client& client) {
    const auto start = Clock::now();
    bool wentAway = false;
    while (Clock::now() - start < kBurnPatience && !Interrupted()) {
        std::optional<int> state;
        try {
            state = ParseUpgradeState(client.Ask("UPGR?"));
            if (state == kBurnFailed || state == kDownloadFailed)
                throw Failure(kRefused, "{} {} the image, and keeps its version; upgrade it again", target.name,
                              state == kBurnFailed ? "can't burn" : "has lost");
            if (state == kUpgradeIdle) return ParseVersion(client.Ask("VERS")).value_or("unknown");
        } catch (const Failure& failure) {
            if (failure.code != kNoAnswer) throw;
            wentAway = true;
        }
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count();
        session.out.Progress(fmt::format("{}: {}, {} s...", target.name,
                                         state      ? "burning"
                                         : wentAway ? "restarting"
                                                    : "waiting",
                                         seconds));
        SleepUntil(Clock::now() + kStatePoll);
    }
    throw Failure(
        kNoAnswer,
        target.name + " has the whole image, but isn't back yet; \"zulctl discover\" shows its version when it is");
}

/// Throws Failure where an image is being burnt.
void RefuseWhileBurning(Session& session, const Target& target) {
    const auto state = ParseUpgradeState(session.Connect(target).Ask("UPGR?"));
    if (!state) throw Failure(kNoAnswer, target.name + " doesn't report the state of its upgrade");
    if (*state == kBurning) throw Failure(kRefused, target.name + " is burning an image already");
    if (*state == kDownloading)
        session.out.Warning(fmt::format("a download to {} is open, and this ends it", target.name));
}

Done Upgrade(Session& session, const Target& target, const Image& image, const UpgradeChoice& choice) {
    Client client = session.Connect(target);
    auto streams = NoteStreams(session, target, !choice.noWait);
    Send(session, target, client, image);
    Json body = {
        {"board", target.name}, {"file", choice.file}, {"bytes", image.bytes.size()}, {"sha256", image.sha256}};
    body["state"] = choice.noWait ? "burning" : "done";
    body["version"] = Json();
    if (choice.noWait) return {body, "the board is burning the image"};
    const std::string version = Follow(session, target, client);
    if (streams) RestoreStreams(session, *streams);
    body["version"] = version;
    return {body, fmt::format("done; {} now has version {}", Escaped(target.name), Escaped(version))};
}

void RunUpgrade(Session& session, const UpgradeChoice& choice) {
    const Image image = ReadImage(choice.file);
    const auto targets = session.Addressed(std::nullopt);
    for (const Target& target : targets) RefuseWhileBurning(session, target);
    Confirm(session.out, targets, choice, image);
    CatchInterrupts();
    std::vector<Outcome<Done>> outcomes;
    auto next = targets.begin();
    const auto failed = [](const auto& outcome) { return outcome.failure.has_value(); };
    while (next != targets.end() && std::ranges::none_of(outcomes, failed)) {
        const auto end = next + std::min(static_cast<std::ptrdiff_t>(choice.atOnce), targets.end() - next);
        std::ranges::move(
            OnEach({next, end}, [&](const Target& target) { return Upgrade(session, target, image, choice); }),
            std::back_inserter(outcomes));
        next = end;
    }
    for (; next != targets.end(); ++next)
        outcomes.push_back({*next, {}, Failure(kRefused, "not begun, because the upgrade of another board failed")});
    Report(session, "zulctl.upgrade/1", outcomes, "weren't upgraded");
}

}  // namespace

void AddUpgradeCommand(CLI::App& app, Session& session) {
    const auto [command, choice] = AddCommand(
        app, session, "upgrade", "Send a firmware image to boards and follow it until they are back", RunUpgrade);
    AddOption(command, "file FILE", choice->file, "The image, 11 to 1000000000 bytes")->required();
    command->footer("Of several boards, no further one is begun after one that fails or doesn't come back.");
    command->add_option("--at-once", choice->atOnce, "So many boards at the same time")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command->add_flag("-y,--yes", choice->yes, "Don't ask");
    command->add_flag("--no-wait", choice->noWait, "End when the board has the image");
}

}  // namespace zulctl
