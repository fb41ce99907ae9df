// The guide as a grid.
#include "export/lineup.h"

#include <fmt/format.h>

#include <algorithm>

#include "output/escape.h"
#include "output/table.h"

namespace zulctl {

namespace {

constexpr std::size_t kLongestName = 16;
constexpr std::size_t kLeastPlot = 20;
constexpr std::chrono::minutes kTick{30};

/// Maps times to columns.
struct Scale {
    Minutes start;
    std::chrono::minutes span;
    std::size_t columns;

    std::size_t Column(Minutes moment) const {
        const auto offset = std::clamp((moment - start).count(), std::chrono::minutes::rep{0}, span.count());
        return static_cast<std::size_t>(offset) * columns / static_cast<std::size_t>(span.count());
    }
};

std::string Padded(const std::string& text, std::size_t columns) {
    const std::string cut = CutToWidth(text, columns);
    return cut + std::string(columns - std::min(columns, DisplayWidth(cut)), ' ');
}

std::string HourLine(const Scale& scale) {
    std::string line;
    for (Minutes tick = scale.start; tick < scale.start + scale.span; tick += kTick) {
        const std::size_t at = scale.Column(tick);
        const std::string text = ClockText(tick);
        if (at < line.size() + (line.empty() ? 0 : 1) || at + text.size() > scale.columns) continue;
        line.resize(at, ' ');
        line += text;
    }
    return line;
}

std::string EventLine(const GridRow& row, const Scale& scale, Minutes now, bool colour) {
    std::string line;
    std::size_t drawn = 0;
    for (const GuideEvent& event : row.events) {
        const std::size_t from = std::max(scale.Column(event.start), drawn), to = scale.Column(event.End());
        if (to <= from) continue;
        line += std::string(from - drawn, ' ');
        const std::string cell = "│" + Padded(Escaped(event.title), to - from - 1);
        const bool current = event.start <= now && now < event.End();
        line += current && colour ? "\x1b[7m" + cell + "\x1b[0m" : cell;
        drawn = to;
    }
    return line;
}

}  // namespace

std::string DrawGrid(const std::vector<GridRow>& rows, Minutes start, std::chrono::minutes span, Minutes now,
                     std::size_t width, bool colour) {
    std::size_t names = 4;
    for (const GridRow& row : rows) names = std::max(names, std::min(kLongestName, DisplayWidth(row.name)));
    const std::size_t plot = width > names + 1 + kLeastPlot ? width - names - 1 : kLeastPlot;
    const Scale scale{start, std::max(span, std::chrono::minutes(1)), plot};
    std::string text = Styled(Padded("UTC", names), Style::kHead, colour) + " " + HourLine(scale) + "\n";
    for (const GridRow& row : rows) text += Padded(row.name, names) + " " + EventLine(row, scale, now, colour) + "\n";
    return text;
}

}  // namespace zulctl
