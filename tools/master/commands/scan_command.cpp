// zulctl scan: scans the tuner's channels and follows the progress.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <map>

#include "commands/commands.h"
#include "commands/order.h"
#include "net/fetch.h"
#include "net/stream_order.h"
#include "output/escape.h"
#include "protocol/board_messages.h"
#include "protocol/channels.h"
#include "protocol/reply_json.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

struct ScanChoice {
    bool stop = false, yes = false;
    std::vector<int> only;
    std::string mode;
};

const std::map<std::string, int> kModes = {{"atsc", 0}, {"qam64", 1}, {"qam256", 2}};

constexpr auto kChannelPoll = 1500ms;  // between polls of the channel in progress
constexpr auto kLongestSilence = 20s;  // of a board that answers nothing
constexpr auto kLongestStop = 20s;     // a stop waits for the channel in progress

/// "2,7-12" as channels. Throws Failure(kUsage).
std::vector<int> ParseChannels(const std::string& text) {
    std::vector<int> channels;
    for (const std::string& part : CLI::detail::split(text, ',')) {
        const std::size_t dash = part.find('-');
        const auto first = ParseNumber(part.substr(0, dash), 10, kHighestChannel);
        const auto last = dash == std::string::npos ? first : ParseNumber(part.substr(dash + 1), 10, kHighestChannel);
        if (!first || !last || *first < 1 || *last < *first)
            throw Failure(kUsage, "\"{}\" isn't tuner channels such as 7 or 2,7-12, 1 to {}", Escaped(text),
                          kHighestChannel);
        for (auto channel = *first; channel <= *last; ++channel) channels.push_back(static_cast<int>(channel));
    }
    return channels;
}

std::atomic<bool> stopAll = false;  ///< an interrupt ends the scans of all boards
bool MustStop() { return stopAll || Interrupted(); }

/// A scan being followed.
class Follower {
 public:
    Follower(Session& session, const Target& target, Client& client, Ear& ear, ChannelRange range)
        : mSession(session),
          mName(session.Several() ? Escaped(target.name) + "  " : ""),
          mClient(client),
          mEar(ear),
          mRange(range),
          mChannel(range.first) {}

    /// Follows to the end. \return false when the scan was stopped by an interrupt
    bool Run() {
        auto lastSign = Clock::now();
        while (!mEnded) {
            Show();
            if (MustStop()) Stop();
            if (const auto message = mEar.Socket().Next(Clock::now() + kChannelPoll)) {
                lastSign = Clock::now();
                Take(message->bytes);
            } else if (!Interrupted() && Poll()) {
                lastSign = Clock::now();
            }
            if (Clock::now() - lastSign > kLongestSilence) {
                throw Failure(kNoAnswer,
                              EndpointText(mClient.Board()) + " has fallen silent in the middle of the scan");
            }
        }
        return !mStopping;
    }
    int LockedChannels() const { return mLockedChannels; }

 private:
    void Take(const std::string& message) {
        const auto step = ParseScanStep(message);
        if (!step) return;
        switch (step->kind) {
            case ScanStep::Kind::kStarted: break;
            case ScanStep::Kind::kCannotStart: throw Failure(kRefused, "the board can't start its scan");
            case ScanStep::Kind::kLocked:
                mChannel = step->number;
                ++mLockedChannels;
                mSignal = Signal();
                break;
            case ScanStep::Kind::kFound:
                if (mSession.out.format == Format::kTable) {
                    mSession.out.EmitItem("", {}, [&] {
                        return fmt::format("{}channel {:3}  signal {:3} %  {} programme{}\n", mName, mChannel, mSignal,
                                           step->number, step->number == 1 ? "" : "s");
                    });
                }
                mProgrammes += step->number;
                break;
            case ScanStep::Kind::kEnded: mEnded = true; break;
        }
    }

    /// The steps don't include the signal; the status does.
    int Signal() {
        try {
            const auto status = ParseTransmitterStatus(mClient.Ask("STATUS"));
            return status ? status->signal * 100 / 255 : 0;
        } catch (const Failure&) {
            return 0;  // not essential, or an interrupt, which the loop will notice
        }
    }

