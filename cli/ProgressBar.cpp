#include "cli/ProgressBar.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace quillet::cli {

namespace {
constexpr std::size_t kFewest = 3;  // things to do from which a bar is worth showing
constexpr std::size_t kBarWidth = 24;
constexpr std::chrono::milliseconds kInterval(100);
}  // namespace

ProgressBar::ProgressBar(Console& console, std::string what, std::size_t total)
    : console_(console),
      what_(std::move(what)),
      total_(total),
      enabled_(console.errorIsTerminal() && total >= kFewest) {
    console_.beforeLines([this] { hide(); });
}

ProgressBar::~ProgressBar() {
    console_.beforeLines(nullptr);
    hide();
}

void ProgressBar::advance(std::size_t done) {
    done_ = std::min(done, total_);
    if (!enabled_) return;
    const auto now = std::chrono::steady_clock::now();
    if (visible_ && now < next_ && done_ < total_) return;
    next_ = now + kInterval;
    draw();
}

void ProgressBar::draw() {
    const std::size_t filled = done_ * kBarWidth / total_;
    std::string bar;
    for (std::size_t i = 0; i < kBarWidth; ++i) bar += i < filled ? "█" : "░";
    fmt::print(stderr, "\r\x1b[K{} {} {}/{}", what_, bar, done_, total_);
    std::fflush(stderr);
    visible_ = true;
}

void ProgressBar::hide() {
    if (!visible_) return;
    fmt::print(stderr, "\r\x1b[K");
    std::fflush(stderr);
    visible_ = false;
}

}  // namespace quillet::cli
