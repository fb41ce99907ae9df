/// Sources of video and sound: sequences of access units.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "description.h"

namespace mux {

/// stream_id of the PES packets of video, and of AC-3.
inline constexpr std::uint8_t kStreamIdVideo = 0xE0;
inline constexpr std::uint8_t kStreamIdPrivate1 = 0xBD;

/// \return length of an access unit, 90 kHz: a picture at 30000/1001 a second, or an AC-3 frame at 48 kHz
constexpr std::int64_t UnitTime(std::uint8_t streamId) { return streamId == kStreamIdVideo ? 3003 : 2880; }

/// One coded picture or frame of sound.
struct AccessUnit {
    std::size_t size = 0;       ///< bytes
    bool randomAccess = false;  ///< decoding can begin here
    std::size_t at = 0;         ///< position in its file
};

struct ElementaryStream {
    std::vector<AccessUnit> units{};
    /// Reads a unit; to be called with each in order. REQUIRES: `bytes` is as long as the unit.
    std::function<void(const AccessUnit& unit, std::span<std::uint8_t> bytes)> read{};
};

/// What is wanted of a stream.
struct StreamPlan {
    std::uint8_t streamId = 0;
    std::uint16_t pid = 0;
    unsigned bitRate = 0;   ///< bits a second
    std::size_t units = 0;  ///< number of access units
    std::int64_t lead = 0;  ///< of sound: 90 kHz units by which the picture of the same moment is presented later
};

/// Opens the streams of a description.
using StreamSupply = std::function<ElementaryStream(const StreamPlan& plan)>;

/// Units of equal size and arbitrary content at the bit rates of the description: fast to make, not decodable.
StreamSupply SyntheticSupply(std::uint64_t seed);

/// Test sources of ffmpeg, coded by ffmpeg as MPEG-2 video and AC-3. The tones beep every second; the start of the
/// sound is skipped so that a beep coincides with the picture's second.
/// \param ffmpeg  the program, a path or a name on the PATH
/// \param folder  created for the encoded streams, and removed with the last copy of the supply
/// Throws std::exception when the folder can't be made or ffmpeg fails, with the last line of its output.
StreamSupply FfmpegSupply(const std::string& ffmpeg, const std::string& folder, const Description& description,
                          std::uint32_t milliseconds);

}  // namespace mux
