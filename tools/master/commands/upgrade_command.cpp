// zulctl upgrade: sends a firmware image to a board.
#include <fmt/format.h>

#include <memory>

#include "commands/commands.h"
#include "commands/plan_work.h"
#include "net/image.h"
#include "output/escape.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

struct UpgradeChoice {
    std::string file;
    bool yes = false, noWait = false;
};

constexpr int kRestarts = 4;
constexpr auto kBurnPatience = 10min;
constexpr auto kStatePoll = 2s;

enum UpgradeState { kIdle = 0, kDownloading = 1, kBurning = 2, kDownloadFailed = 3, kBurnFailed = 4 };

void Confirm(Output& out, const Target& target, const UpgradeChoice& choice, const Image& image) {
    const std::string what =
        fmt::format("image   {}, {} bytes\nsha256  {}\nboard   {}, {} at {}", Escaped(choice.file), image.Size(),
                    image.Sha256(), RoleName(target.role), Escaped(target.name), EndpointText(target.at));
    out.Confirm(what, "Burn it? The board restarts afterwards.", choice.yes);
}

void Send(Session& session, Client& client, const Image& image) {
    const auto start = Clock::now();
    int lastAttempt = 0;
    const bool sent = SendImage(client, image, kRestarts, [&](std::size_t bytes, int attempt) {
        if (attempt != lastAttempt)
            session.out.Warning(fmt::format("an answer was lost; attempt {} from the first byte", attempt + 1));
        lastAttempt = attempt;
        const double part = static_cast<double>(bytes) / static_cast<double>(image.Size());
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        session.out.Progress(fmt::format("{} {:3.0f} %  {} of {} bytes, {:.0f} kB/s", Bar(part, 30), part * 100, bytes,
                                         image.Size(), seconds > 0 ? static_cast<double>(bytes) / 1000 / seconds : 0));
        return !Interrupted();
    });
    if (!sent)
        throw Failure(kRefused, "interrupted; the board still waits for the rest, and a new upgrade starts it afresh");
}

/// Follows the burning until the board has restarted. \return its version then
std::string Follow(Session& session, Client& client) {
    const auto start = Clock::now();
    bool wentAway = false;
    while (Clock::now() - start < kBurnPatience && !Interrupted()) {
        std::optional<int> state;
        try {
            state = ParseUpgradeState(client.Ask("UPGR?"));
            if (state == kBurnFailed) throw Failure(kRefused, "the board can't burn the image");
            if (state == kDownloadFailed) throw Failure(kRefused, "the board has lost the image");
            if (state == kIdle) return ParseVersion(client.Ask("VERS")).value_or("unknown");
        } catch (const Failure& failure) {
            if (failure.code != kNoAnswer) throw;
            wentAway = true;
        }
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count();
        session.out.Progress(fmt::format("{}, {} s...",
                                         state      ? "burning"
                                         : wentAway ? "restarting"
                                                    : "waiting",
                                         seconds));
        SleepUntil(Clock::now() + kStatePoll);
    }
    throw Failure(kNoAnswer,
                  "the image is on the board, and what became of it isn't known; \"zulctl raw UPGR?\" tells its state");
}

void RunUpgrade(Session& session, const UpgradeChoice& choice) {
    const Image image(choice.file);
    const Target target = session.OneBoard(std::nullopt);
    Client client = session.Connect(target);
    const auto state = ParseUpgradeState(client.Ask("UPGR?"));
    if (!state) throw Failure(kNoAnswer, target.name + " doesn't tell the state of its upgrade");
    if (*state == kBurning) throw Failure(kRefused, target.name + " is burning an image already");
    if (*state == kDownloading) session.out.Warning("a download is open on the board, and this ends it");
    Confirm(session.out, target, choice, image);
    auto streams = NoteStreams(session, target, !choice.noWait);
    CatchInterrupts();
    Send(session, client, image);
    Json body = {{"board", target.name}, {"file", choice.file}, {"bytes", image.Size()}, {"sha256", image.Sha256()}};
    if (choice.noWait) {
        body["state"] = UpgradeStateName(kBurning);
        return session.out.Emit("zulctl.upgrade/1", body, [] { return "the board is burning the image\n"; });
    }
    const std::string version = Follow(session, client);
    body["state"] = "done", body["version"] = version;
    session.out.Emit("zulctl.upgrade/1", body,
                     [&] { return fmt::format("done; {} now has version {}\n", Escaped(target.name), version); });
    if (streams) RestoreStreams(session, *streams);
}

}  // namespace

void AddUpgradeCommand(CLI::App& app, Session& session) {
    CLI::App* command =
        app.add_subcommand("upgrade", "Send a firmware image to a board and follow it until the board is back");
    const auto choice = std::make_shared<UpgradeChoice>();
    command->add_option("file", choice->file, "The image, 11 to 1000000000 bytes")->type_name("FILE")->required();
    command->add_flag("-y,--yes", choice->yes, "Don't ask");
    command->add_flag("--no-wait", choice->noWait, "End when the board has the image");
    command->callback([&session, choice] { session.run = [&session, choice] { RunUpgrade(session, *choice); }; });
}

}  // namespace zulctl
