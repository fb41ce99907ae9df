/// An evening of several programmes, drawn as a grid of time.
#pragma once

#include <string>
#include <vector>

#include "protocol/guide_reply.h"

namespace zulctl {

struct GridRow {
    std::string name;  ///< escaped
    std::vector<GuideEvent> events;
};

/// Draws rows from `start` on for `span`, one line a programme under a line of hours, no wider than `width` columns.
/// The event at `now` is shown inverse where there is colour.
std::string DrawGrid(const std::vector<GridRow>& rows, Minutes start, std::chrono::minutes span, Minutes now,
                     std::size_t width, bool colour);

}  // namespace zulctl
