// The tuner: its band, and delivery of the tuned stream in buffers of the host's size.
#include "tuner.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace board {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWeak = 2;                  ///< strength up to which packets are damaged
constexpr std::size_t kDamagedEach = 20;  ///< packets

std::shared_ptr<const TransportFile> Load(const Channel& channel) {
    return channel.stream.empty() ? nullptr : std::make_shared<const TransportFile>(channel.stream);
}

/// Packets of PID 0x1FFF (ISO/IEC 13818-1, 2.4.3.3).
void FillWithNulls(std::span<std::uint8_t> buffer) {
    std::fill(buffer.begin(), buffer.end(), std::uint8_t{0xFF});
    constexpr std::uint8_t kHeader[] = {0x47, 0x1F, 0xFF, 0x10};
    for (std::size_t at = 0; at < buffer.size(); at += kPacketSize) std::memcpy(&buffer[at], kHeader, sizeof kHeader);
}

/// Damages one byte in every twentieth packet, sometimes the sync byte.
void Damage(std::span<std::uint8_t> buffer) {
    std::size_t offset = 0;
    for (std::size_t at = 0; at < buffer.size(); at += kDamagedEach * kPacketSize) {
        buffer[at + offset] ^= 0x55;
        offset = (offset + 37) % kPacketSize;
    }
}

}  // namespace

Tuner::Tuner(std::map<int, Channel> band, StatusBlock& block, std::function<void(std::span<std::uint8_t>)> feed)
    : mBlock(block), mFeed(std::move(feed)) {
    for (const auto& [number, channel] : band) mBand[number] = {Load(channel), channel.strength};
    mThread = std::thread([this] { Run(); });
}

Tuner::~Tuner() {
    {
        const std::lock_guard lock(mMutex);
        mStop = true;
    }
    mChanged.notify_all();
    mThread.join();
}

void Tuner::TuneTo(int channel) {
    Tuning tuning{channel, 0};
    {
        const std::lock_guard lock(mMutex);
        mChannel = channel;
        ++mGeneration;
        const auto station = mBand.find(channel);
        if (station != mBand.end()) tuning.strength = station->second.strength;
        mBlock.TunerStrength(tuning.strength);
    }
    mChanged.notify_all();
    mTunings.Add(tuning);
}

void Tuner::Put(int number, const Channel& channel) {
    Station station{Load(channel), channel.strength};
    const std::lock_guard lock(mMutex);
    mBand[number] = std::move(station);
    ++mGeneration;
    if (number == mChannel) mBlock.TunerStrength(channel.strength);
    mChanged.notify_all();
}

void Tuner::SetSpeed(double speed) {
    const std::lock_guard lock(mMutex);
    mSpeed = speed;
    ++mGeneration;
    mChanged.notify_all();
}

std::uint64_t Tuner::BytesFed() const {
    const std::lock_guard lock(mMutex);
    return mBytesFed;
}

void Tuner::Run() {
    std::vector<std::uint8_t> buffer(kBufferSize);
    int channel = 0;
    unsigned generation = 0;
    Clock::time_point next = Clock::now();
    std::unique_lock lock(mMutex);
    while (!mStop) {
        const auto found = mBand.find(mChannel);
        if (found == mBand.end() || found->second.strength == 0) {
            mChanged.wait(lock);
            continue;
        }
        if (channel != mChannel) mPosition = 0;
        if (generation != mGeneration) next = Clock::now();
        channel = mChannel;
        generation = mGeneration;
        const Station station = found->second;
        const double speed = mSpeed;

        lock.unlock();
        Deliver(station, buffer);
        lock.lock();
        mBytesFed += buffer.size();
        if (speed <= 0) continue;
        const double rate = station.stream ? station.stream->Rate() : kChannelRate;
        next += std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(kBufferSize) * 8 / rate / speed));
        mChanged.wait_until(lock, next, [&] { return mStop || generation != mGeneration; });
    }
}

/// Delivers the next buffer of a channel; a stream restarts at its end.
void Tuner::Deliver(const Station& station, std::span<std::uint8_t> buffer) {
    if (!station.stream) {
        FillWithNulls(buffer);
    } else {
        const auto stream = station.stream->Content();
        for (std::size_t filled = 0; filled < buffer.size();) {
            if (mPosition >= stream.size()) mPosition = 0;
            const std::size_t size = std::min(buffer.size() - filled, stream.size() - mPosition);
            std::memcpy(&buffer[filled], &stream[mPosition], size);
            filled += size;
            mPosition += size;
        }
    }
    if (station.strength <= kWeak) Damage(buffer);
    mFeed(buffer);
}

}  // namespace board
