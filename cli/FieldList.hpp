#pragma once

#include <string>
#include <string_view>

#include "cli/Console.hpp"

namespace quillet::cli {

/// Named values below each other, the values aligned. On a terminal each is one line of its width.
class FieldList {
  public:
    /// `console` must outlive the list.
    explicit FieldList(const Console& console) : console_(console) {}

    /// `value` is any text, and is made fit for a line; an empty one is left out. `unit` is set behind it.
    void add(std::string_view name, std::string_view value, std::string_view unit = "");
    /// The lines, without the last line break.
    const std::string& text() const { return text_; }

  private:
    const Console& console_;
    std::string text_;
};

}  // namespace quillet::cli
