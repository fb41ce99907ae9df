/// Captures log lines.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/log.h"

/// Runs an action with the log on. \return its lines, without the prefix "ZUL: "
inline std::vector<std::string> LogLines(const std::function<void()>& action) {
    global_debug_flag = 1;
    testing::internal::CaptureStdout();
    action();
    const std::string text = testing::internal::GetCapturedStdout();
    global_debug_flag = 0;
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t next = std::min(text.find("ZUL: ", at + 1), text.size());
        lines.push_back(text.substr(at + 5, next - at - 5));
        at = next;
    }
    return lines;
}
