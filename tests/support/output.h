/// What the module prints, reports and logs.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/log.h"

/// Runs an action. \return what it wrote to standard output
inline std::string Printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

/// Runs an action. \return what it wrote to standard error
inline std::string Reported(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

/// Runs an action with the log on. \return its lines, without the prefix "ZUL: "
inline std::vector<std::string> LogLines(const std::function<void()>& action) {
    global_debug_flag = 1;
    const std::string text = Printed(action);
    global_debug_flag = 0;
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t next = std::min(text.find("ZUL: ", at + 1), text.size());
        lines.push_back(text.substr(at + 5, next - at - 5));
        at = next;
    }
    return lines;
}
