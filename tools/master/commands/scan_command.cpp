// zulctl scan: scans the tuner's channels and follows the progress.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>

#include "commands/channel_table.h"
#include "commands/commands.h"
#include "net/fetch.h"
#include "net/stream_order.h"
#include "output/escape.h"
#include "protocol/board_messages.h"
#include "protocol/channel_json.h"
#include "protocol/channels.h"
#include "protocol/status.h"

namespace zulctl {

namespace {

using namespace std::chrono_literals;

struct ScanChoice {
    bool stop = false, yes = false;
    std::optional<int> only;
    std::string mode;
};

const std::map<std::string, int> kModes = {{"atsc", 0}, {"qam64", 1}, {"qam256", 2}};

constexpr auto kChannelPoll = 1500ms;  // between polls of the channel in progress
constexpr auto kLongestSilence = 20s;  // of a board that answers nothing
constexpr auto kLongestStop = 20s;     // a stop waits for the channel in progress

struct Range {
    int first, last;
};

/// Channels that a scan walks in a tuner mode.
Range RangeOf(const std::string& mode) { return mode == "ATSC" ? Range{2, 69} : Range{1, 158}; }

/// A scan being followed.
class Follower {
 public:
    Follower(Session& session, Client& client, Ear& ear, Range range)
        : mSession(session), mClient(client), mEar(ear), mRange(range), mChannel(range.first) {}

    /// Follows to the end. \return false when the scan was stopped by an interrupt
    bool Run() {
        auto lastSign = Clock::now();
        while (!mEnded) {
            Show();
            if (Interrupted()) Stop();
            if (const auto message = mEar.Next(Clock::now() + kChannelPoll)) {
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
                        return fmt::format("channel {:3}  signal {:3} %  {} programme{}\n", mChannel, mSignal,
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
        ForgetInterrupt();
        if (mStopping) return;
        mStopping = true;
        mStopBy = Clock::now() + kLongestStop;
        mClient.Tell("BLIND99");
        mSession.out.Say("stopping the scan; the board ends the channel in progress first (up to 16 s)");
    }

    void Show() {
        const double part = static_cast<double>(mChannel - mRange.first) / (mRange.last - mRange.first + 1);
        mSession.out.Progress(fmt::format("{} {:3.0f} %  channel {} of {} to {}, {} programmes on {} channels{}",
                                          Bar(part, 20), part * 100, mChannel, mRange.first, mRange.last, mProgrammes,
                                          mLockedChannels, mStopping ? "  stopping..." : ""));
    }

    Session& mSession;
    Client& mClient;
    Ear& mEar;
    Range mRange;
    int mChannel;
    int mSignal = 0, mProgrammes = 0, mLockedChannels = 0;
    bool mEnded = false, mStopping = false;
    Clock::time_point mStopBy{};
};

/// Starts a scan; where its messages go to another peer, the scan is followed by polling alone.
void Start(Session& session, Client& client, Ear& ear, const ScanChoice& choice) {
    try {
        if (choice.only) return client.Order(fmt::format("Tuner://{:x}", *choice.only), "the tune");
        const std::string answer = client.Ask("BLIND0", &ear);
        const auto step = ParseScanStep(answer);
        if (!step || step->kind == ScanStep::Kind::kCannotStart) {
            throw Failure(kRefused,
                          fmt::format("{} refuses to scan: {}", EndpointText(client.Board()), Escaped(answer)));
        }
    } catch (const Failure& failure) {
        if (failure.code != kNoAnswer) throw;
        if (Interrupted()) return;  // the board may have started; the scan is stopped where it is followed
        const auto state = ParseScanState(client.Ask("SCA?"));
        if (!state || state->state != ScanState::State::kRunning) throw;
        session.out.Warning(
            fmt::format("{} The scan runs all the same, and is followed by questions.", failure.what()));
    }
}

/// The reply goes to the peer that started the scan, so the board is polled until the scan has ended.
void StopScan(Session& session, Client& client) {
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
    session.out.Emit("zulctl.scan_stop/1", {{"stopped", true}}, [] { return "the scan is stopped\n"; });
}

TransmitterStatus StatusOf(Client& client) {
    const auto status = ParseTransmitterStatus(client.Ask("STATUS"));
    if (!status) throw Failure(kNoAnswer, EndpointText(client.Board()) + " gives no status of a transmitter");
    return *status;
}

void RunScan(Session& session, const ScanChoice& choice) {
    Client client = session.Connect(Role::kTransmitter);
    if (choice.stop) return StopScan(session, client);
    RefuseWhileBusy(client);
    auto status = StatusOf(client);
    const auto ended = std::count_if(status.streams.begin(), status.streams.end(),
                                     [](const StreamStatus& stream) { return stream.active; });
    if (ended > 0) {
        session.out.Confirm(fmt::format("this ends {} stream{} of the board", ended, ended == 1 ? "" : "s"), "Scan?",
                            choice.yes);
    }
    if (!choice.mode.empty()) {
        client.Order(fmt::format("TUNERMODE{}", kModes.at(choice.mode)), "the tuner mode");
        status = StatusOf(client);
    }
    const Range range = choice.only ? Range{*choice.only, *choice.only} : RangeOf(status.tunerMode);

    CatchInterrupts();
    Ear ear(client.Board().address, session.Options(), Clock::now() + 5s);
    Start(session, client, ear, choice);
    Follower follower(session, client, ear, range);
    bool complete = follower.Run();
    if (complete && !choice.only) {  // another zulctl may have stopped it
        const auto scan = ParseScanState(client.Ask("SCA?"));
        complete = scan && scan->channel > range.last;
    }
    const auto channels = FetchChannels(client);
    session.out.Emit("zulctl.scan/1",
                     {{"complete", complete},
                      {"tuner_mode", status.tunerMode},
                      {"channels_with_signal", follower.LockedChannels()},
                      {"channels", JsonOf(channels)}},
                     [&] {
                         const std::string head =
                             fmt::format("{}: {} programmes\n", complete ? "scanned" : "stopped", channels.size());
                         return channels.empty() ? head : head + "\n" + ChannelTable(session.out, channels);
                     });
}

}  // namespace

void AddScanCommand(CLI::App& app, Session& session) {
    CLI::App* command =
        app.add_subcommand("scan", "Walk the tuner over all channels and keep what is found; Ctrl-C stops it in order");
    command->footer(
        "A scan empties the channel list and ends all streams. It takes 5 to 30 minutes. With --only the list holds "
        "that channel alone until the next scan.");
    const auto choice = std::make_shared<ScanChoice>();
    CLI::Option* stop = command->add_flag("--stop", choice->stop, "Stop the scan that runs");
    command->add_option("--only", choice->only, "Scan this tuner channel alone")
        ->type_name("CHANNEL")
        ->check(CLI::Range(1, kHighestChannel))
        ->excludes(stop);
    command->add_option("--mode", choice->mode, "Set the tuner's mode first")
        ->check(CLI::IsMember({"atsc", "qam64", "qam256"}))
        ->excludes(stop);
    command->add_flag("-y,--yes", choice->yes, "Don't ask where streams end");
    command->callback([&session, choice] { session.run = [&session, choice] { RunScan(session, *choice); }; });
}

}  // namespace zulctl
