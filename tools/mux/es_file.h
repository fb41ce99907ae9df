/// Elementary streams in files: MPEG-2 video (ISO/IEC 13818-2) and AC-3 (ATSC A/52).
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "elementary_stream.h"

namespace mux {

/// Position of a unit in a stream.
struct UnitPlace {
    std::size_t at = 0;
    std::size_t size = 0;
    bool randomAccess = false;
};

/// The coded pictures of a video stream, each with its preceding headers. Bytes before the first header or picture
/// belong to no unit.
std::vector<UnitPlace> FindPictures(std::span<const std::uint8_t> bytes);

/// The frames of an AC-3 stream at 48 kHz. Throws Error for a malformed or partial frame.
std::vector<UnitPlace> FindAc3Frames(std::span<const std::uint8_t> bytes);

/// A stream from a file of pictures in presentation order, at 30000/1001 per second. \param count  units, at most
/// Throws Error when the file can't be read or holds fewer.
std::unique_ptr<ElementaryStream> OpenVideoFile(const std::string& file, std::size_t count);

/// A stream from a file of AC-3 frames, without the first `skip`.
std::unique_ptr<ElementaryStream> OpenAc3File(const std::string& file, std::size_t skip, std::size_t count);

}  // namespace mux
