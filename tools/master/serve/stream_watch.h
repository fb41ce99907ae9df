/// Joins requested streams and analyses them: rates and errors by the second, findings of the last seconds, totals.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "doctor/senders.h"

namespace zulctl::serve {

/// One second of a stream.
struct Sample {
    std::uint64_t bits = 0;
    std::uint64_t errors = 0;  ///< continuity errors and losses of sync
};

/// Seconds of history that are kept, and those of one report.
inline constexpr std::size_t kHistorySeconds = 180;
inline constexpr int kReportSeconds = 10;

/// What was measured of a stream.
struct Measured {
    Endpoint group;
    std::string trouble;                 ///< why it can't be joined; empty when it is
    StreamCounts counts;                 ///< since it was joined
    std::uint64_t droppedHere = 0;       ///< datagrams that this machine dropped itself
    double watchedSeconds = 0;           ///< since it was joined
    double silentSeconds = 0;            ///< since the last datagram, or since it was joined
    std::vector<Sample> history;         ///< whole seconds, the oldest first
    std::uint64_t unfinishedErrors = 0;  ///< of the current second
    std::shared_ptr<const Heard> heard;  ///< the last whole report; null before the first one

    /// \return bits a second over the last five whole seconds
    double BitRate() const;
    std::uint64_t RecentErrors(std::size_t seconds) const;
};

enum class Health { kWaiting, kGood, kFaulty, kSilent };

/// A stream is silent when nothing came for three seconds, faulty with an error in the last half minute or a fault in
/// the last report, and waiting until there is a report.
Health HealthOf(const Measured& stream);

class StreamWatch {
 public:
    /// \param interfaceIndex  network interface of the groups; 0: where the routing table says
    explicit StreamWatch(int interfaceIndex);
    ~StreamWatch();

    /// Joins new streams and leaves those no longer requested.
    void Want(const std::set<Endpoint>& groups);
    std::vector<Measured> Streams() const;

 private:
    struct Watched;
    void Run(const std::stop_token& stop);

    const int mInterfaceIndex;
    mutable std::mutex mMutex;
    std::map<Endpoint, std::unique_ptr<Watched>> mStreams;
    std::jthread mThread;
};

}  // namespace zulctl::serve
