/// How a command ends when it can't do what was asked: one exception with the exit code and a line for people.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>

namespace zulctl {

/// Exit codes of zulctl; scripts rely on them.
enum ExitCode : int {
    kDone = 0,      ///< all was done
    kRefused = 1,   ///< the board said no, or a judged stream is bad
    kUsage = 2,     ///< the command line asks for something that can't be
    kNoAnswer = 3,  ///< nobody answered in time
    kPartly = 4,    ///< of several boards only some did it
};

/// Thrown by the library and the commands; zulctl prints the text and exits with the code.
struct Failure : std::runtime_error {
    Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    ExitCode code;
};

/// Throws where some boards didn't do what they should: kPartly, or `noneDid` where that goes for all of them.
/// \param what  as in "don't answer"
inline void FailWhereSome(std::size_t failed, std::size_t all, ExitCode noneDid, const char* what) {
    if (failed > 0)
        throw Failure(failed < all ? kPartly : noneDid, fmt::format("{} of {} boards {}", failed, all, what));
}

}  // namespace zulctl
