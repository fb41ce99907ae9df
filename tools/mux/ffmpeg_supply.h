/// Pictures and sound from the test sources of ffmpeg, coded by ffmpeg as MPEG-2 video and AC-3.
#pragma once

#include <string>
#include <vector>

#include "elementary_stream.h"

namespace mux {

/// The words of the ffmpeg command that makes all streams of one programme, in files of the working folder.
/// \param font  file of a font for the programme's name in the picture; empty: no name
std::vector<std::string> FfmpegCommand(const std::string& ffmpeg, const Programme& programme,
                                       std::uint32_t milliseconds, const std::string& font);

class FfmpegSupply : public StreamSupply {
 public:
    /// Codes the streams of all programmes, two programmes at a time.
    /// \param ffmpeg  the program, as a path or to be found on the PATH
    /// \param folder  is made, holds the coded streams, and is removed with the object
    /// Throws Error when the folder can't be made or ffmpeg fails, with the last line that it said.
    FfmpegSupply(const std::string& ffmpeg, const std::string& folder, const Description& description,
                 std::uint32_t milliseconds);
    ~FfmpegSupply() override;

    std::unique_ptr<ElementaryStream> OpenVideo(const Programme& programme, std::uint32_t milliseconds) override;

    /// The tones beep each second; the beginning is left out that makes a beep and the picture's second meet.
    std::unique_ptr<ElementaryStream> OpenAudio(const Programme& programme, const Audio& audio,
                                                std::uint32_t milliseconds, std::int64_t lead) override;

 private:
    const std::string mFolder;
};

}  // namespace mux
