#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace quillet::bench {

/// What the work on all files of a list took.
struct Cost {
    std::uint64_t files = 0;
    std::uint64_t wallNs = 0;
    std::uint64_t processorNs = 0;
    std::uint64_t peakKiB = 0;  ///< the most memory that the process held so far
};

/// Calls `work` with every line of the file `list`, which is a path; nullopt, with a line on the standard error, where
/// there is no such list.
std::optional<Cost> workThrough(const char* list, const std::function<void(const std::string& path)>& work);

}  // namespace quillet::bench
