// Sockets, judges and their history.
#include "serve/stream_watch.h"

#include <algorithm>
#include <numeric>
#include <span>
#include <utility>

#include "output/failure.h"

namespace zulctl::serve {

namespace {

constexpr int kWantedBuffer = 4 << 20;  ///< bytes: a second of the fastest multiplex, for a machine that is busy
constexpr int kMostAtOnce = 256;        ///< datagrams of one stream before the others have their turn
constexpr std::chrono::milliseconds kRound{10};
constexpr std::size_t kRecentErrorSeconds = 30;
constexpr double kSilence = 3;

double Seconds(Clock::duration span) { return std::chrono::duration<double>(span).count(); }

std::uint32_t Clamped(std::uint64_t value) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, UINT32_MAX));
}

std::span<const Sample> Last(std::span<const Sample> history, std::size_t seconds) {
    return history.last(std::min(seconds, history.size()));
}

std::uint64_t Sum(std::span<const Sample> samples, std::uint32_t Sample::*what) {
    return std::accumulate(samples.begin(), samples.end(), std::uint64_t{0},
                           [&](std::uint64_t sum, const Sample& sample) { return sum + sample.*what; });
}

}  // namespace

double Measured::BitRate() const {
    const auto last = Last(history, 5);
    if (last.empty()) return 0;
    return static_cast<double>(Sum(last, &Sample::bits)) / static_cast<double>(last.size());
}

std::uint64_t Measured::RecentErrors() const { return Sum(Last(history, 60), &Sample::errors) + unfinishedErrors; }

const char* HealthName(Health health) {
    constexpr const char* kNames[] = {"waiting", "good", "faulty", "silent"};
    return kNames[static_cast<std::size_t>(health)];
}

Health HealthOf(const Measured& stream) {
    if (!stream.trouble.empty() || stream.silentSeconds > kSilence) return Health::kSilent;
    if (Sum(Last(stream.history, kRecentErrorSeconds), &Sample::errors) + stream.unfinishedErrors > 0)
        return Health::kFaulty;
    if (!stream.report) return Health::kWaiting;
    return std::ranges::any_of(Judge(*stream.report), &Finding::fault) ? Health::kFaulty : Health::kGood;
}

/// A stream that is joined. The totals of finished reports are in `measured`.
struct StreamWatch::Watched {
    Measured measured;
    std::optional<UdpSocket> socket;
    StreamProbe probe;
    Clock::time_point joined = Clock::now(), last = joined, reportBegan = joined;
    std::uint64_t bitsBefore = 0, errorsBefore = 0;  ///< totals at the last tick
    std::uint32_t lostBefore = 0;                    ///< of the socket, at the report's begin
    std::deque<Sample> history;
    std::set<std::uint32_t> sources;
    std::optional<std::string> captured;  ///< set while a capture is requested
    std::size_t wanted = 0;               ///< bytes

    std::uint64_t Bytes() const { return measured.bytes + probe.Report().bytes; }
    std::uint64_t Continuity() const { return measured.continuityErrors + probe.Report().continuityErrors; }
    std::uint64_t Sync() const { return measured.syncLosses + probe.Report().syncLosses; }

    void Take(const Datagram& datagram);
    void EndSecond(double elapsed);
    void EndReport(Clock::time_point now);
    Measured Now(Clock::time_point now) const;
};

void StreamWatch::Watched::Take(const Datagram& datagram) {
    last = Clock::now();
    sources.insert(datagram.from.address);
    probe.Add({reinterpret_cast<const std::uint8_t*>(datagram.bytes.data()), datagram.bytes.size()}, datagram.arrived);
    probe.Report().lostHere = datagram.lost - lostBefore;
    if (captured && captured->size() < wanted) *captured += datagram.bytes;
}

void StreamWatch::Watched::EndSecond(double elapsed) {
    const std::uint64_t bits = Bytes() * 8, errors = Continuity() + Sync();
    // On a busy machine a second takes longer; the rate refers to the actual time.
    const auto rate = static_cast<std::uint64_t>(static_cast<double>(bits - bitsBefore) / elapsed);
    history.push_back({Clamped(rate), Clamped(errors - errorsBefore)});
    if (history.size() > kHistorySeconds) history.pop_front();
    bitsBefore = bits, errorsBefore = errors;
}

