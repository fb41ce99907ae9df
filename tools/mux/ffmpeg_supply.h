/// Pictures and sound from the test sources of ffmpeg, coded by ffmpeg as MPEG-2 video and AC-3.
#pragma once

#include <string>

#include "description.h"
#include "elementary_stream.h"

namespace mux {

/// Encodes the streams of all programmes. The tones beep every second; the start of the sound is skipped so that a beep
/// coincides with the picture's second.
/// \param ffmpeg  the program, a path or a name on the PATH
/// \param folder  created for the encoded streams, and removed with the last copy of the supply
/// Throws std::exception when the folder can't be made or ffmpeg fails, with the last line of its output.
StreamSupply FfmpegSupply(const std::string& ffmpeg, const std::string& folder, const Description& description,
                          std::uint32_t milliseconds);

}  // namespace mux
