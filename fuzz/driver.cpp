// Without libFuzzer: runs each file once.
//   zul_fuzz CORPUS                   each folder through the target of its name
//   zul_fuzz TARGET FILE_OR_FOLDER... through one target
//   zul_fuzz --targets
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "target.h"
#include "world.h"

extern "C" {
[[gnu::weak]] void __sanitizer_set_report_fd(void* fd);
[[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());
}

namespace {

char running[4096];

/// Names the file before the process ends.
void TellFile() { fuzz::TellAlways(running); }

extern "C" void TellSignal(int signal) {
    TellFile();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

/// The module's output is discarded; a sanitizer's goes to the original standard error.
void Hush() {
    const int errors = dup(STDERR_FILENO);
    if (__sanitizer_set_report_fd != nullptr) {
        __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(errors)));
        if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(TellFile);
    } else {
        for (const int signal : {SIGSEGV, SIGBUS, SIGFPE}) std::signal(signal, TellSignal);
    }
    std::signal(SIGABRT, TellSignal);
    std::signal(SIGALRM, TellSignal);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDERR_FILENO);
    dup2(nowhere, STDOUT_FILENO);
}

void Enter(const fuzz::Target& target, const std::filesystem::path& path) {
    constexpr unsigned kLongest = 30;  // seconds for one file
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    const fuzz::Block input(bytes.begin(), bytes.end());
    std::snprintf(running, sizeof running, "fuzz: while %s came in", path.c_str());
    alarm(kLongest);
    fuzz::Enter(target, input);
    alarm(0);
}

/// One file and its target.
struct Visit {
    const fuzz::Target* target;
    std::filesystem::path path;
};

void Add(std::vector<Visit>& visits, const fuzz::Target* target, const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) {
        visits.push_back({target, path});
        return;
    }
    for (const auto& entry : std::filesystem::directory_iterator(path)) visits.push_back({target, entry.path()});
}

}  // namespace

int main(int count, char** words) {
    if (count == 2 && std::strcmp(words[1], "--targets") == 0) {
        for (const fuzz::Target& target : fuzz::Targets()) std::puts(std::string(target.name).c_str());
        return 0;
    }
    std::vector<Visit> visits;  // all found before the first comes in, which changes the folder
    if (count == 2 && std::filesystem::is_directory(words[1])) {
        for (const fuzz::Target& target : fuzz::Targets())
            Add(visits, &target, std::filesystem::absolute(words[1]) / target.name);
    }
    const fuzz::Target* const target = count > 2 ? fuzz::FindTarget(words[1]) : nullptr;
    for (int i = 2; target != nullptr && i < count; ++i) Add(visits, target, std::filesystem::absolute(words[i]));
    Hush();
    for (const Visit& visit : visits) Enter(*visit.target, visit.path);
    fuzz::TellAlways((std::to_string(visits.size()) + " files came in").c_str());
    return visits.empty() ? 1 : 0;
}
