#pragma once

#include <string>
#include <string_view>

namespace quillet::cli {

/// While one lives, what the engine logs on its thread is kept by it and printed nowhere: of many files that are read
/// side by side, each line stays with its own. One at a time on a thread.
class ThreadLog {
  public:
    ThreadLog();
    ~ThreadLog();
    ThreadLog(const ThreadLog&) = delete;
    ThreadLog& operator=(const ThreadLog&) = delete;

    /// The first line since the start, "" where there was none; those that follow only tell its consequences.
    const std::string& firstLine() const { return firstLine_; }

    /// For the log sink: whether a ThreadLog of the calling thread has taken the line.
    static bool take(std::string_view line);

  private:
    std::string firstLine_;
};

}  // namespace quillet::cli
