/// A periodic still picture of each stream: ffmpeg turns a few seconds of the stream into a JPEG. It runs with bounds
/// on its time, memory and output, and gets no file and no socket.
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
    unsigned number = 0;      ///< grows with each picture of the stream
    std::string trouble;      ///< why there is none; empty when there is
    Clock::time_point due{};  ///< when the next one is taken
};

class Stills {
 public:
    /// \param every  pause after each picture of a stream; 0: no pictures
    Stills(const StreamWatch& streams, int interfaceIndex, Clock::duration every);

    /// \return the latest still of a stream
    Still Of(const Endpoint& group) const;

 private:
    void Run(const std::stop_token& stop);
    std::optional<Endpoint> Next();

    const StreamWatch& mrStreams;
    const int mInterfaceIndex;
    const Clock::duration mEvery;
    mutable std::mutex mMutex;
    std::map<Endpoint, Still> mStills;
    std::jthread mThread;
};

}  // namespace zulctl::serve
