/// The board's tuner: a band of channels, each a transport-stream file with a signal strength, and the thread that
/// delivers the tuned one as the host does.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "common/mapped_file.h"
#include "common/ts_packet.h"
#include "journal.h"
#include "status_block.h"

namespace board {

/// The content of one channel.
struct Channel {
    std::string stream;  ///< file; empty: null packets only
    int strength = 5;    ///< 0 to 5; nothing is delivered at 0, and 1 and 2 damage the packets
};

/// One order to the tuner.
struct Tuning {
    int channel = 0;  ///< 0: stopped
    int strength = 0;
};

/// Bits per second of an 8-VSB channel: the rate of a stream without a clock.
inline constexpr double kChannelRate = 19'392'658;

/// \return bits per second of a transport stream, by the clock references of the first PID that has any (ISO/IEC
/// 13818-1, 2.4.2.2); kChannelRate with fewer than two
double RateByClock(Bytes stream);

class Tuner {
 public:
    /// Bytes that the host delivers at a time: 174 packets.
    static constexpr std::size_t kBufferSize = 174 * common::kTsPacketSize;

    /// \param band   by channel number; a missing channel has no signal
    /// \param block  where the strength is reported
    /// \param feed   called on the tuner's thread with whole packets
    /// Throws std::runtime_error where a file can't be read or isn't a transport stream of 188-byte packets.
    Tuner(std::map<int, Channel> band, StatusBlock& block, std::function<void(std::span<std::uint8_t>)> feed);
    ~Tuner();
    Tuner(const Tuner&) = delete;
    Tuner& operator=(const Tuner&) = delete;

    Journal<Tuning>& Tunings() { return mTunings; }

    void TuneTo(int channel);
    void Stop() { TuneTo(0); }

    /// Replaces a channel of the band, with immediate effect when it is tuned. Throws as the constructor.
    void Put(int number, const Channel& channel);

    /// Sets the speed of the streams: 1 real time, 0 as fast as the module accepts them.
    void SetSpeed(double speed);

    /// \return bytes delivered since the start
    std::uint64_t BytesFed() const;

 private:
    struct Station {
        int strength = 0;
        std::shared_ptr<const Bytes> file{};
        Bytes stream{};  ///< its whole packets, or a null packet
        double rate = 0;
    };

    static Station Load(const Channel& channel);
    void Change(const std::function<void()>& change);
    void Run();
    void Deliver(const Station& station, std::span<std::uint8_t> buffer);

    StatusBlock& mBlock;
    const std::function<void(std::span<std::uint8_t>)> mFeed;
    Journal<Tuning> mTunings;
    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    std::map<int, Station> mBand;
    int mChannel = 0;
    unsigned mGeneration = 0;  ///< incremented when the thread has to start over
    double mSpeed = 1;
    bool mStop = false;
    std::uint64_t mBytesFed = 0;
    std::size_t mPosition = 0;  ///< of the thread, in the tuned stream
    std::thread mThread;
};

}  // namespace board
