// Tables for terminals.
#include "output/table.h"

#include <algorithm>

#include "output/escape.h"

namespace zulctl {

namespace {

constexpr std::size_t kGap = 2;  // blanks between columns
constexpr std::size_t kLeastElastic = 8;
constexpr std::size_t kLeftOut = static_cast<std::size_t>(-1);

const char* Sequence(Style style) {
    switch (style) {
        case Style::kHead: return "\x1b[1m";
        case Style::kGood: return "\x1b[32m";
        case Style::kBad: return "\x1b[1;31m";
        case Style::kWarn: return "\x1b[33m";
        case Style::kDim: return "\x1b[2m";
        default: return "";
    }
}

std::size_t Total(const std::vector<std::size_t>& widths) {
    std::size_t total = 0;
    for (const std::size_t width : widths) total += width == kLeftOut ? 0 : width + (total > 0 ? kGap : 0);
    return total;
}

}  // namespace

std::string Styled(const std::string& text, Style style, bool colour) {
    return colour && style != Style::kPlain ? Sequence(style) + text + "\x1b[0m" : text;
}

void Table::Add(std::vector<Cell> row) {
    row.resize(mColumns.size(), Cell(""));
    for (Cell& cell : row) std::replace(cell.text.begin(), cell.text.end(), '\n', ' ');  // a row is one line
    mRows.push_back(std::move(row));
}

std::vector<std::size_t> Table::Widths(std::size_t width) const {
    std::vector<std::size_t> widths;
    for (std::size_t n = 0; n < mColumns.size(); ++n) {
        std::size_t wanted = DisplayWidth(mColumns[n].title);
        for (const auto& row : mRows) wanted = std::max(wanted, DisplayWidth(row[n].text));
        widths.push_back(wanted);
    }
    // First shrink the elastic columns, the widest first; then drop whole columns.
    while (Total(widths) > width) {
        std::size_t widest = kLeftOut;
        for (std::size_t n = 0; n < widths.size(); ++n) {
            if (!mColumns[n].elastic || widths[n] <= kLeastElastic) continue;
            if (widest == kLeftOut || widths[n] > widths[widest]) widest = n;
        }
        if (widest == kLeftOut) break;
        --widths[widest];
    }
    while (Total(widths) > width) {
        std::size_t victim = kLeftOut;
        for (std::size_t n = 0; n < widths.size(); ++n) {
            if (widths[n] == kLeftOut || mColumns[n].dispensable == 0) continue;
            if (victim == kLeftOut || mColumns[n].dispensable >= mColumns[victim].dispensable) victim = n;
        }
        if (victim == kLeftOut) break;
        widths[victim] = kLeftOut;
    }
    return widths;
}

std::string Table::Line(const std::vector<Cell>& row, const std::vector<std::size_t>& widths, bool colour) const {
    std::string line;
    std::size_t pending = 0;  // blanks that only matter when something follows
    for (std::size_t n = 0; n < widths.size(); ++n) {
        if (widths[n] == kLeftOut) continue;
        const std::string text = CutToWidth(row[n].text, widths[n]);
        const std::size_t fill = widths[n] - std::min(widths[n], DisplayWidth(text));
        const bool right = mColumns[n].align == Align::kRight;
        if (!text.empty()) {
            line.append(pending + (right ? fill : 0), ' ');
            line += Styled(text, row[n].style, colour);
            pending = (right ? 0 : fill) + kGap;
        } else {
            pending += fill + kGap;
        }
    }
    return line + "\n";
}

std::string Table::Render(std::size_t width, bool colour) const {
    if (mRows.empty()) return "";
    const std::vector<std::size_t> widths = Widths(width);
    std::vector<Cell> head;
    for (const Column& column : mColumns) head.emplace_back(column.title, Style::kHead);
    std::string text = Line(head, widths, colour);
    for (const auto& row : mRows) text += Line(row, widths, colour);
    return text;
}

}  // namespace zulctl
