// zul-mux: makes a file with an ATSC multiplex from a JSON description.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "completion.h"
#include "description_json.h"
#include "manual.h"
#include "multiplexer.h"

namespace {

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
    cli::AddDocuments(app, {{{"examples",
                              "  zul-mux hotel.json -d 60 -o hotel.ts\n"
                              "  zul-mux hotel.json --no-av --start now -q -o - >hotel.ts"},
                             {"see also", "zulctl(1), zul-board(1)"}}});
    app.footer("Exit codes: 0 done, 1 the stream can't be made, 2 wrong usage.");
}

// The output file. An incomplete one is removed unless it is a device or a pipe.
class Output {
 public:
    explicit Output(const std::string& name) : mName(name) {
        mFile = mName == "-" ? stdout : std::fopen(mName.c_str(), "wb");
        if (mFile == nullptr) mux::Fail("{}: it can't be written", mName);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() {
        if (mFile != nullptr && mFile != stdout) std::fclose(mFile);
        std::error_code error;
        if (!mComplete && std::filesystem::is_regular_file(mName, error)) std::filesystem::remove(mName, error);
    }

    void Write(const mux::Packet& packet) {
        if (std::fwrite(packet.data(), packet.size(), 1, mFile) != 1) mux::Fail("{}: writing failed", mName);
        ++mPackets;
    }

    void Close() {
        const int result = mFile == stdout ? std::fflush(mFile) : std::fclose(mFile);
        mFile = nullptr;
        if (result != 0) mux::Fail("{}: writing failed", mName);
        mComplete = true;
    }

    std::size_t Packets() const { return mPackets; }

 private:
    const std::string mName;
    std::FILE* mFile = nullptr;
    bool mComplete = false;
    std::size_t mPackets = 0;
};

// Encoded streams are kept next to the output file, or in the temporary folder for standard output.
mux::StreamSupply MakeSupply(const Arguments& arguments, const mux::Description& description,
                             const mux::MuxOptions& options) {
    if (arguments.noAv) return mux::SyntheticSupply(arguments.seed);
    const std::string folder = arguments.output != "-" ? arguments.output + ".parts"
                                                       : std::filesystem::temp_directory_path().string() + "/zul-mux." +
                                                             std::to_string(getpid());
    return mux::FfmpegSupply(arguments.ffmpeg, folder, description, options.milliseconds);
}

void Run(const Arguments& arguments) {
    const mux::Description description = mux::LoadDescription(arguments.description, arguments.start);
    mux::MuxOptions options;
    options.milliseconds = static_cast<std::uint32_t>(arguments.seconds * 1000);
    options.seed = arguments.seed;
    const auto supply = MakeSupply(arguments, description, options);
    Output output(arguments.output);
    mux::Multiplex(description, options, supply, [&](const mux::Packet& packet) { output.Write(packet); });
    output.Close();
    if (arguments.quiet) return;
    std::fprintf(stderr, "%s: %zu packets, %.3f s at %u bit/s, %zu programmes\n", arguments.output.c_str(),
                 output.Packets(), arguments.seconds, description.rate, description.programmes.size());
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