    /// Asks for the channel in progress. \return false where the board doesn't answer, as while it stops
    bool Poll() {
        try {
            const auto state = ParseScanState(mClient.Ask("SCA?"));
            if (!state) return false;
            if (state->state == ScanState::State::kRunning) mChannel = state->channel;
            if (state->state == ScanState::State::kError) throw Failure(kRefused, "the scan has failed on the board");
            // The last step may have been lost; a scan that has just been ordered isn't idle any more, unless the order
            // was lost and a stop followed.
            mEnded = state->state == ScanState::State::kDone || (mStopping && state->state == ScanState::State::kIdle);
            return true;
        } catch (const Failure& failure) {
            if (failure.code == kRefused) throw;
            return mStopping && Clock::now() < mStopBy;
        }
    }

    void Stop() {
        stopAll = true;
        ForgetInterrupt();
        if (mStopping) return;
        mStopping = true;
        mStopBy = Clock::now() + kLongestStop;
        mClient.Tell("BLIND99");
        mSession.out.Say(mName + "stopping the scan; the board ends the channel in progress first (up to 16 s)");
    }

    void Show() {
        const int percent = mRange.Percent(mChannel);
        mSession.out.Progress(fmt::format("{}{} {:3} %  channel {} of {} to {}, {} programmes on {} channels{}", mName,
                                          Bar(percent / 100.0, 20), percent, mChannel, mRange.first, mRange.last,
                                          mProgrammes, mLockedChannels, mStopping ? "  stopping..." : ""));
    }

    Session& mSession;
    const std::string mName;
    Client& mClient;
    Ear& mEar;
    ChannelRange mRange;
    int mChannel;
    int mSignal = 0, mProgrammes = 0, mLockedChannels = 0;
    bool mEnded = false, mStopping = false;
    Clock::time_point mStopBy{};
};

/// Starts a scan; where its messages go to another peer, the scan is followed by polling alone.
void Start(Session& session, Client& client, Ear& ear, std::optional<int> only) {
    try {
        if (only) return client.Order(fmt::format("Tuner://{:x}", *only), "the tune");
        const std::string answer = client.Ask("BLIND0", &ear);
        const auto step = ParseScanStep(answer);
        if (!step || step->kind == ScanStep::Kind::kCannotStart) {
            throw Failure(kRefused, EndpointText(client.Board()) + " refuses to scan");
        }
    } catch (const Failure& failure) {
        if (failure.code != kNoAnswer) throw;
        if (MustStop()) return;  // the board may have started; the scan is stopped where it is followed
        const auto state = ParseScanState(client.Ask("SCA?"));
        if (!state || state->state != ScanState::State::kRunning) throw;
        session.out.Warning(
            fmt::format("{} The scan runs all the same, and is followed by questions.", failure.what()));
    }
}

/// The reply goes to the peer that started the scan, so the board is polled until the scan has ended.
Done StopScan(Session& session, const Target& target) {
    Client client = session.Connect(target);
    client.Tell("BLIND99");
    const auto stopBy = Clock::now() + kLongestStop;
    for (;;) {
        session.out.Progress("stopping, up to 16 s...");
        try {
            const auto scan = ParseScanState(client.Ask("SCA?"));
            if (scan && scan->state != ScanState::State::kRunning) break;
        } catch (const Failure& failure) {
            if (failure.code != kNoAnswer || Clock::now() >= stopBy) throw;
        }
        if (Clock::now() >= stopBy)
            throw Failure(kRefused, EndpointText(client.Board()) + " goes on scanning; try again");
        SleepUntil(Clock::now() + 500ms);
    }
    return {{{"stopped", true}}, "the scan is stopped"};
}

