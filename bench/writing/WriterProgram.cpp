#include "bench/writing/WriterProgram.hpp"

#include <fmt/format.h>

#include <cstdio>

#include "bench/ListProgram.hpp"

namespace quillet::bench {

int runWriter(int argc, char** argv, const std::function<SetTitle(std::string_view mode)>& makeSetter) {
    if (argc != 3 && argc != 4) {
        fmt::print(stderr, "usage: {} LIST TITLE [MODE]\n", argv[0]);
        return 2;
    }
    const SetTitle setTitle = makeSetter(argc == 4 ? argv[3] : "");
    const std::string title = argv[2];
    std::string failed;
    const auto cost = workThrough(argv[1], [&](const std::string& path) {
        if (!setTitle(path, title)) failed = path;
    });
    if (!cost) return 1;
    fmt::print(R"({{"files": {}, "wallNs": {}, "processorNs": {}, "peakKiB": {}}})"
               "\n",
               cost->files, cost->wallNs, cost->processorNs, cost->peakKiB);
    if (!failed.empty()) fmt::print(stderr, "{}: {} could not be written\n", argv[0], failed);
    return failed.empty() ? 0 : 1;
}

}  // namespace quillet::bench
