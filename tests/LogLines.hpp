#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "util/Log.hpp"

namespace quillet::test {

/// The lines that are logged while this stands.
class LogLines {
  public:
    LogLines() {
        util::setLogSink([this](std::string_view line) { lines_.emplace_back(line); });
    }
    ~LogLines() { util::setLogSink({}); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    /// How many lines hold `text`.
    std::size_t count(std::string_view text = {}) const {
        std::size_t found = 0;
        for (const std::string& line : lines_) found += line.find(text) != std::string::npos;
        return found;
    }
    const std::vector<std::string>& all() const { return lines_; }

  private:
    std::vector<std::string> lines_;
};

}  // namespace quillet::test
