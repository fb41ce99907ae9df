// The tuner: its band, and delivery of the tuned stream in buffers of the host's size.
#include "tuner.h"

#include <bitstream/mpeg/ts.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

namespace board {

namespace {

using Clock = std::chrono::steady_clock;
using common::kTsPacketSize;

constexpr int kWeak = 2;                  ///< strength up to which packets are damaged
constexpr std::size_t kDamagedEach = 20;  ///< packets

constexpr double kClockRate = 27e6;                                   // ticks a second of the system clock
constexpr std::uint64_t kClockSpan = (std::uint64_t{1} << 33) * 300;  // ticks after which a reference wraps

/// A packet of PID 0x1FFF (ISO/IEC 13818-1, 2.4.3.3).
const auto kNullPacket = [] {
    std::array<std::uint8_t, kTsPacketSize> packet;
    ts_pad(packet.data());
    return packet;
}();

/// Damages one byte in every twentieth packet, sometimes the sync byte.
void Damage(std::span<std::uint8_t> buffer) {
    std::size_t offset = 0;
    for (std::size_t at = 0; at < buffer.size(); at += kDamagedEach * kTsPacketSize) {
        buffer[at + offset] ^= 0x55;
        offset = (offset + 37) % kTsPacketSize;
    }
}

}  // namespace

double RateByClock(Bytes stream) {
    std::optional<std::uint16_t> pid;
    std::uint64_t ticks = 0;  // from the first reference to the last
    std::uint64_t previous = 0;
    std::size_t first = 0;
    std::size_t last = 0;
    for (std::size_t at = 0; at + kTsPacketSize <= stream.size(); at += kTsPacketSize) {
        const std::uint8_t* const packet = &stream[at];
        if (!ts_validate(packet) || (pid && ts_get_pid(packet) != *pid)) continue;
        if (!ts_has_adaptation(packet) || ts_get_adaptation(packet) < 7 || !tsaf_has_pcr(packet)) continue;
        const std::uint64_t clock = tsaf_get_pcr(packet) * 300 + tsaf_get_pcrext(packet);
        if (pid) {
            ticks += (clock + kClockSpan - previous) % kClockSpan;
        } else {
            first = at;
        }
        pid = ts_get_pid(packet);
        previous = clock;
        last = at;
    }
    if (ticks == 0) return kChannelRate;
    return static_cast<double>(last - first) * 8 * kClockRate / static_cast<double>(ticks);
}

Tuner::Station Tuner::Load(const Channel& channel) {
    if (channel.stream.empty()) return {channel.strength, nullptr, kNullPacket, kChannelRate};
    const auto file = common::MapFile(channel.stream);
    const auto check = [&channel](bool good, const char* problem) {
        if (!good) throw std::runtime_error(fmt::format("{}: {}", channel.stream, problem));
    };
    check(file != nullptr, "can't be opened");
    check(file->size() >= kTsPacketSize, "shorter than a packet");
    check(file->front() == common::kSync, "doesn't begin with a packet");
    const Bytes stream = file->first(file->size() / kTsPacketSize * kTsPacketSize);
    return {channel.strength, file, stream, RateByClock(stream)};
}

Tuner::Tuner(std::map<int, Channel> band, StatusBlock& block, std::function<void(std::span<std::uint8_t>)> feed)
    : mBlock(block), mFeed(std::move(feed)) {
    for (const auto& [number, channel] : band) mBand[number] = Load(channel);
    mThread = std::thread([this] { Run(); });
}

Tuner::~Tuner() {
    Change([this] { mStop = true; });
    mThread.join();
}

void Tuner::Change(const std::function<void()>& change) {
    const std::lock_guard lock(mMutex);
    change();
    ++mGeneration;
    mChanged.notify_all();
}

void Tuner::TuneTo(int channel) {
    Tuning tuning{channel, 0};
    Change([&] {
        mChannel = channel;
        const auto station = mBand.find(channel);
        if (station != mBand.end()) tuning.strength = station->second.strength;
        mBlock.TunerStrength(tuning.strength);
    });
    mTunings.Add(tuning);
}

void Tuner::Put(int number, const Channel& channel) {
    const Station station = Load(channel);
    Change([&] {
        mBand[number] = station;
        if (number == mChannel) mBlock.TunerStrength(channel.strength);
    });
}

void Tuner::SetSpeed(double speed) {
    Change([this, speed] { mSpeed = speed; });
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
        next += std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(kBufferSize) * 8 / station.rate / speed));
        mChanged.wait_until(lock, next, [&] { return mStop || generation != mGeneration; });
    }
}

/// Delivers the next buffer of a channel; a stream restarts at its end.
void Tuner::Deliver(const Station& station, std::span<std::uint8_t> buffer) {
    for (std::size_t filled = 0; filled < buffer.size();) {
        if (mPosition >= station.stream.size()) mPosition = 0;
        const std::size_t size = std::min(buffer.size() - filled, station.stream.size() - mPosition);
        std::memcpy(&buffer[filled], &station.stream[mPosition], size);
        filled += size;
        mPosition += size;
    }
    if (station.strength <= kWeak) Damage(buffer);
    mFeed(buffer);
}

}  // namespace board
