/// Joins requested streams and analyses them: rates and errors by the second, findings of the last seconds, totals, and
/// pieces of the stream for still pictures.
#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "net/udp_socket.h"
#include "stream/probe.h"

namespace zulctl::serve {

/// One second of a stream.
struct Sample {
    std::uint32_t bits = 0;
    std::uint32_t errors = 0;  ///< continuity errors and losses of sync
};

/// Seconds of history that are kept, and those of one report.
inline constexpr std::size_t kHistorySeconds = 180;
inline constexpr int kReportSeconds = 10;

/// What was measured of a stream since it was joined.
struct Measured {
    Endpoint group;
    std::string trouble;      ///< why it can't be joined; empty when it is
    std::uint64_t bytes = 0;  ///< all of these are totals since then
    std::uint64_t packets = 0;
    std::uint64_t continuityErrors = 0;
    std::uint64_t syncLosses = 0;
    std::uint64_t droppedHere = 0;               ///< datagrams that this machine dropped itself
    double watchedSeconds = 0;                   ///< since it was joined
    double silentSeconds = 0;                    ///< since the last datagram, or since it was joined
    std::vector<Sample> history;                 ///< whole seconds, the oldest first
    std::uint64_t unfinishedErrors = 0;          ///< of the current second
    std::set<std::uint32_t> sources;             ///< addresses that it came from, of the last whole report
    std::shared_ptr<const StreamReport> report;  ///< of the last whole report; null before the first one

    /// \return bits a second over the last five whole seconds
    double BitRate() const;
    /// \return errors of the last minute
    std::uint64_t RecentErrors() const;
};

enum class Health { kWaiting, kGood, kFaulty, kSilent };
const char* HealthName(Health health);

/// A stream is silent when nothing came for three seconds, faulty with an error in the last half minute or a fault in
/// the last report, and waiting until there is a report.
Health HealthOf(const Measured& stream);

class StreamWatch {
 public:
    /// \param interfaceIndex  network interface of the groups; 0: where the routing table says
    explicit StreamWatch(int interfaceIndex);
    ~StreamWatch();
    StreamWatch(const StreamWatch&) = delete;
    StreamWatch& operator=(const StreamWatch&) = delete;

    /// Joins new streams and leaves those no longer requested.
    void Want(const std::set<Endpoint>& groups);
    std::vector<Measured> Streams() const;

    /// Waits for the next bytes of a stream. \return what came until there were `most` bytes or the time was up;
    /// nothing for a stream that isn't watched or when the watch ends
    std::optional<std::string> Capture(const Endpoint& group, std::size_t most, Clock::duration howLong);

 private:
    struct Watched;
    void Run(const std::stop_token& stop);
    void Drain();
    void Tick(Clock::time_point now, double elapsed);
    void Join(const Endpoint& group);

    const int mInterfaceIndex;
    mutable std::mutex mMutex;
    std::condition_variable mCaptured;
    bool mEnding = false;
    std::map<Endpoint, std::shared_ptr<Watched>> mStreams;
    std::jthread mThread;
};

}  // namespace zulctl::serve