/// Scans the band, or one channel. \return false when it was stopped
bool ScanAndFollow(Session& session, const Target& target, Client& client, ChannelRange range, std::optional<int> only,
                   int& locked) {
    Ear ear(client.Board().address, session.Options(), Clock::now() + 5s);
    Start(session, client, ear, only);
    Follower follower(session, target, client, ear, range);
    const bool complete = follower.Run();
    locked += follower.LockedChannels();
    if (!complete || only) return complete;
    const auto scan = ParseScanState(client.Ask("SCA?"));  // another zulctl may have stopped it
    return scan && scan->channel > range.last;
}

Done ScanBoard(Session& session, const Target& target, const ScanChoice& choice) {
    Client client = session.Connect(target);
    if (!choice.mode.empty()) client.Order(fmt::format("TUNERMODE{}", kModes.at(choice.mode)), "the tuner mode");
    const auto status = FetchStatus(client);
    bool complete = true;
    int locked = 0;
    std::vector<Channel> channels;
    if (choice.only.empty()) {
        complete = ScanAndFollow(session, target, client, ChannelsOf(status.tunerMode), std::nullopt, locked);
        channels = FetchChannels(client);
    }
    for (const int only : choice.only) {
        if (!complete) break;
        complete = ScanAndFollow(session, target, client, {only, only}, only, locked);
        for (Channel& channel : FetchChannels(client)) channels.push_back(std::move(channel));
    }
    if (choice.only.size() > 1)
        session.out.Warning(
            fmt::format("{}: its own channel list has what is on the last of these channels alone", target.name));
    return {{{"complete", complete},
             {"tuner_mode", status.tunerMode},
             {"channels_with_signal", locked},
             {"channels", JsonOf(channels)}},
            fmt::format("{}: {} programmes", complete ? "scanned" : "stopped", channels.size()),
            channels};
}

void RunScan(Session& session, const ScanChoice& choice) {
    if (choice.stop)
        return RunOnBoards(session, Role::kTransmitter, "zulctl.scan_stop/1",
                           [&](const Target& target) { return StopScan(session, target); });
    const auto targets = session.Addressed(Role::kTransmitter);
    std::ptrdiff_t ended = 0;
    for (const auto& outcome : OnEach(targets, [&](const Target& target) {
             Client client = session.Connect(target);
             RefuseWhileBusy(client);
             const auto status = FetchStatus(client);
             return std::ranges::count_if(status.streams, &StreamStatus::active);
         })) {
        if (outcome.failure) throw Failure(*outcome.failure);  // no scan half begun
        ended += *outcome.result;
    }
    if (ended > 0) {
        session.out.Confirm(fmt::format("this ends {} stream{} of {}", ended, ended == 1 ? "" : "s",
                                        targets.size() == 1 ? "the board" : "these boards"),
                            "Scan?", choice.yes);
    }
    CatchInterrupts();
    Report(session, "zulctl.scan/1",
           OnEach(targets, [&](const Target& target) { return ScanBoard(session, target, choice); }));
}

}  // namespace

void AddScanCommand(CLI::App& app, Session& session) {
    const auto [command, choice] =
        AddCommand(app, session, "scan",
                   "Walk the tuner over all channels and keep what is found; Ctrl-C stops it in order", RunScan);
    command->footer(
        "A scan empties the channel list and ends all streams. It takes 5 to 30 minutes, on several boards at the "
        "same time. With --only, the channels are scanned one by one and shown together; the board's own list then "
        "holds the last of them alone, and only until a restart.");
    CLI::Option* stop = command->add_flag("--stop", choice->stop, "Stop the scan that runs");
    command
        ->add_option_function<std::string>(
            "--only", [choice](const std::string& text) { choice->only = ParseChannels(text); },
            "Scan these tuner channels alone, such as 7 or 2,7-12")
        ->type_name("CHANNELS")
        ->excludes(stop);
    command->add_option("--mode", choice->mode, "Set the tuner's mode first")
        ->check(CLI::IsMember({"atsc", "qam64", "qam256"}))
        ->excludes(stop);
    command->add_flag("-y,--yes", choice->yes, "Don't ask where streams end");
}

}  // namespace zulctl
