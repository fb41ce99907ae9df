// The serial port: a pseudo terminal (POSIX.1-2017, posix_openpt) without line discipline, as a raw port.
#include "serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace board {

namespace {

constexpr const char* kDevice = "/dev/ttyS0";

void Check(bool good, const std::string& what) {
    if (!good) throw std::system_error(errno, std::generic_category(), what);
}

/// Removes the link of a board that was killed: its terminal is gone, or is the new one, whose number was free again.
void RemoveStale(const char* terminal) {
    std::error_code none;
    const auto target = std::filesystem::read_symlink(kDevice, none);
    if (!none && (target == terminal || !std::filesystem::exists(target))) unlink(kDevice);
}

}  // namespace

SerialPort::SerialPort() {
    mFar = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    Check(mFar != -1 && grantpt(mFar) == 0 && unlockpt(mFar) == 0, "posix_openpt");
    char name[64];
    Check(ptsname_r(mFar, name, sizeof name) == 0, "ptsname_r");
    mNear = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    Check(mNear != -1, name);
    termios settings{};
    tcgetattr(mNear, &settings);
    cfmakeraw(&settings);
    tcsetattr(mNear, TCSANOW, &settings);
    RemoveStale(name);
    Check(symlink(name, kDevice) == 0, kDevice);
    Check(pipe2(mStop, O_CLOEXEC) == 0, "pipe2");
    mThread = std::thread([this] { Run(); });
}

SerialPort::~SerialPort() {
    HangUp();
    unlink(kDevice);
}

void SerialPort::Send(const std::string& bytes) {
    Check(write(mFar, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), kDevice);
}

std::string SerialPort::WaitForBytes(std::size_t count, Milliseconds limit) {
    std::string bytes;
    mReceived.WaitFor(
        [&](const std::string& piece) {
            bytes += piece;
            return bytes.size() >= count;
        },
        limit);
    return bytes;
}

void SerialPort::HangUp() {
    if (!mThread.joinable()) return;
    close(mStop[1]);
    mThread.join();
    close(mStop[0]);
    close(mFar);
    close(mNear);
}

void SerialPort::Run() {
    for (;;) {
        pollfd ends[] = {{mFar, POLLIN, 0}, {mStop[0], POLLIN, 0}};
        if (poll(ends, 2, -1) == -1) continue;
        if (ends[1].revents != 0) return;
        char bytes[256];
        const ssize_t size = read(mFar, bytes, sizeof bytes);
        if (size > 0) mReceived.Add(std::string(bytes, static_cast<std::size_t>(size)));
    }
}

}  // namespace board
