/// Elementary streams in files: MPEG-2 video (ISO/IEC 13818-2) and AC-3 (ATSC A/52).
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "elementary_stream.h"

namespace mux {

/// Where a unit of a stream lies in its bytes.
struct UnitPlace {
    std::size_t at = 0;
    std::size_t size = 0;
    bool randomAccess = false;
};

/// The coded pictures of a video stream, each with the headers in front of it. Bytes before the first header or picture
/// belong to no unit.
std::vector<UnitPlace> FindPictures(std::span<const std::uint8_t> bytes);

/// The frames of an AC-3 stream at 48 kHz. Throws Error where a frame doesn't begin or end as it should.
std::vector<UnitPlace> FindAc3Frames(std::span<const std::uint8_t> bytes);

/// A stream from a file of pictures in the order of presentation, 30000/1001 a second. \param count  units, at most
/// Throws Error when the file can't be read or holds fewer.
std::unique_ptr<ElementaryStream> OpenVideoFile(const std::string& file, std::size_t count);

/// A stream from a file of AC-3 frames, the first `skip` of which are left out.
std::unique_ptr<ElementaryStream> OpenAc3File(const std::string& file, std::size_t skip, std::size_t count);

}  // namespace mux
