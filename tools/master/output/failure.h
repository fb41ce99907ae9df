/// How a command fails: one exception with the exit code and a message.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace zulctl {

/// Exit codes of zulctl; scripts rely on them.
enum ExitCode : int {
    kDone = 0,      ///< all was done
    kRefused = 1,   ///< the board refused, or an analysed stream is bad
    kUsage = 2,     ///< invalid command line
    kNoAnswer = 3,  ///< no answer in time
    kPartly = 4,    ///< only some of several boards succeeded
};

/// Thrown by the library and the commands; zulctl prints the text and exits with the code.
struct Failure : std::runtime_error {
    Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    template <typename... Args>
    Failure(ExitCode exitCode, fmt::format_string<Args...> text, Args&&... args)
        : Failure(exitCode, fmt::format(text, std::forward<Args>(args)...)) {}
    ExitCode code;
};

/// Throws when some boards failed: kPartly, or `noneDid` when all of them did.
/// \param what  as in "don't answer"
inline void FailWhereSome(std::size_t failed, std::size_t all, ExitCode noneDid, const char* what) {
    if (failed > 0) throw Failure(failed < all ? kPartly : noneDid, "{} of {} boards {}", failed, all, what);
}

}  // namespace zulctl
