/// A periodic still picture of each stream: ffmpeg turns a few seconds of the stream into a JPEG.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "serve/stream_watch.h"

namespace zulctl::serve {

struct Still {
    std::shared_ptr<const std::string> jpeg;  ///< null before the first one
    Clock::time_point taken{};
    unsigned number = 0;  ///< grows with each picture of the stream
    std::string trouble;  ///< why there is none; empty when there is
};

/// Makes the picture of the first whole key frame in a piece of a transport stream. ffmpeg runs with bounds on its
/// time, memory and output, and gets no file and no socket. \return the JPEG, or nothing where there is no picture in
/// it or ffmpeg is missing
std::optional<std::string> MakeStill(const std::string& stream);

class Stills {
 public:
    /// \param every  pause after each picture of a stream
    Stills(StreamWatch& streams, Clock::duration every);
    ~Stills();
    Stills(const Stills&) = delete;
    Stills& operator=(const Stills&) = delete;

    /// \return the latest still of a stream
    Still Of(const Endpoint& group) const;

 private:
    void Run(const std::stop_token& stop);
    std::optional<Endpoint> Next(const std::vector<Measured>& streams, Clock::time_point now);

    StreamWatch& mrStreams;
    const Clock::duration mEvery;
    mutable std::mutex mMutex;
    std::map<Endpoint, Still> mStills;
    std::map<Endpoint, Clock::time_point> mDue;
    std::jthread mThread;
};

}  // namespace zulctl::serve
