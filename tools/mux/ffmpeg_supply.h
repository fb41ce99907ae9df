/// Pictures and sound from the test sources of ffmpeg, coded by ffmpeg as MPEG-2 video and AC-3.
#pragma once

#include <string>
#include <vector>

#include "elementary_stream.h"

namespace mux {

/// \return the ffmpeg command that makes all streams of one programme as files in the working folder
/// \param font  file of a font for the programme's name in the picture; empty: no name
std::vector<std::string> FfmpegCommand(const std::string& ffmpeg, const Programme& programme,
                                       std::uint32_t milliseconds, const std::string& font);

class FfmpegSupply : public StreamSupply {
 public:
    /// Encodes the streams of all programmes, two programmes at a time.
    /// \param ffmpeg  the program, a path or a name on the PATH
    /// \param folder  created for the encoded streams, and removed by the destructor
    /// Throws Error when the folder can't be made or ffmpeg fails, with the last line of its output.
    FfmpegSupply(const std::string& ffmpeg, const std::string& folder, const Description& description,
                 std::uint32_t milliseconds);
    ~FfmpegSupply() override;

    std::unique_ptr<ElementaryStream> OpenVideo(const Programme& programme, std::uint32_t milliseconds) override;

    /// The tones beep every second; the start is skipped so that a beep coincides with the picture's second.
    std::unique_ptr<ElementaryStream> OpenAudio(const Programme& programme, const Audio& audio,
                                                std::uint32_t milliseconds, std::int64_t lead) override;

 private:
    const std::string mFolder;
};

}  // namespace mux
