/// Tables for a terminal of any width: columns have the width they need, and the elastic ones shrink.
#pragma once

#include <concepts>
#include <string>
#include <vector>

namespace zulctl {

enum class Align { kLeft, kRight };
enum class Style { kPlain, kHead, kGood, kBad, kWarn, kDim };

struct Column {
    std::string title;
    Align align = Align::kLeft;
    bool elastic = false;  ///< may be cut, down to kLeastElastic columns
    int dispensable = 0;   ///< above 0: dropped for lack of room, the highest number first
};
inline Column Left(const char* title, int dispensable = 0) { return {title, Align::kLeft, false, dispensable}; }
inline Column Right(const char* title, int dispensable = 0) { return {title, Align::kRight, false, dispensable}; }
inline Column Elastic(const char* title, int dispensable = 0) { return {title, Align::kLeft, true, dispensable}; }

struct Cell {
    Cell(std::string cellText, Style cellStyle = Style::kPlain) : text(std::move(cellText)), style(cellStyle) {}
    Cell(const char* cellText) : text(cellText) {}
    Cell(std::integral auto number, Style cellStyle = Style::kPlain) : Cell(std::to_string(number), cellStyle) {}
    std::string text;  ///< escaped already
    Style style = Style::kPlain;
};

/// Wraps a text in the escape sequences of a style, or gives it as it is.
std::string Styled(const std::string& text, Style style, bool colour);

class Table {
 public:
    explicit Table(std::vector<Column> columns) : mColumns(std::move(columns)) {}
    void Add(std::vector<Cell> row);

    /// \return the lines, none wider than `width` where the columns that must stay allow it; nothing without rows
    std::string Render(std::size_t width, bool colour) const;

 private:
    std::vector<std::size_t> Widths(std::size_t width) const;
    std::string Line(const std::vector<Cell>& row, const std::vector<std::size_t>& widths, bool colour) const;

    std::vector<Column> mColumns;
    std::vector<std::vector<Cell>> mRows;
};

}  // namespace zulctl
