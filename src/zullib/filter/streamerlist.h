/// The streams of one PID.
#pragma once

#include <algorithm>

#include "filter/streamer.h"

constexpr int kStreams = 8;  ///< slots of the stream table, stream id 0 to 7

/// The streams that a PID goes to, in order of attachment; each at most once.
class StreamerList {
 public:
    Streamer* const* begin() const { return mStreamers; }
    Streamer* const* end() const { return mStreamers + mCount; }
    int Count() const { return mCount; }
    bool Contains(const Streamer* streamer) const { return std::find(begin(), end(), streamer) != end(); }

    /// \return the entry with this stream id, or null
    Streamer* FindId(int id) const {
        for (Streamer* const streamer : *this) {
            if (streamer->IdGet() == id) return streamer;
        }
        return nullptr;
    }

    /// REQUIRES: fewer than kStreams entries.
    void Append(Streamer* streamer) { mStreamers[mCount++] = streamer; }

    /// Removes the entry with this stream id. \return false when there is none
    bool RemoveId(int id) {
        Streamer** const last = mStreamers + mCount;
        Streamer** const kept =
            std::remove_if(mStreamers, last, [id](const Streamer* streamer) { return streamer->IdGet() == id; });
        mCount = static_cast<int>(kept - mStreamers);
        return kept != last;
    }

 private:
    Streamer* mStreamers[kStreams] = {};
    int mCount = 0;
};
