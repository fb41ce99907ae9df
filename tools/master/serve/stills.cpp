// Runs ffmpeg within tight limits.
#include "serve/stills.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "output/failure.h"

namespace zulctl::serve {

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kCaptured = 6 << 20;      ///< bytes given to ffmpeg at most
constexpr auto kCapturedFor = 2500ms;           ///< long enough for a key frame, which comes once or twice a second
constexpr std::size_t kLargestStill = 1 << 20;  ///< bytes
constexpr int kPatience = 20000;                ///< milliseconds

/// A file in memory.
class MemoryFile {
 public:
    explicit MemoryFile(const char* name) : mFd(memfd_create(name, MFD_CLOEXEC)) {}
    ~MemoryFile() {
        if (mFd >= 0) close(mFd);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    bool Fill(const std::string& bytes) const {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t written = write(mFd, bytes.data() + done, bytes.size() - done);
            if (written <= 0) return false;
            done += static_cast<std::size_t>(written);
        }
        return lseek(mFd, 0, SEEK_SET) == 0;
    }
    std::string Content(std::size_t most) const {
        std::string bytes(most, '\0');
        const ssize_t size = pread(mFd, bytes.data(), bytes.size(), 0);
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return bytes;
    }
    int Descriptor() const { return mFd; }

 private:
    int mFd;
};

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
    Limit(RLIMIT_CPU, 10);
    Limit(RLIMIT_AS, rlim_t{2} << 30);
    Limit(RLIMIT_FSIZE, kLargestStill);
    Limit(RLIMIT_CORE, 0);
    setpriority(PRIO_PROCESS, 0, 15);
    execvp(kArguments[0], const_cast<char* const*>(kArguments));
    _exit(127);
}

/// Waits for a child's end, and kills it when it takes too long. \return whether it succeeded
bool EndsWell(pid_t child) {
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd polled{handle, POLLIN, 0};
    if (handle < 0 || poll(&polled, 1, kPatience) != 1) kill(child, SIGKILL);
    if (handle >= 0) close(handle);
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::optional<std::string> MakeStill(const std::string& stream) {
    const MemoryFile in("stream"), out("still");
    if (in.Descriptor() < 0 || out.Descriptor() < 0 || !in.Fill(stream)) return std::nullopt;
    const pid_t child = fork();
    if (child < 0) return std::nullopt;
    if (child == 0) BecomeFfmpeg(in.Descriptor(), out.Descriptor());
    if (!EndsWell(child)) return std::nullopt;
    std::string jpeg = out.Content(kLargestStill);
    if (!jpeg.starts_with("\xFF\xD8\xFF")) return std::nullopt;
    return jpeg;
}

Stills::Stills(StreamWatch& streams, Clock::duration every)
    : mrStreams(streams), mEvery(every), mThread([this](const std::stop_token& stop) { Run(stop); }) {}

Stills::~Stills() = default;

Still Stills::Of(const Endpoint& group) const {
    const std::lock_guard lock(mMutex);
    const auto found = mStills.find(group);
    return found == mStills.end() ? Still{} : found->second;
}

std::optional<Endpoint> Stills::Next(const std::vector<Measured>& streams, Clock::time_point now) {
    std::optional<Endpoint> next;
    std::set<Endpoint> there;
    for (const Measured& stream : streams) {
        there.insert(stream.group);
        if (stream.silentSeconds > 2 || mDue[stream.group] > now) continue;
        if (!next || mDue[stream.group] < mDue[*next]) next = stream.group;
    }
    std::erase_if(mDue, [&](const auto& item) { return !there.contains(item.first); });
    const std::lock_guard lock(mMutex);
    std::erase_if(mStills, [&](const auto& item) { return !there.contains(item.first); });
    return next;
}

void Stills::Run(const std::stop_token& stop) {
    while (!stop.stop_requested() && !Interrupted()) {
        const auto group = Next(mrStreams.Streams(), Clock::now());
        if (!group) {
            SleepUntil(Clock::now() + 200ms);
            continue;
        }
        const auto bytes = mrStreams.Capture(*group, kCaptured, kCapturedFor);
        auto jpeg = bytes && !bytes->empty() ? MakeStill(*bytes) : std::nullopt;
        mDue[*group] = Clock::now() + mEvery;
        const std::lock_guard lock(mMutex);
        Still& still = mStills[*group];
        still.trouble = jpeg ? "" : "no picture in it";
        if (!jpeg) continue;
        still.jpeg = std::make_shared<const std::string>(*std::move(jpeg));
        still.taken = Clock::now();
        ++still.number;
    }
}

}  // namespace zulctl::serve
