#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/Console.hpp"

namespace quillet::cli {

/// Rows of text under headings. On a terminal they are aligned and fitted to its width; elsewhere each row is one line
/// with tabs between the cells, without headings.
class Table {
  public:
    struct Column {
        std::string heading;
        bool isNumber = false;  ///< set to the right; never cut
    };

    /// `console` must outlive the table.
    Table(Console& console, std::vector<Column> columns);

    /// One cell a column, fit for one line (see shown()). Off a terminal it is printed at once.
    void add(std::vector<std::string> cells);
    /// Prints what was added, on a terminal.
    void print();

  private:
    std::vector<std::size_t> widths() const;

    Console& console_;
    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace quillet::cli
