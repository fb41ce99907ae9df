// Pictures and sound by ffmpeg, which runs in the folder of its files.
#include "ffmpeg_supply.h"

#include <filesystem>
#include <fstream>

#include "common/process.h"
#include "error.h"
#include "es_file.h"

namespace mux {
namespace {

namespace fs = std::filesystem;

// Programmes that are encoded at a time.
constexpr std::size_t kAtOnce = 2;

// Milliseconds of sound encoded beyond the stream, as its start is skipped up to a beep.
constexpr std::uint32_t kSpareSound = 1'100;

std::string FileOf(std::uint16_t pid, const char* kind) { return std::to_string(pid) + kind; }

std::string FindFont() {
    for (const char* font :
         {"/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf", "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
          "/usr/share/fonts/truetype/freefont/FreeSansBold.ttf",
          "/usr/share/fonts/truetype/liberation/LiberationSans-Bold.ttf"}) {
        if (fs::exists(font)) return font;
    }
    return "";
}

std::string Picture(const Programme& programme, const std::string& font) {
    const Video& video = *programme.video;
    std::string source = video.pattern + "=size=" + std::to_string(video.width) + "x" + std::to_string(video.height) +
                         ":rate=30000/1001";
    source +=
        ",hue=h=" + std::to_string(programme.number * 47 % 360);  // so that programmes with the same pattern differ
    if (font.empty()) return source;
    // The name is read from a file, so that no character of it is syntax.
    const std::string box =
        ":fontfile=" + font + ":fontcolor=white:box=1:boxcolor=black@0.6:boxborderw=8:x=(w-text_w)/2";
    source += ",drawtext=expansion=none:textfile=" + FileOf(programme.number, ".txt") + box + ":fontsize=h/6:y=h/8";
    return source + ",drawtext=text='%{pts\\:hms}'" + box + ":fontsize=h/12:y=h*7/8-text_h";
}

std::string LastLine(const std::string& file) {
    std::ifstream stream(file);
    std::string last;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty()) last = line;
    }
    return last;
}

// One run of ffmpeg.
class Coding {
 public:
    Coding(const std::vector<std::string>& command, const std::string& folder, const std::string& log)
        : mLog(folder + "/" + log), mProcess(command, folder, log) {}

    void Finish() {
        if (!mProcess.Wait()) throw Error("ffmpeg failed: " + LastLine(mLog));
    }

 private:
    const std::string mLog;
    common::Process mProcess;
};

}  // namespace

std::vector<std::string> FfmpegCommand(const std::string& ffmpeg, const Programme& programme,
                                       std::uint32_t milliseconds, const std::string& font) {
    std::vector<std::string> command{ffmpeg, "-nostdin", "-hide_banner", "-v", "error", "-y"};
    const auto add = [&](std::initializer_list<std::string> words) { command.insert(command.end(), words); };
    if (programme.video) add({"-f", "lavfi", "-i", Picture(programme, font)});
    for (const Audio& audio : programme.audio) {
        add({"-f", "lavfi", "-i", "sine=sample_rate=48000:beep_factor=2:frequency=" + std::to_string(audio.tone)});
    }
    std::size_t input = 0;
    if (programme.video) {
        const std::string rate = std::to_string(programme.video->bitRate);
        const auto pictures = static_cast<std::int64_t>(milliseconds) * 90 / kPictureTime;
        // Pictures in presentation order, at a rate that is constant over half a second, as they are sent.
        add({"-map", "0:v", "-frames:v", std::to_string(pictures), "-c:v", "mpeg2video", "-pix_fmt", "yuv420p", "-bf",
             "0", "-flags", "+low_delay", "-g", "15", "-aspect", "4:3"});
        add({"-b:v", rate, "-minrate", rate, "-maxrate", rate, "-bufsize", std::to_string(programme.video->bitRate / 2),
             "-threads", "1"});
        add({"-f", "mpeg2video", FileOf(programme.video->pid, ".m2v")});
        ++input;
    }
    for (const Audio& audio : programme.audio) {
        add({"-map", std::to_string(input++) + ":a", "-t", std::to_string(milliseconds + kSpareSound) + "ms", "-c:a",
             "ac3", "-ac", "2"});
        add({"-b:a", std::to_string(audio.bitRate), "-f", "ac3", FileOf(audio.pid, ".ac3")});
    }
    return command;
}

FfmpegSupply::FfmpegSupply(const std::string& ffmpeg, const std::string& folder, const Description& description,
                           std::uint32_t milliseconds)
    : mFolder(folder) {
    std::error_code error;
    if (!fs::create_directory(mFolder, error)) throw Error(mFolder + ": the folder can't be made, or exists");
    const std::string font = FindFont();
    try {
        std::vector<std::unique_ptr<Coding>> running;
        for (const Programme& programme : description.programmes) {
            if (!programme.video && programme.audio.empty()) continue;
            std::ofstream(mFolder + "/" + FileOf(programme.number, ".txt")) << programme.name;
            if (running.size() == kAtOnce) {
                running.front()->Finish();
                running.erase(running.begin());
            }
            running.push_back(std::make_unique<Coding>(FfmpegCommand(ffmpeg, programme, milliseconds, font), mFolder,
                                                       FileOf(programme.number, ".log")));
        }
        for (const auto& coding : running) coding->Finish();
    } catch (const std::exception&) {
        fs::remove_all(mFolder, error);
        throw;
    }
}

FfmpegSupply::~FfmpegSupply() {
    std::error_code error;
    fs::remove_all(mFolder, error);
}

std::unique_ptr<ElementaryStream> FfmpegSupply::OpenVideo(const Programme& programme, std::uint32_t milliseconds) {
    const auto pictures = static_cast<std::size_t>(static_cast<std::int64_t>(milliseconds) * 90 / kPictureTime);
    return OpenVideoFile(mFolder + "/" + FileOf(programme.video->pid, ".m2v"), pictures);
}

std::unique_ptr<ElementaryStream> FfmpegSupply::OpenAudio(const Programme&, const Audio& audio,
                                                          std::uint32_t milliseconds, std::int64_t lead) {
    constexpr std::int64_t kSecond = 90'000;
    const std::int64_t skipped = (kSecond - lead % kSecond) % kSecond;
    const auto skip = static_cast<std::size_t>((skipped + kAc3FrameTime / 2) / kAc3FrameTime);
    const auto frames = static_cast<std::size_t>(static_cast<std::int64_t>(milliseconds) * 90 / kAc3FrameTime);
    return OpenAc3File(mFolder + "/" + FileOf(audio.pid, ".ac3"), skip, frames);
}

}  // namespace mux
