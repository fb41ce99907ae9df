// zulctl scan: scans the tuner's channels and follows the progress.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <iterator>

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
    std::vector<ChannelRange> only;  ///< of one channel each
    std::string mode;
};

const std::vector<std::string> kModes = {"atsc", "qam64", "qam256"};  // by number

constexpr auto kChannelPoll = 1500ms;  // between polls of the channel in progress
constexpr auto kLongestSilence = 20s;  // of a board that answers nothing
constexpr auto kLongestStop = 20s;     // a stop waits for the channel in progress

/// "2,7-12" as channels. Throws Failure(kUsage).
std::vector<ChannelRange> ParseChannels(const std::string& text) {
    std::vector<ChannelRange> channels;
    for (const std::string& part : CLI::detail::split(text, ',')) {
        const std::size_t dash = part.find('-');
        const auto first = ParseNumber(part.substr(0, dash), 10, kHighestChannel);
        const auto last = dash == std::string::npos ? first : ParseNumber(part.substr(dash + 1), 10, kHighestChannel);
        if (!first || !last || *first < 1 || *last < *first)
            throw Failure(kUsage, "\"{}\" isn't tuner channels such as 7 or 2,7-12, 1 to {}", Escaped(text),
                          kHighestChannel);
        for (auto channel = static_cast<int>(*first); channel <= static_cast<int>(*last); ++channel)
            channels.push_back({channel, channel});
    }
    return channels;
}

std::atomic<bool> stopAll = false;  ///< an interrupt ends the scans of all boards
bool MustStop() { return stopAll || Interrupted(); }

/// A scan of a range of channels, or of one, from its start to its end.
class Scan {
 public:
    Scan(Session& session, const Target& target, Client& client, ChannelRange range)
        : mSession(session),
          mName(session.Several() ? Escaped(target.name) + "  " : ""),
          mClient(client),
          mEar(client.Board().address, session.Options(), Clock::now() + 5s),
          mRange(range) {}

    /// \return false when the scan was stopped
    bool Run() {
        Start();
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
        if (mStopping || IsOfOne()) return !mStopping;
        const auto scan = ParseScanState(mClient.Ask("SCA?"));  // another zulctl may have stopped it
        return scan && scan->channel > mRange.last;
    }
    int LockedChannels() const { return mLockedChannels; }

 private:
    bool IsOfOne() const { return mRange.first == mRange.last; }

    /// Where the messages of the scan go to another peer, it is followed by polling alone.
    void Start() {
        try {
            if (IsOfOne()) return mClient.Order(fmt::format("Tuner://{:x}", mRange.first), "the tune");
            const auto step = ParseScanStep(mClient.Ask("BLIND0", &mEar));
            if (!step || step->kind == ScanStep::Kind::kCannotStart)
                throw Failure(kRefused, EndpointText(mClient.Board()) + " refuses to scan");
        } catch (const Failure& failure) {
            if (failure.code != kNoAnswer) throw;
            if (MustStop()) return;  // the board may have started; Run stops it
            const auto state = ParseScanState(mClient.Ask("SCA?"));
            if (!state || state->state != ScanState::State::kRunning) throw;
            mSession.out.Warning(
                fmt::format("{} The scan runs all the same, and is followed by questions.", failure.what()));
        }
    }

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
                        return fmt::format("{}channel {:3}  signal {:3} %  {}\n", mName, mChannel, mSignal,
                                           Counted(step->number, "programme"));
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
    Ear mEar;
    ChannelRange mRange;
    int mChannel = mRange.first, mSignal = 0, mProgrammes = 0, mLockedChannels = 0;
    bool mEnded = false, mStopping = false;
    Clock::time_point mStopBy{};
};

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

Done ScanBoard(Session& session, const Target& target, const ScanChoice& choice) {
    Client client = session.Connect(target);
    if (!choice.mode.empty())
        client.Order(fmt::format("TUNERMODE{}", std::ranges::find(kModes, choice.mode) - kModes.begin()),
                     "the tuner mode");
    const auto status = FetchStatus(client);
    bool complete = true;
    int locked = 0;
    std::vector<Channel> channels;
    for (const ChannelRange& range : choice.only.empty() ? std::vector{ChannelsOf(status.tunerMode)} : choice.only) {
        if (!complete) break;
        Scan scan(session, target, client, range);
        complete = scan.Run();
        locked += scan.LockedChannels();
        std::ranges::move(FetchChannels(client), std::back_inserter(channels));
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
    const auto running = OnEach(targets, [&](const Target& target) {
        Client client = session.Connect(target);
        RefuseWhileBusy(client);
        const auto status = FetchStatus(client);
        return std::ranges::count_if(status.streams, &StreamStatus::active);
    });
    std::ptrdiff_t ended = 0;
    for (const auto& [target, streams, failure] : running) {
        if (failure) throw Failure(*failure);  // no scan half begun
        ended += *streams;
    }
    if (ended > 0) {
        session.out.Confirm(fmt::format("this ends {} of {}", Counted(ended, "stream"),
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
            "--only", [&only = choice->only](const std::string& text) { only = ParseChannels(text); },
            "Scan these tuner channels alone, such as 7 or 2,7-12")
        ->type_name("CHANNELS")
        ->excludes(stop);
    command->add_option("--mode", choice->mode, "Set the tuner's mode first")
        ->check(CLI::IsMember(kModes))
        ->excludes(stop);
    command->add_flag("-y,--yes", choice->yes, "Don't ask where streams end");
}

}  // namespace zulctl
