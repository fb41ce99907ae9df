// Pictures and sound by ffmpeg, which runs in the folder of its files.
#include <bitstream/atsc/a52.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>

#include "common/mapped_file.h"
#include "common/process.h"
#include "elementary_stream.h"
#include "section.h"

namespace mux {
namespace {

namespace fs = std::filesystem;

// Programmes that are encoded at a time.
constexpr std::size_t kAtOnce = 2;

// Milliseconds of sound encoded beyond the stream, as its start is skipped up to a beep.
constexpr std::uint32_t kSpareSound = 1'100;

// Start codes of ISO/IEC 13818-2, 6.2.1.
constexpr std::uint8_t kPicture = 0x00;
constexpr std::uint8_t kSequenceHeader = 0xB3;
constexpr std::uint8_t kGroupHeader = 0xB8;

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
    // The hue tells programmes with the same pattern apart.
    const std::string source = fmt::format("{}=size={}x{}:rate=30000/1001,hue=h={}", video.pattern, video.width,
                                           video.height, programme.number * 47 % 360);
    if (font.empty()) return source;
    // The name is read from a file, so that no character of it is syntax.
    const std::string box =
        ":fontfile=" + font + ":fontcolor=white:box=1:boxcolor=black@0.6:boxborderw=8:x=(w-text_w)/2";
    return fmt::format(
        "{},drawtext=expansion=none:textfile={}.txt{}:fontsize=h/6:y=h/8,drawtext=text='%{{pts\\:hms}}'{}"
        ":fontsize=h/12:y=h*7/8-text_h",
        source, programme.number, box, box);
}

// The ffmpeg command that makes all streams of one programme as files in the working folder.
std::vector<std::string> Command(const std::string& ffmpeg, const Programme& programme, std::uint32_t milliseconds,
                                 const std::string& font) {
    std::vector<std::string> command{ffmpeg, "-nostdin", "-hide_banner", "-v", "error", "-y"};
    const auto add = [&](std::initializer_list<std::string> words) { command.insert(command.end(), words); };
    if (programme.video) add({"-f", "lavfi", "-i", Picture(programme, font)});
    for (const Audio& audio : programme.audio) {
        add({"-f", "lavfi", "-i", fmt::format("sine=sample_rate=48000:beep_factor=2:frequency={}", audio.tone)});
    }
    std::size_t input = 0;
    if (programme.video) {
        const std::string rate = std::to_string(programme.video->bitRate);
        const auto pictures = static_cast<std::int64_t>(milliseconds) * 90 / UnitTime(kStreamIdVideo);
        // Pictures in presentation order, at a rate that is constant over half a second, as they are sent.
        add({"-map", "0:v", "-frames:v", std::to_string(pictures), "-c:v", "mpeg2video", "-pix_fmt", "yuv420p", "-bf",
             "0", "-flags", "+low_delay", "-g", "15", "-aspect", "4:3"});
        add({"-b:v", rate, "-minrate", rate, "-maxrate", rate, "-bufsize", std::to_string(programme.video->bitRate / 2),
             "-threads", "1"});
        add({"-f", "mpeg2video", fmt::format("{}.es", programme.video->pid)});
        ++input;
    }
    for (const Audio& audio : programme.audio) {
        add({"-map", std::to_string(input++) + ":a", "-t", std::to_string(milliseconds + kSpareSound) + "ms", "-c:a",
             "ac3", "-ac", "2"});
        add({"-b:a", std::to_string(audio.bitRate), "-f", "ac3", fmt::format("{}.es", audio.pid)});
    }
    return command;
}

// The coded pictures of a video stream, each with its preceding headers. Bytes before the first header or picture
// belong to no unit.
std::vector<AccessUnit> FindPictures(std::span<const std::uint8_t> bytes) {
    static constexpr std::uint8_t kPrefix[] = {0, 0, 1};
    std::vector<AccessUnit> units;
    bool whole = true;  // the current unit has its picture
    const auto next = [&](auto from) { return std::search(from, bytes.end(), std::begin(kPrefix), std::end(kPrefix)); };
    for (auto found = next(bytes.begin()); bytes.end() - found > 3; found = next(found + 3)) {
        const std::uint8_t code = found[3];
        if (code != kSequenceHeader && code != kGroupHeader && code != kPicture) continue;
        const auto at = static_cast<std::size_t>(found - bytes.begin());
        if (whole) {
            if (!units.empty()) units.back().size = at - units.back().at;
            units.push_back({.at = at});
        }
        if (code == kSequenceHeader) units.back().randomAccess = true;
        whole = code == kPicture;
    }
    if (!units.empty()) units.back().size = bytes.size() - units.back().at;
    return units;
}

// The frames of an AC-3 stream at 48 kHz, which are equally long.
std::vector<AccessUnit> FindAc3Frames(std::span<const std::uint8_t> bytes) {
    const std::size_t size = a52_get_frame_size(a52_get_fscod(bytes.data()), a52_get_frmsizecod(bytes.data()));
    std::vector<AccessUnit> units;
    for (std::size_t at = 0; size > 0 && at + size <= bytes.size(); at += size) units.push_back({size, true, at});
    return units;
}

ElementaryStream OpenFile(const std::string& folder, const StreamPlan& plan) {
    const auto file = common::MapFile(fmt::format("{}/{}.es", folder, plan.pid));
    if (!file || file->size() < A52_SYNCINFO_SIZE) Fail("ffmpeg made no stream for PID {}", plan.pid);
    std::size_t skip = 0;
    ElementaryStream stream;
    if (plan.streamId == kStreamIdVideo) {
        stream.units = FindPictures(*file);
    } else {
        stream.units = FindAc3Frames(*file);
        constexpr std::int64_t kSecond = 90'000;
        const std::int64_t frame = UnitTime(plan.streamId);
        skip = static_cast<std::size_t>(((kSecond - plan.lead % kSecond) % kSecond + frame / 2) / frame);
    }
    if (stream.units.size() < skip + plan.units)
        Fail("ffmpeg made {} units for PID {}, {} are needed", stream.units.size(), plan.pid, skip + plan.units);
    stream.units.erase(stream.units.begin(), stream.units.begin() + static_cast<std::ptrdiff_t>(skip));
    stream.units.resize(plan.units);
    stream.read = [file](const AccessUnit& unit, std::span<std::uint8_t> bytes) {
        const auto source = file->subspan(unit.at, unit.size);
        std::copy(source.begin(), source.end(), bytes.begin());
    };
    return stream;
}

// One run of ffmpeg.
struct Coding {
    Coding(const std::vector<std::string>& command, const std::string& folder, const std::string& logName)
        : log(folder + "/" + logName), process(command, folder, logName) {}

