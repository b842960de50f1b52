#include "cli/ProgressBar.hpp"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

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
    const std::string count = fmt::format("{}/{}", done_, total_);
    winsize terminal = {};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &terminal) == 0 && terminal.ws_col > 0;
    const std::size_t columns = isKnown ? terminal.ws_col : 80;
    const std::size_t others = what_.size() + count.size() + 3;
    const std::size_t width = std::min(kBarWidth, columns > others ? columns - others : 0);
    const std::size_t filled = done_ * width / total_;
    std::string bar;
    for (std::size_t i = 0; i < width; ++i) bar += i < filled ? "█" : "░";
    fmt::print(stderr, "\r\x1b[K{} {} {}", what_, bar, count);
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
