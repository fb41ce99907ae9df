/// Receives a multicast stream: joins the group for its lifetime, keeps the last seconds, reads PAT and the PMT of one
/// programme (ISO/IEC 13818-1, 2.4.4).
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/psi.h"

namespace board {

/// What the PMT of the played programme says.
struct ProgrammeStreams {
    int programme = 0;
    int videoType = 0;  ///< stream_type of the first video, 0 for none
    int audioType = 0;  ///< stream_type of the audio that is played, 0 for none

    bool operator==(const ProgrammeStreams&) const = default;
};

class StreamTap {
 public:
    using OnSection = common::SectionGatherer::OnSection;

    /// Joins the group. Throws std::system_error where that fails.
    /// \param programme  number, 0 for the first that the PAT has
    /// \param audioPid   PID of the audio to play, 0 for the first
    /// \param onSection  called on the tap's thread with each valid section of the PAT and of the programme's PMT
    /// \param onStreams  called on the tap's thread when the streams of the PMT change
    StreamTap(const std::string& group, int port, int programme, int audioPid, OnSection onSection,
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

    /// A section in progress on one PID.
    struct Partial {
        common::SectionGatherer sections;
        int continuity = -1;  ///< of its last packet; -1 before the first
    };

    void Run();
    void Take(Bytes datagram);
    void TakePacket(Bytes packet);
    void TakeSection(int pid, std::span<std::uint8_t> section);

    const OnSection mOnSection;
    const std::function<void(const ProgrammeStreams&)> mOnStreams;
    int mSocket = -1;
    int mStop[2] = {-1, -1};
    mutable std::mutex mMutex;
    std::uint64_t mBytesReceived = 0;
    int mProgramme;
    int mAudioPid;
    int mPmtPid = 0;                  ///< 0 before the first PAT
    std::map<int, Partial> mPartial;  ///< by PID
    ProgrammeStreams mStreams;
    std::vector<std::uint8_t> mOpen;  ///< a packet that began in the previous datagram
    std::deque<Piece> mLast;
    std::thread mThread;
};

}  // namespace board
