// Sockets, judges and their history.
#include "serve/stream_watch.h"

#include <algorithm>
#include <numeric>
#include <span>
#include <utility>

#include "output/failure.h"

namespace zulctl::serve {

namespace {

constexpr int kMostAtOnce = 256;  ///< datagrams of one stream before the others have their turn
constexpr std::chrono::milliseconds kRound{10};
constexpr std::size_t kRecentErrorSeconds = 30;
constexpr double kSilence = 3;

double Seconds(Clock::duration span) { return std::chrono::duration<double>(span).count(); }

std::uint64_t ErrorsOf(const StreamCounts& counts) { return counts.continuityErrors + counts.syncLosses; }

/// \return the sum of a value over the last seconds
std::uint64_t SumOf(std::span<const Sample> history, std::size_t seconds, std::uint64_t Sample::*what) {
    const auto last = history.last(std::min(seconds, history.size()));
    return std::accumulate(last.begin(), last.end(), std::uint64_t{0},
                           [&](std::uint64_t sum, const Sample& sample) { return sum + sample.*what; });
}

}  // namespace

double Measured::BitRate() const {
    const std::size_t seconds = std::min<std::size_t>(5, history.size());
    return seconds == 0 ? 0
                        : static_cast<double>(SumOf(history, seconds, &Sample::bits)) / static_cast<double>(seconds);
}

std::uint64_t Measured::RecentErrors(std::size_t seconds) const {
    return SumOf(history, seconds, &Sample::errors) + unfinishedErrors;
}

Health HealthOf(const Measured& stream) {
    if (!stream.trouble.empty() || stream.silentSeconds > kSilence) return Health::kSilent;
    if (stream.RecentErrors(kRecentErrorSeconds) > 0) return Health::kFaulty;
    if (!stream.heard) return Health::kWaiting;
    return std::ranges::any_of(Judge(stream.heard->report), &Finding::fault) ? Health::kFaulty : Health::kGood;
}

/// A stream that is joined. The counts of finished reports are in `measured`.
struct StreamWatch::Watched {
    Measured measured;
    std::optional<UdpSocket> socket;
    StreamProbe probe;
    Clock::time_point joined = Clock::now(), last = joined, reportBegan = joined;
    StreamCounts before;           ///< at the last second's end
    std::uint64_t lostBefore = 0;  ///< of the socket, at the report's begin
    std::set<std::uint32_t> sources;

    Watched(const Endpoint& group, int interfaceIndex) {
        measured.group = group;
        try {
            socket.emplace(StreamSocket(group, interfaceIndex));
        } catch (const Failure& failure) {
            measured.trouble = failure.what();
        }
    }

    void Drain() {
        for (int count = 0; socket && count < kMostAtOnce; ++count) {
            const auto datagram = socket->Take();
            if (!datagram) break;
            last = Clock::now();
            sources.insert(datagram->from.address);
            probe.Add({reinterpret_cast<const std::uint8_t*>(datagram->bytes.data()), datagram->bytes.size()},
                      datagram->arrived);
            measured.droppedHere = datagram->lost;
            probe.Report().lostHere = datagram->lost - lostBefore;
        }
    }

    StreamCounts Total() const {
        const StreamCounts &ended = measured.counts, &open = probe.Report();
        return {ended.datagrams + open.datagrams, ended.bytes + open.bytes, ended.packets + open.packets,
                ended.continuityErrors + open.continuityErrors, ended.syncLosses + open.syncLosses};
    }

    void EndSecond(double elapsed) {
        const StreamCounts total = Total();
        // On a busy machine a second takes longer; the rate refers to the actual time.
        const auto rate = static_cast<std::uint64_t>(static_cast<double>(total.bytes - before.bytes) * 8 / elapsed);
        measured.history.push_back({rate, ErrorsOf(total) - ErrorsOf(before)});
        if (measured.history.size() > kHistorySeconds) measured.history.erase(measured.history.begin());
        before = total;
        if (Clock::now() - reportBegan < std::chrono::seconds(kReportSeconds)) return;
        reportBegan = Clock::now();
        measured.counts = total;
        lostBefore = measured.droppedHere;
        measured.heard = std::make_shared<const Heard>(Heard{std::exchange(sources, {}), probe.Report()});
        probe.StartOver();
    }

    Measured Now() const {
        Measured copy = measured;
        copy.counts = Total();
        copy.unfinishedErrors = ErrorsOf(copy.counts) - ErrorsOf(before);
        copy.watchedSeconds = Seconds(Clock::now() - joined);
        copy.silentSeconds = Seconds(Clock::now() - last);
        return copy;
    }
};

StreamWatch::StreamWatch(int interfaceIndex)
    : mInterfaceIndex(interfaceIndex), mThread([this](const std::stop_token& stop) { Run(stop); }) {}

StreamWatch::~StreamWatch() = default;

void StreamWatch::Want(const std::set<Endpoint>& groups) {
    const std::lock_guard lock(mMutex);
    std::erase_if(mStreams, [&](const auto& item) { return !groups.contains(item.first); });
    for (const Endpoint& group : groups) {
        if (!mStreams.contains(group)) mStreams.emplace(group, std::make_unique<Watched>(group, mInterfaceIndex));
    }
}

std::vector<Measured> StreamWatch::Streams() const {
    const std::lock_guard lock(mMutex);
    std::vector<Measured> list;
    for (const auto& [group, stream] : mStreams) list.push_back(stream->Now());
    return list;
}

void StreamWatch::Run(const std::stop_token& stop) {
    auto lastTick = Clock::now();
    while (!stop.stop_requested() && !Interrupted()) {
        // The kernel time-stamps datagrams, so that they may wait for the next round: one wake-up replaces many.
        SleepUntil(Clock::now() + kRound);
        const std::lock_guard lock(mMutex);
        for (const auto& [group, stream] : mStreams) stream->Drain();
        const auto now = Clock::now();
        if (now - lastTick < std::chrono::seconds(1)) continue;
        for (const auto& [group, stream] : mStreams) stream->EndSecond(Seconds(now - lastTick));
        lastTick = now;
    }
}

}  // namespace zulctl::serve
