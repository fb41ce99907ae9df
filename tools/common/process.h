/// Child processes.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace common {

/// A program that runs as a child of this one. The destructor waits for its end.
class Process {
 public:
    /// Starts a program.
    /// \param words   its name, looked up on the PATH, and its arguments
    /// \param folder  its working directory; empty: that of this process
    /// \param log     file for its output and its errors, relative to `folder`; it then has no input. Empty: it has
    ///                the input, output and errors of this process
    /// Throws std::system_error where it can't be started.
    explicit Process(const std::vector<std::string>& words, const std::string& folder = "",
                     const std::string& log = "");
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() { Wait(); }

    /// Waits for its end. \return whether it ended with exit code 0
    bool Wait();

 private:
    pid_t mChild = 0;  ///< 0 after its end
    bool mGood = false;
};

}  // namespace common
