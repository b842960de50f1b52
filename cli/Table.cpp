#include "cli/Table.hpp"

#include <algorithm>
#include <utility>

namespace quillet::cli {

namespace {

constexpr std::size_t kGap = 2;              // columns between two cells
constexpr std::size_t kNarrowestColumn = 4;  // to which text is cut at the most

std::string padded(const std::string& text, std::size_t width, bool right) {
    const std::size_t columns = columnsOf(text);
    const std::string space(columns < width ? width - columns : 0, ' ');
    return right ? space + text : text + space;
}

}  // namespace

Table::Table(Console& console, std::vector<Column> columns) : console_(console), columns_(std::move(columns)) {}

void Table::add(std::vector<std::string> cells) {
    if (console_.outputIsTerminal()) {
        rows_.push_back(std::move(cells));
        return;
    }
    std::string line;
    for (const std::string& cell : cells) line += (&cell == cells.data() ? "" : "\t") + cell;
    console_.line(line);
}

std::vector<std::size_t> Table::widths() const {
    std::vector<std::size_t> widths;
    std::size_t total = 0;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        std::size_t width = columnsOf(columns_[i].heading);
        for (const auto& row : rows_) width = std::max(width, columnsOf(row[i]));
        widths.push_back(width);
        total += width + (i > 0 ? kGap : 0);
    }
    // What is too much is taken from the widest text column, a column at a time.
    while (total > console_.width()) {
        std::size_t* widest = nullptr;
        for (std::size_t i = 0; i < columns_.size(); ++i)
            if (!columns_[i].isNumber && (widest == nullptr || widths[i] > *widest)) widest = &widths[i];
        if (widest == nullptr || *widest <= kNarrowestColumn) break;
        --*widest;
        --total;
    }
    return widths;
}

void Table::print() {
    if (rows_.empty()) return;
    const std::vector<std::size_t> width = widths();
    const auto printRow = [&](const std::vector<std::string>& cells, Colour colour) {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) line += std::string(kGap, ' ');
            line += padded(fitted(cells[i], width[i]), width[i], columns_[i].isNumber);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        console_.line(console_.coloured(colour, line));
    };
    std::vector<std::string> headings;
    headings.reserve(columns_.size());
    for (const Column& column : columns_) headings.push_back(column.heading);
    printRow(headings, Colour::bold);
    for (const auto& row : rows_) printRow(row, Colour::plain);
    rows_.clear();
}

}  // namespace quillet::cli