    void Finish() {
        if (process.Wait()) return;
        std::ifstream stream(log);
        std::string last;
        for (std::string line; std::getline(stream, line);) {
            if (!line.empty()) last = line;
        }
        Fail("ffmpeg failed: {}", last);
    }

    const std::string log;
    common::Process process;
};

// Makes a folder that exists as long as a copy of the pointer to its name.
std::shared_ptr<const std::string> MakeFolder(const std::string& name) {
    std::error_code error;
    if (!fs::create_directory(name, error)) Fail("{}: the folder can't be made, or exists", name);
    return {new std::string(name), [](const std::string* path) {
                std::error_code ignored;
                fs::remove_all(*path, ignored);
                delete path;
            }};
}

}  // namespace

StreamSupply FfmpegSupply(const std::string& ffmpeg, const std::string& folder, const Description& description,
                          std::uint32_t milliseconds) {
    const auto files = MakeFolder(folder);
    const std::string font = FindFont();
    std::deque<Coding> running;
    const auto finishOne = [&running] {
        running.front().Finish();
        running.pop_front();
    };
    for (const Programme& programme : description.programmes) {
        if (!programme.video && programme.audio.empty()) continue;
        std::ofstream(fmt::format("{}/{}.txt", folder, programme.number)) << programme.name;
        if (running.size() == kAtOnce) finishOne();
        running.emplace_back(Command(ffmpeg, programme, milliseconds, font), folder,
                             fmt::format("{}.log", programme.number));
    }
    while (!running.empty()) finishOne();
    return [files](const StreamPlan& plan) { return OpenFile(*files, plan); };
}

}  // namespace mux
