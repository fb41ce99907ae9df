// memory_bench COMMAND...: what the module adds to its host's private memory. COMMAND is memory_host and the module's
// path, with an emulator in front where there is one. ZUL_GUEST_BASE is where the memory of an emulated host begins in
// the emulator's, hexadecimal: the emulator's own memory isn't counted then. Run by bench/memory.
#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "settings_agent.h"
#include "status_block.h"
#include "system_daemon.h"
#include "tables.h"
#include "udp_client.h"

namespace {

using namespace bench;
using transport::Append;

constexpr std::uint16_t kPort = 5000;
constexpr unsigned kProgrammes = 200;
constexpr unsigned kEventsEach = 50;
constexpr unsigned kVctPart = 20;  ///< channels of one VCT section
constexpr std::size_t kHostBuffer = 174 * transport::kPacket;

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "memory_bench: %s\n", what);
    std::exit(1);
}

/// The host, a separate process.
class Host {
 public:
    explicit Host(char** command) {
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) Fail("no pipe");
        mPid = fork();
        if (mPid == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execvp(command[0], command);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        mIn = in[1];
        mOut = out[0];
    }
    void Step(const Blob& bytes = Blob(1)) {
        char done = 0;
        do {  // the module prints a line as well
            if (!mStarted && write(mIn, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
                Fail("no host");
            mStarted = true;
            if (read(mOut, &done, 1) != 1) Fail("the host is gone");
        } while (done != '.');
        mStarted = false;
    }
    /// Feeds packets in whole host buffers, padded with null packets.
    void Feed(Blob packets) {
        while (packets.size() % kHostBuffer != 0) Append(packets, transport::Filled(0x1FFF, 0, 0xFF));
        for (std::size_t at = 0; at < packets.size(); at += kHostBuffer) {
            Step(Blob(packets.data() + at, packets.data() + at + kHostBuffer));
        }
    }
    /// \return KiB that no other process shares
    unsigned long Private() const {
        const char* const base = std::getenv("ZUL_GUEST_BASE");
        const std::uint64_t from = base != nullptr ? std::strtoull(base, nullptr, 16) : 0;
        const std::uint64_t to = base != nullptr ? from + 0x100000000 : ~std::uint64_t{0};
        std::ifstream file("/proc/" + std::to_string(mPid) + "/smaps");
        unsigned long sum = 0;
        bool counts = false;
        for (std::string line; std::getline(file, line);) {
            std::uint64_t start = 0, end = 0;
            unsigned long size = 0;
            if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " ", &start, &end) == 2)
                counts = start >= from && start < to;
            if (counts && std::sscanf(line.c_str(), "Private_%*[^:]: %lu kB", &size) == 1) sum += size;
        }
        return sum;
    }

 private:
    pid_t mPid = -1;
    int mIn = -1, mOut = -1;
    bool mStarted = false;
};

Blob InPackets(unsigned pid, const std::vector<Blob>& sections) {
    Blob packets;
    unsigned continuity = 0;
    for (const Blob& section : sections) Append(packets, transport::SectionPackets(pid, continuity, section));
    return packets;
}

/// 200 programmes with 50 events each, and a text of 200 characters for each event.
Blob FullGuide() {
    std::vector<transport::Programme> programmes;
    std::vector<Blob> vct, eit, ett;
    for (unsigned first = 1; first <= kProgrammes; first += kVctPart) {
        std::vector<Blob> channels;
        for (unsigned i = first; i < first + kVctPart; ++i) {
            programmes.push_back({i, 0x100 + i});
            channels.push_back(transport::VctChannel(i, 7, i, i));
        }
        vct.push_back(transport::Vct(0xC8, 1, channels, first / kVctPart % 32));
    }
    for (unsigned i = 1; i <= kProgrammes; ++i) {
        std::vector<Blob> events;
        for (unsigned n = 1; n <= kEventsEach; ++n) {
            events.push_back(transport::EitEvent(n, 1400000000 + n * 1800, 1800,
                                                 transport::Plain("The evening news with the weather")));
            ett.push_back(transport::Ett(i, n << 2 | 2,
                                         transport::Plain(std::string(199, static_cast<char>('a' + n % 26))),
                                         static_cast<unsigned>(ett.size() % 32)));
        }
        eit.push_back(transport::Eit(i, events));
    }
    Blob all = InPackets(0, {transport::Pat(1, 1, programmes)});
    Append(all, InPackets(0x1FFB, {transport::Stt(1400000000 + 1801, 18)}));
    Append(all, InPackets(0x1FFB, {transport::Mgt({transport::MgtTable(0x100, kGuidePid),
                                                   transport::MgtTable(0x200, kGuidePid + 1)})}));
    Append(all, InPackets(0x1FFB, vct));
    Append(all, InPackets(kGuidePid, eit));
    Append(all, InPackets(kGuidePid + 1, ett));
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    board::StatusBlock status;
    board::SettingsAgent agent{"/mnt/burnt"};
    board::SystemDaemon daemon;
    status.TunerStrength(5);
    const Client master;
    const auto asks = [&](const std::string& request, const std::function<void()>& meanwhile) {
        master.Send(kPort, request);
        for (int tries = 0; tries < 1500; ++tries) {
            if (const auto replies = master.Take(20); !replies.empty()) return replies.front();
            meanwhile();
        }
        Fail("no reply");
    };

    Host host(argv + 1);
    usleep(500 * 1000);
    unsigned long before = host.Private();
    const auto tell = [&](const char* what) {
        const unsigned long now = host.Private();
        std::printf("%-40s %6lu KiB, %6ld more\n", what, now, static_cast<long>(now) - static_cast<long>(before));
        std::fflush(stdout);
        before = now;
    };
    tell("the host alone");
    host.Step();
    tell("the module loaded");
    host.Step();
    for (int tries = 0; tries < 600; ++tries) {
        master.Send(kPort, "VERS");
        if (!master.Take(100).empty()) break;
    }
    while (!master.Take(200).empty()) {
    }
    tell("started, and booted");

    Blob video;
    for (unsigned i = 0; i < 174; ++i) Append(video, transport::Filled(PmtPid(i % 6 + 1) + 1, i / 6, 0xA5));
    for (int slot = 1; slot <= 8; ++slot) {
        const std::string unit = "UNIT4," + std::to_string(slot % 8) + ",239.1.1." + std::to_string(slot) + ",5001,17";
        if (asks(unit, [&] { host.Feed(video); }) != "OK\r\n") Fail("a stream doesn't start");
    }
    for (int i = 0; i < 100; ++i) host.Feed(video);
    tell("eight streams of the whole channel");

    const Blob guide = FullGuide();
    host.Feed(guide);
    host.Feed(guide);
    tell("a guide of 10,000 events in 200 programmes");
    const std::string reply = asks("EITN0001,00c8", [] {});
    if (reply.rfind("EITI ", 0) != 0 || reply.size() < 200) Fail(("the guide isn't there: " + reply).c_str());
}
