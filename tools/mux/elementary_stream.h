/// Sources of video and sound: sequences of access units.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "description.h"

namespace mux {

/// One coded picture or frame of sound.
struct AccessUnit {
    std::size_t size = 0;       ///< bytes
    std::int64_t time = 0;      ///< decoding and presentation time, 90 kHz, 0 for the first unit
    bool randomAccess = false;  ///< decoding can begin here
};

class ElementaryStream {
 public:
    ElementaryStream() = default;
    ElementaryStream(const ElementaryStream&) = delete;
    ElementaryStream& operator=(const ElementaryStream&) = delete;
    virtual ~ElementaryStream() = default;

    /// stream_id of its PES packets.
    virtual std::uint8_t StreamId() const = 0;

    virtual const std::vector<AccessUnit>& Units() const = 0;

    /// Reads a unit. REQUIRES: `bytes` is as long as the unit.
    virtual void Read(std::size_t unit, std::span<std::uint8_t> bytes) = 0;
};

/// stream_id values.
inline constexpr std::uint8_t kStreamIdVideo = 0xE0;
inline constexpr std::uint8_t kStreamIdPrivate1 = 0xBD;  ///< AC-3

/// 90 kHz units of a picture at 30000/1001 a second, and of an AC-3 frame at 48 kHz.
inline constexpr std::int64_t kPictureTime = 3003;
inline constexpr std::int64_t kAc3FrameTime = 2880;

/// Opens the streams of a description.
class StreamSupply {
 public:
    StreamSupply() = default;
    StreamSupply(const StreamSupply&) = delete;
    StreamSupply& operator=(const StreamSupply&) = delete;
    virtual ~StreamSupply() = default;

    /// Video of `milliseconds` at most, never null.
    virtual std::unique_ptr<ElementaryStream> OpenVideo(const Programme& programme, std::uint32_t milliseconds) = 0;

    /// Sound likewise. \param lead  90 kHz units by which the picture is presented after the sound of the same moment
    virtual std::unique_ptr<ElementaryStream> OpenAudio(const Programme& programme, const Audio& audio,
                                                        std::uint32_t milliseconds, std::int64_t lead) = 0;
};

/// Units of equal size and arbitrary content at the bit rates of the description: fast to make, not decodable.
class SyntheticSupply : public StreamSupply {
 public:
    explicit SyntheticSupply(std::uint64_t seed) : mSeed(seed) {}
    std::unique_ptr<ElementaryStream> OpenVideo(const Programme& programme, std::uint32_t milliseconds) override;
    std::unique_ptr<ElementaryStream> OpenAudio(const Programme& programme, const Audio& audio,
                                                std::uint32_t milliseconds, std::int64_t lead) override;

 private:
    const std::uint64_t mSeed;
};

}  // namespace mux
