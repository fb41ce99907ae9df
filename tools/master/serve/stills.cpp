// Runs ffmpeg within tight limits.
#include "serve/stills.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "output/failure.h"

namespace zulctl::serve {

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kCaptured = 6 << 20;      ///< bytes given to ffmpeg at most
constexpr auto kCapturedFor = 2500ms;           ///< long enough for a key frame, which comes once or twice a second
constexpr std::size_t kLargestStill = 1 << 20;  ///< bytes
constexpr unsigned kPatience = 20;              ///< seconds

/// \return the next bytes of a stream. Throws Failure where it can't be joined
std::string Capture(const Endpoint& group, int interfaceIndex) {
    UdpSocket socket = StreamSocket(group, interfaceIndex);
    std::string bytes;
    const auto end = Clock::now() + kCapturedFor;
    while (bytes.size() < kCaptured && Clock::now() < end) {
        const auto datagram = socket.Next(end);
        if (!datagram) break;
        bytes += datagram->bytes;
    }
    return bytes;
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File FileInMemory(const char* name) { return {fdopen(memfd_create(name, MFD_CLOEXEC), "w+"), std::fclose}; }

void Limit(__rlimit_resource resource, rlim_t most) {
    const rlimit limit{most, most};
    setrlimit(resource, &limit);
}

/// The child's part between fork and exec: system calls alone.
[[noreturn]] void BecomeFfmpeg(int in, int out) {
    static const char* const kArguments[] = {
        "ffmpeg", "-nostdin", "-v", "fatal", "-threads", "1", "-protocol_whitelist", "pipe", "-probesize", "1500000",
        "-skip_frame", "nokey", "-f", "mpegts", "-i", "pipe:0", "-map", "0:v:0", "-frames:v", "1", "-vf",
        // Broadcast pixels aren't square.
        "scale='trunc(iw*if(sar,sar,1)/2)*2':ih,scale=480:-2,setsar=1", "-q:v", "5", "-f", "mjpeg", "pipe:1", nullptr};
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) dup2(null, STDERR_FILENO);
    close_range(3, ~0U, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(kPatience);
    Limit(RLIMIT_CPU, 10);
    Limit(RLIMIT_AS, rlim_t{2} << 30);
    Limit(RLIMIT_FSIZE, kLargestStill);
    Limit(RLIMIT_CORE, 0);
    setpriority(PRIO_PROCESS, 0, 15);
    execvp(kArguments[0], const_cast<char* const*>(kArguments));
    _exit(127);
}

/// \return the JPEG of the first whole key frame; nothing where there is no picture or no ffmpeg
std::optional<std::string> MakeStill(const std::string& stream) {
    const File in = FileInMemory("stream"), out = FileInMemory("still");
    if (!in || !out || std::fwrite(stream.data(), stream.size(), 1, in.get()) != 1) return std::nullopt;
    std::rewind(in.get());
    const pid_t child = fork();
    if (child < 0) return std::nullopt;
    if (child == 0) BecomeFfmpeg(fileno(in.get()), fileno(out.get()));
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) return std::nullopt;
    std::string jpeg(kLargestStill, '\0');
    std::rewind(out.get());
    jpeg.resize(std::fread(jpeg.data(), 1, jpeg.size(), out.get()));
    if (!jpeg.starts_with("\xFF\xD8\xFF")) return std::nullopt;
    return jpeg;
}

}  // namespace

Stills::Stills(const StreamWatch& streams, int interfaceIndex, Clock::duration every)
    : mrStreams(streams), mInterfaceIndex(interfaceIndex), mEvery(every) {
    if (every > 0s) mThread = std::jthread([this](const std::stop_token& stop) { Run(stop); });
}

Still Stills::Of(const Endpoint& group) const {
    const std::lock_guard lock(mMutex);
    const auto found = mStills.find(group);
    return found == mStills.end() ? Still{} : found->second;
}

std::optional<Endpoint> Stills::Next() {
    const std::vector<Measured> streams = mrStreams.Streams();
    const std::lock_guard lock(mMutex);
    std::erase_if(mStills, [&](const auto& item) {
        return std::ranges::find(streams, item.first, &Measured::group) == streams.end();
    });
    std::optional<Endpoint> next;
    auto due = Clock::now();
    for (const Measured& stream : streams) {
        if (stream.silentSeconds > 2 || mStills[stream.group].due > due) continue;
        next = stream.group;
        due = mStills[stream.group].due;
    }
    return next;
}

void Stills::Run(const std::stop_token& stop) {
    while (!stop.stop_requested() && !Interrupted()) {
        const auto group = Next();
        if (!group) {
            SleepUntil(Clock::now() + 200ms);
            continue;
        }
        std::optional<std::string> jpeg;
        try {
            jpeg = MakeStill(Capture(*group, mInterfaceIndex));
        } catch (const Failure&) {  // the watch reports why
        }
        const std::lock_guard lock(mMutex);
        Still& still = mStills[*group];
        still.due = Clock::now() + mEvery;
        still.trouble = jpeg ? "" : "no picture in it";
        if (!jpeg) continue;
        still.jpeg = std::make_shared<const std::string>(*std::move(jpeg));
        still.taken = Clock::now();
        ++still.number;
    }
}

}  // namespace zulctl::serve
