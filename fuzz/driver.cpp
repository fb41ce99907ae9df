// Without libFuzzer: brings the files of a corpus in by one door, each once.
//   fuzz_corpus DOOR FILE_OR_FOLDER...
//   fuzz_corpus --doors | --dictionary DOOR
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "door.h"
#include "world.h"

extern "C" {
[[gnu::weak]] void __sanitizer_set_report_fd(void* fd);
[[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());
}

namespace {

char running[4096];

/// Says which file it was, on the way out.
void TellFile() { fuzz::TellAlways(running); }

extern "C" void TellSignal(int signal) {
    TellFile();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

/// What the module says goes nowhere; what a sanitizer says, to the old standard error.
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

void Enter(const fuzz::Door& door, const std::filesystem::path& path) {
    constexpr unsigned kLongest = 30;  // seconds for one file
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    const fuzz::Block input(bytes.begin(), bytes.end());
    std::snprintf(running, sizeof running, "fuzz: while %s came in", path.c_str());
    alarm(kLongest);
    fuzz::Enter(door, input);
    alarm(0);
}

int PrintDoors(int count, char** words) {
    if (count == 2 && std::strcmp(words[1], "--doors") == 0) {
        for (const fuzz::Door& door : fuzz::Doors()) std::puts(std::string(door.name).c_str());
        return 0;
    }
    const fuzz::Door* const door = count == 3 && std::strcmp(words[1], "--dictionary") == 0 ? fuzz::FindDoor(words[2]) : nullptr;
    if (door != nullptr && door->dictionary != nullptr) door->dictionary();
    return door != nullptr ? 0 : 2;
}

}  // namespace

int main(int count, char** words) {
    const fuzz::Door* const door = count >= 3 ? fuzz::FindDoor(words[1]) : nullptr;
    if (door == nullptr) return PrintDoors(count, words);
    std::vector<std::filesystem::path> files;  // all found before the first comes in, which changes the folder
    for (int i = 2; i < count; ++i) {
        const std::filesystem::path path = std::filesystem::absolute(words[i]);
        if (std::filesystem::is_directory(path)) {
            for (const auto& entry : std::filesystem::directory_iterator(path)) files.push_back(entry.path());
        } else {
            files.push_back(path);
        }
    }
    Hush();
    for (const auto& file : files) Enter(*door, file);
    fuzz::TellAlways((std::to_string(files.size()) + " files came in").c_str());
    return files.empty() ? 1 : 0;
}