void StreamWatch::Watched::EndReport(Clock::time_point now) {
    reportBegan = now;
    const StreamReport& report = probe.Report();
    measured.bytes += report.bytes;
    measured.packets += report.packets;
    measured.continuityErrors += report.continuityErrors;
    measured.syncLosses += report.syncLosses;
    measured.droppedHere += report.lostHere;
    lostBefore += static_cast<std::uint32_t>(report.lostHere);
    measured.report = std::make_shared<const StreamReport>(report);
    measured.sources = std::exchange(sources, {});
    probe.StartOver();
}

Measured StreamWatch::Watched::Now(Clock::time_point now) const {
    Measured copy = measured;
    copy.bytes = Bytes(), copy.continuityErrors = Continuity(), copy.syncLosses = Sync();
    copy.unfinishedErrors = Continuity() + Sync() - errorsBefore;
    copy.packets += probe.Report().packets;
    copy.droppedHere += probe.Report().lostHere;
    copy.watchedSeconds = Seconds(now - joined);
    copy.silentSeconds = Seconds(now - last);
    copy.history.assign(history.begin(), history.end());
    return copy;
}

StreamWatch::StreamWatch(int interfaceIndex)
    : mInterfaceIndex(interfaceIndex), mThread([this](const std::stop_token& stop) { Run(stop); }) {}

StreamWatch::~StreamWatch() {
    mThread.request_stop();
    const std::lock_guard lock(mMutex);
    mEnding = true;
    mCaptured.notify_all();
}

void StreamWatch::Want(const std::set<Endpoint>& groups) {
    const std::lock_guard lock(mMutex);
    std::erase_if(mStreams, [&](const auto& item) { return !groups.contains(item.first); });
    for (const Endpoint& group : groups) {
        if (!mStreams.contains(group)) Join(group);
    }
}

void StreamWatch::Join(const Endpoint& group) {
    auto stream = std::make_shared<Watched>();
    stream->measured.group = group;
    try {
        stream->socket.emplace();
        stream->socket->ShareAddress();
        stream->socket->WantBuffer(kWantedBuffer);
        stream->socket->Bind(group.port, group.address);
        if (!stream->socket->Join(group.address, mInterfaceIndex)) {
            stream->measured.trouble = "can't join " + AddressText(group.address) + ": is there a route for it?";
        }
    } catch (const Failure& failure) {
        stream->measured.trouble = failure.what();
    }
    if (!stream->measured.trouble.empty()) stream->socket.reset();
    mStreams.emplace(group, std::move(stream));
}

std::vector<Measured> StreamWatch::Streams() const {
    const auto now = Clock::now();
    const std::lock_guard lock(mMutex);
    std::vector<Measured> list;
    for (const auto& [group, stream] : mStreams) list.push_back(stream->Now(now));
    return list;
}

std::optional<std::string> StreamWatch::Capture(const Endpoint& group, std::size_t most, Clock::duration howLong) {
    std::unique_lock lock(mMutex);
    const auto found = mStreams.find(group);
    if (found == mStreams.end() || found->second->captured) return std::nullopt;
    const auto stream = found->second;
    stream->captured.emplace();
    stream->wanted = most;
    mCaptured.wait_for(lock, howLong, [&] { return mEnding || stream->captured->size() >= most; });
    std::optional<std::string> bytes;
    stream->captured.swap(bytes);
    return mEnding ? std::nullopt : bytes;
}

void StreamWatch::Run(const std::stop_token& stop) {
    auto lastTick = Clock::now();
    while (!stop.stop_requested() && !Interrupted()) {
        // The kernel time-stamps datagrams, so that they may wait for the next round: one wake-up replaces many.
        SleepUntil(Clock::now() + kRound);
        Drain();
        const auto now = Clock::now();
        if (now - lastTick < std::chrono::seconds(1)) continue;
        Tick(now, Seconds(now - lastTick));
        lastTick = now;
    }
}

void StreamWatch::Drain() {
    const std::lock_guard lock(mMutex);
    bool filled = false;
    for (const auto& [group, stream] : mStreams) {
        for (int count = 0; stream->socket && count < kMostAtOnce; ++count) {
            const auto datagram = stream->socket->Take();
            if (!datagram) break;
            stream->Take(*datagram);
        }
        filled = filled || (stream->captured && stream->captured->size() >= stream->wanted);
    }
    if (filled) mCaptured.notify_all();
}

void StreamWatch::Tick(Clock::time_point now, double elapsed) {
    const std::lock_guard lock(mMutex);
    for (const auto& [group, stream] : mStreams) {
        stream->EndSecond(elapsed);
        if (now - stream->reportBegan >= std::chrono::seconds(kReportSeconds)) stream->EndReport(now);
    }
}

}  // namespace zulctl::serve
