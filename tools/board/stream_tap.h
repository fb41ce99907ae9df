/// Receives a multicast stream: joins the group for its lifetime, keeps the last seconds, reads the tables.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "psi_reader.h"

namespace board {

class StreamTap {
 public:
    /// Joins the group. Throws std::system_error where that fails.
    /// \param onSection  called on the tap's thread, see PsiReader
    /// \param onStreams  called on the tap's thread when the streams of the PMT change
    StreamTap(const std::string& group, int port, int programme, int audioPid, PsiReader::OnSection onSection,
              std::function<void(const ProgrammeStreams&)> onStreams);
    ~StreamTap();
    StreamTap(const StreamTap&) = delete;
    StreamTap& operator=(const StreamTap&) = delete;

    /// Plays another programme or audio of the same stream from now on.
    void Choose(int programme, int audioPid);

    /// \return the packets of the last seconds
    std::vector<std::uint8_t> LastBytes() const;

    std::uint64_t BytesReceived() const;

 private:
    /// The packets that a datagram completed.
    struct Piece {
        std::chrono::steady_clock::time_point arrival;
        std::vector<std::uint8_t> packets;
    };

    void Run();
    void Take(std::span<const std::uint8_t> datagram);

    const std::function<void(const ProgrammeStreams&)> mOnStreams;
    int mSocket = -1;
    int mStop[2] = {-1, -1};
    mutable std::mutex mMutex;
    std::uint64_t mBytesReceived = 0;
    PsiReader mReader;
    ProgrammeStreams mTold;
    std::vector<std::uint8_t> mOpen;  ///< a packet that began in the previous datagram
    std::deque<Piece> mLast;
    std::thread mThread;
};

}  // namespace board
