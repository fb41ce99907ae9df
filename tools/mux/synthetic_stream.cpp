// Elementary streams of arbitrary bytes.
#include <random>

#include "elementary_stream.h"

namespace mux {
namespace {

// A group of pictures; decoding can begin at the first.
constexpr std::size_t kGroup = 15;

class SyntheticStream : public ElementaryStream {
 public:
    SyntheticStream(std::uint8_t streamId, unsigned bitRate, std::int64_t unitTime, std::uint32_t milliseconds,
                    std::uint64_t seed)
        : mStreamId(streamId), mRandom(seed) {
        const auto count = static_cast<std::int64_t>(milliseconds) * 90 / unitTime;
        const auto size = static_cast<std::size_t>(bitRate * unitTime / 90'000 / 8);
        for (std::int64_t i = 0; i < count; ++i) {
            const bool access = streamId != kStreamIdVideo || static_cast<std::size_t>(i) % kGroup == 0;
            mUnits.push_back({size, i * unitTime, access});
        }
    }

    std::uint8_t StreamId() const override { return mStreamId; }
    const std::vector<AccessUnit>& Units() const override { return mUnits; }

    // No bytes that could form a start code or the sync word of AC-3.
    void Read(std::size_t, std::span<std::uint8_t> bytes) override {
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(mRandom() | 0x80);
    }

 private:
    const std::uint8_t mStreamId;
    std::minstd_rand mRandom;
    std::vector<AccessUnit> mUnits;
};

}  // namespace

std::unique_ptr<ElementaryStream> SyntheticSupply::OpenVideo(const Programme& programme, std::uint32_t milliseconds) {
    return std::make_unique<SyntheticStream>(kStreamIdVideo, programme.video->bitRate, kPictureTime, milliseconds,
                                             mSeed + programme.video->pid);
}

std::unique_ptr<ElementaryStream> SyntheticSupply::OpenAudio(const Programme&, const Audio& audio,
                                                             std::uint32_t milliseconds, std::int64_t) {
    return std::make_unique<SyntheticStream>(kStreamIdPrivate1, audio.bitRate, kAc3FrameTime, milliseconds,
                                             mSeed + audio.pid);
}

}  // namespace mux
