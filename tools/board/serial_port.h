/// The board's serial port: /dev/ttyS0 is one end of a pseudo terminal, what is plugged in holds the other.
#pragma once

#include <string>
#include <thread>

#include "journal.h"

namespace board {

class SerialPort {
 public:
    /// Makes the port. Throws std::system_error when the machine has a port of that name already.
    explicit SerialPort(std::string device = "/dev/ttyS0");
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// Sends bytes into the board.
    void Send(const std::string& bytes);

    /// What the board sent out, in the pieces in which it came.
    Journal<std::string>& Received() { return mReceived; }

    /// Waits until `count` bytes have come. \return all of them by then, or after `limit`
    std::string WaitForBytes(std::size_t count, Milliseconds limit = kPatience);

    /// Pulls the plug: reads and writes of the port fail from now on.
    void HangUp();

 private:
    void Run();

    const std::string mDevice;
    Journal<std::string> mReceived;
    int mFar = -1;   ///< the end that is plugged in
    int mNear = -1;  ///< holds the port open, so that its settings stay
    int mStop[2] = {-1, -1};
    std::thread mThread;
};

}  // namespace board
