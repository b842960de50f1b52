/// A re-check of n records against m tracks takes time in n + m: what a record costs must not grow with their number.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "import/QLSyncHelper.hpp"
#include "tests/import/FakePlatform.hpp"

namespace {

using namespace quillet;

/// As many records as tracks, half of which know each other.
void recheck(benchmark::State& state) {
    const auto count = static_cast<std::uint64_t>(state.range(0));
    test::FakePlatform platform;
    platform.makeFolders();
    util::PropertyDictionary database;
    for (std::uint64_t i = 0; i < count; ++i) {
        // The file of a missing record is gone as well, so that the record is dropped and nothing is imported.
        database[std::to_string(i)] = util::PropertyDictionary{{"assetPath", "gone.mp3"}};
        platform.library.identifiers.push_back(i + count / 2);
    }
    if (!platform.propertyLists.writeToFile(database, platform.at(DevicePaths::kImportDatabase), false)) std::abort();
    for (auto _ : state) {
        state.PauseTiming();
        QLSyncHelper helper(platform.ports);
        state.ResumeTiming();
        helper.scanDatabaseChanges();
        state.PauseTiming();
        if (helper.dbItems()->size() != count - count / 2) std::abort();
        if (!platform.propertyLists.writeToFile(database, platform.at(DevicePaths::kImportDatabase), false))
            std::abort();
        state.ResumeTiming();
    }
    state.counters["seconds/record"] = benchmark::Counter(
        static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(recheck)->RangeMultiplier(4)->Range(1024, 65536)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);

}  // namespace

BENCHMARK_MAIN();
