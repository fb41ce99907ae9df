// The picture of a screen: one run of ffmpeg that overlays the layers.
#include "screen.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "common/process.h"

namespace board {

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 768;

/// A layer in pixels; sides are even and at least 2, as scalers require.
struct Box {
    explicit Box(const sKBL_LAYER_INFO& place)
        : width(std::max(2, kWidth * place.width / 100 & ~1)),
          height(std::max(2, kHeight * place.height / 100 & ~1)),
          x((kWidth * place.centerX - kWidth * place.width / 2) / 100),
          y((kHeight * place.centerY - kHeight * place.height / 2) / 100) {}
    int width, height, x, y;
};

/// A panel with a bar on its top that shows the layer's item, and lines of text below.
/// \param piece  path of the text files, without suffix
std::string Panel(const Layer& layer, const char* colour, const std::string& piece, const std::string& text) {
    std::ofstream(piece + ".item") << layer.item;
    std::ofstream(piece + ".text") << text;
    const Box box(layer.place);
    const int size = std::clamp(box.width / 30, 10, 36);
    // The texts are read from files, so that no character of them is syntax.
    const auto write = [&](const char* end, int y) {
        return fmt::format(
            "drawtext=expansion=none:textfile={}.{}:fontcolor=white:fontsize={}:x={}:y={}:line_spacing={}", piece, end,
            size, size, y, size / 2);
    };
    return fmt::format("color=c={}:s={}x{},drawbox=h={}:c=black@0.4:t=fill,{},{}", colour, box.width, box.height,
                       2 * size, write("item", size / 2), write("text", 3 * size));
}

bool Run(const std::vector<std::string>& words) try {
    return common::Process(words).Wait();
} catch (const std::system_error&) {
    return false;
}

}  // namespace

bool DrawScreen(const Screen& screen, const std::string& file, const std::string& folder) {
    std::filesystem::create_directories(folder);
    std::vector<std::string> words = {"ffmpeg", "-nostdin", "-v", "fatal", "-y"};
    std::string graph = fmt::format("color=c=black:s={}x{}[g0]", kWidth, kHeight);
    int layers = 0;
    // Adds a layer; `source` are filters that give a picture of its size.
    const auto lay = [&](const Layer& layer, const std::string& source) {
        const Box box(layer.place);
        graph += fmt::format(";{0},format=rgba,colorchannelmixer=aa={1:.3f}[l{2}];[g{2}][l{2}]overlay={3}:{4}[g{5}]",
                             source, std::min(layer.place.alpha, 255) / 255.0, layers, box.x, box.y, layers + 1);
        ++layers;
    };
    if (screen.video.IsVisible() && screen.programme != 0 && !screen.videoBytes.empty()) {
        const std::string stream = folder + "/video.ts";
        std::ofstream(stream, std::ios::binary)
            .write(reinterpret_cast<const char*>(screen.videoBytes.data()),
                   static_cast<std::streamsize>(screen.videoBytes.size()));
        words.insert(words.end(), {"-i", stream});
        const Box box(screen.video.place);
        // The pictures of the first second may depend on earlier ones.
        lay(screen.video, fmt::format("[0:p:{}:v]trim=start=1,setpts=PTS-STARTPTS,scale={}:{}", screen.programme,
                                      box.width, box.height));
    }
    if (screen.browser.IsVisible()) {
        std::string text;
        for (const std::string& line : screen.browserLines) text += line + "\n";
        lay(screen.browser, Panel(screen.browser, "0x204060", folder + "/page", text));
    }
    if (screen.picture.IsVisible()) {
        lay(screen.picture, Panel(screen.picture, "0x406020", folder + "/picture", ""));
    }
    words.insert(words.end(), {"-filter_complex", graph, "-map", fmt::format("[g{}]", layers), "-frames:v", "1", file});
    return Run(words);
}

}  // namespace board
