/// The board's serial port: /dev/ttyS0 is one end of a pseudo terminal, this class holds the other.
#pragma once

#include <string>
#include <thread>

#include "journal.h"

namespace board {

class SerialPort {
 public:
    /// Creates the port. Throws std::system_error when one exists.
    SerialPort();
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// Sends bytes into the board.
    void Send(const std::string& bytes);

    /// What the board sent, as read.
    Journal<std::string>& Received() { return mReceived; }

    /// Waits until `count` bytes have come. \return all bytes then, or after `limit`
    std::string WaitForBytes(std::size_t count, Milliseconds limit = kPatience);

    /// Disconnects: reads and writes of the port fail from now on.
    void HangUp();

 private:
    void Run();

    Journal<std::string> mReceived;
    int mFar = -1;   ///< the device's end
    int mNear = -1;  ///< keeps the port open and thereby its settings
    int mStop[2] = {-1, -1};
    std::thread mThread;
};

}  // namespace board
