/// A record of every datagram to and from boards, as JSON lines.
#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "protocol/endpoint.h"

namespace zulctl {

/// Writes one line a datagram:
/// {"time":"...Z","direction":"sent","peer":"10.0.0.1:5000","text":"VERS","hex":"56455253"}. "text" is for people, with
/// control bytes escaped; "hex" holds the exact bytes. May be used from several threads.
class Recorder {
 public:
    enum class Direction { kSent, kReceived };

    /// Creates or truncates the file. Throws Failure when that fails.
    explicit Recorder(const std::string& path);

    void Note(Direction direction, const Endpoint& peer, std::string_view bytes);

 private:
    std::mutex mMutex;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> mpFile;
};

}  // namespace zulctl
