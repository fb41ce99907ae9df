// zul-mux: makes a file with an ATSC multiplex from a JSON description.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>

#include "description_json.h"
#include "documents.h"
#include "multiplexer.h"

namespace {

namespace fs = std::filesystem;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct Arguments {
    std::string description;
    std::string output;
    double seconds = 30;
    std::string start;
    bool noAv = false;
    std::string ffmpeg = "ffmpeg";
    bool quiet = false;
    std::uint64_t seed = 1;
};

void Declare(CLI::App& app, Arguments& arguments) {
    app.add_option("description", arguments.description, "JSON file with programmes and guide")
        ->required()
        ->type_name("FILE");
    app.add_option("-o,--output", arguments.output, "transport stream to write, - for standard output")
        ->required()
        ->type_name("FILE");
    app.add_option("-d,--duration", arguments.seconds, "length in seconds")
        ->check(CLI::Range(0.5, 86'400.0))
        ->capture_default_str();
    app.add_option("--start", arguments.start,
                   "broadcast time of the begin, as 2026-03-01T18:00:00Z or now; default: the description's");
    app.add_flag("--no-av", arguments.noAv, "arbitrary bytes instead of pictures and sound; needs no ffmpeg");
    app.add_option("--ffmpeg", arguments.ffmpeg, "program that makes pictures and sound")->capture_default_str();
    app.add_option("--seed", arguments.seed, "of all that is arbitrary")->capture_default_str();
    app.add_flag("-q,--quiet", arguments.quiet, "no summary");
    cli::AddDocuments(app, {{"examples",
                             "  zul-mux hotel.json -d 60 -o hotel.ts\n"
                             "  zul-mux hotel.json --no-av --start now -q -o - >hotel.ts"},
                            {"see also", "zulctl(1), zul-board(1)"}});
    app.footer("Exit codes: 0 done, 1 the stream can't be made, 2 wrong usage.");
}

// Encoded streams are kept next to the output file, or in the temporary folder for standard output.
mux::StreamSupply MakeSupply(const Arguments& arguments, const mux::Description& description,
                             const mux::MuxOptions& options) {
    if (arguments.noAv) return mux::SyntheticSupply(arguments.seed);
    const std::string folder = arguments.output != "-"
                                   ? arguments.output + ".parts"
                                   : fmt::format("{}/zul-mux.{}", fs::temp_directory_path().string(), getpid());
    return mux::FfmpegSupply(arguments.ffmpeg, folder, description, options.milliseconds);
}

void Run(const Arguments& arguments) {
    const mux::Description description = mux::LoadDescription(arguments.description, arguments.start);
    const mux::MuxOptions options{static_cast<std::uint32_t>(arguments.seconds * 1000), arguments.seed};
    const auto supply = MakeSupply(arguments, description, options);
    std::FILE* const file = arguments.output == "-" ? stdout : std::fopen(arguments.output.c_str(), "wb");
    if (file == nullptr) mux::Fail("{}: it can't be written", arguments.output);
    const auto check = [&](bool good) {
        if (!good) mux::Fail("{}: writing failed", arguments.output);
    };
    std::size_t packets = 0;
    try {
        mux::Multiplex(description, options, supply, [&](const mux::Packet& packet) {
            check(std::fwrite(packet.data(), packet.size(), 1, file) == 1);
            ++packets;
        });
        check((file == stdout ? std::fflush(file) : std::fclose(file)) == 0);
    } catch (...) {
        // An incomplete file is removed; a device or a pipe stays.
        std::error_code error;
        if (file != stdout && fs::is_regular_file(arguments.output, error)) fs::remove(arguments.output, error);
        throw;
    }
    if (arguments.quiet) return;
    fmt::print(stderr, "{}: {} packets, {:.3f} s at {} bit/s, {} programmes\n", arguments.output, packets,
               arguments.seconds, description.rate, description.programmes.size());
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Makes an ATSC multiplex of constant rate: programmes, tables and guide from a JSON description.",
                 "zul-mux");
    Arguments arguments;
    Declare(app, arguments);
    if (cli::ServeCompletion(app, argc, argv)) return kDone;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }
    try {
        Run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zul-mux: %s\n", error.what());
        return kFailed;
    }
    return kDone;
}
