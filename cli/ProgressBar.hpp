#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "cli/Console.hpp"

namespace quillet::cli {

/// A bar on standard error while many things are done; nothing where that is no terminal or there is little to do. It
/// is drawn a few times a second at the most, and makes room for the console's lines. One at a time.
class ProgressBar {
  public:
    /// `what` stands before the bar; `console` must outlive it.
    ProgressBar(Console& console, std::string what, std::size_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void advance(std::size_t done);

  private:
    void hide();
    void draw();

    Console& console_;
    std::string what_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool enabled_;
    bool visible_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace quillet::cli
