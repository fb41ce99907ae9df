/// Shell lines and files, for tests.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

/// Exit code of a shell line, and what it printed.
struct Outcome {
    int code = -1;  ///< -1 where a signal ended it
    std::string text{};
};

/// Runs a shell line, without input. \param errors  whether its error output is part of the text
inline Outcome Shell(const std::string& line, bool errors = true) {
    Outcome outcome;
    std::FILE* const pipe = popen(("{ " + line + "; } </dev/null" + (errors ? " 2>&1" : "")).c_str(), "r");
    if (pipe == nullptr) return outcome;
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;) outcome.text += static_cast<char>(c);
    const int status = pclose(pipe);
    if (WIFEXITED(status)) outcome.code = WEXITSTATUS(status);
    return outcome;
}

/// \return the content of a file; nothing for one that can't be read
inline std::string FileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}
