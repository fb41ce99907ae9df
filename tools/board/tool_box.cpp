// The board's tools: shell scripts, and two pipes between them and the board.
#include "tool_box.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "system_daemon.h"

namespace board {

namespace {

const std::string kFolder = kDisk + "/tools";  ///< exists as long as the box
constexpr const char* kTools[] = {"m710cmmd", "m710cmd"};
constexpr const char* kEnd = "end";  ///< line that ends the box; a tool's line has two words or an option

/// Creates a named pipe and opens it so that neither side waits for the other to open it.
int OpenPipe(const std::string& path) {
    const int made = mkfifo(path.c_str(), 0600);
    const int fd = made == 0 ? open(path.c_str(), O_RDWR | O_CLOEXEC) : -1;
    if (fd == -1) throw std::system_error(errno, std::generic_category(), path);
    return fd;
}

void WriteTool(const std::string& path) {
    std::ofstream(path) << fmt::format(
        "#!/bin/sh\n"
        "printf '%s\\n' \"${{0##*/}} $*\" >'{0}/orders' && read -r answer <'{0}/answers'\n",
        kFolder);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

void WriteLine(int fd, const std::string& line) {
    const std::string text = line + '\n';
    if (write(fd, text.data(), text.size()) == -1) throw std::system_error(errno, std::generic_category(), "write");
}

}  // namespace

ToolBox::ToolBox(std::function<void(const std::string&)> run) : mRun(std::move(run)) {
    std::filesystem::remove_all(kFolder);
    std::filesystem::create_directories(kFolder);
    mOrders = OpenPipe(kFolder + "/orders");
    mAnswers = OpenPipe(kFolder + "/answers");
    for (const char* tool : kTools) WriteTool(kFolder + "/" + tool);
    const char* path = std::getenv("PATH");
    setenv("PATH", fmt::format("{}:{}", kFolder, path != nullptr ? path : "/usr/bin:/bin").c_str(), 1);
    mThread = std::thread([this] { Run(); });
}

ToolBox::~ToolBox() {
    WriteLine(mOrders, kEnd);
    mThread.join();
    close(mOrders);
    close(mAnswers);  // a waiting tool reads the end of its pipe
    std::error_code ignored;
    std::filesystem::remove_all(kFolder, ignored);
}

void ToolBox::Run() {
    std::string line;
    for (char next; read(mOrders, &next, 1) == 1;) {
        if (next != '\n') {
            line += next;
            continue;
        }
        if (line == kEnd) return;
        mLines.Add(line);
        mRun(std::exchange(line, {}));
        WriteLine(mAnswers, "done");
    }
}

}  // namespace board
