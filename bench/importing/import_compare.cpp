/// import_compare LIST FOLDER [ROUNDS]: the speed of an import beside the floor's (ImportFloor.hpp), in one run.
///
/// LIST names MP3 files, one a line; they are linked into the drop folders of roots made and removed under FOLDER,
/// which must lie on their file system. Both sides are run in turn, once to warm up and ROUNDS times (3) for the clock,
/// with all tracks in one transaction or group, then with one transaction for each. What the floor inserts is what the
/// import made of the files, and the import's answer is checked first. The best time of each counts.

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/importing/ImportFloor.hpp"
#include "cli/LibrarySide.hpp"
#include "cli/ResourceDictionary.hpp"
#include "id3/TagAPI.hpp"
#include "import/QLSyncHelper.hpp"
#include "platform/linux/LinuxPlatform.hpp"
#include "util/FilePath.hpp"

namespace {

namespace fs = std::filesystem;
using namespace quillet;
using bench::ImportedTrack;
using bench::ImportFloor;
using bench::Transactions;

/// Counts what the library side tells.
class Reporter : public cli::BatchReporter {
  public:
    void imported(const std::string& /*entry*/, std::uint64_t /*persistentID*/) override { ++taken; }
    void rejected(const std::string& entry, const std::string& /*path*/, const std::string& reason) override {
        throw std::runtime_error(entry + " is rejected: " + reason);
    }
    void kept(const std::string& entry, const std::string& reason) override {
        throw std::runtime_error(entry + " is kept: " + reason);
    }
    void notTaken(const std::string& entry, const std::string& /*assetName*/) override {
        throw std::runtime_error(entry + " is not taken");
    }
    std::size_t taken = 0;
};

/// A root whose drop folder holds the files, and nothing else does.
class Root {
  public:
    Root(const std::string& folder, const std::vector<std::string>& files, const std::vector<std::string>& entries)
        : path_(util::pathIn(folder, fmt::format("import-bench.{}", getpid()))), paths(path_) {
        fs::remove_all(path_);
        for (const std::string_view needed :
             {DevicePaths::kDropFolder, DevicePaths::kMediaFolder, DevicePaths::kArtworkCache, DevicePaths::kDownloads})
            fs::create_directories(paths.at(needed));
        for (std::size_t i = 0; i < files.size(); ++i)
            fs::create_hard_link(files[i], util::pathIn(paths.at(DevicePaths::kDropFolder), entries[i]));
    }
    ~Root() { fs::remove_all(path_); }
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

  private:
    std::string path_;  ///< made before `paths`

  public:
    const DevicePaths paths;
};

double secondsOf(const std::function<void()>& work) {
    const auto began = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

double importTime(const Root& root, const std::vector<std::string>& entries, Transactions transactions) {
    LinuxPlatform platform(root.paths, UvEventLoop::Watching::kernel);
    if (transactions == Transactions::one) {
        Reporter reporter;
        cli::LibrarySide side(platform, reporter);
        const double seconds = secondsOf([&] { side.importNow(entries); });
        if (reporter.taken != entries.size()) throw std::runtime_error("not every file was imported");
        return seconds;
    }
    QLSyncHelper helper(platform.ports);
    return secondsOf([&] { helper.directoryDidFinishChanges(); });
}

double floorTime(const Root& root, const ImportFloor& floor, Transactions transactions) {
    {
        const SqliteMusicLibrary made(root.paths, SqliteMusicLibrary::Mode::readWrite);
    }
    return secondsOf([&] { floor.run(root.paths, transactions); });
}

/// What stands in the library of the root, in the order of the entries, as far as that can be told.
std::vector<ImportedTrack> importedTracks(const Root& root, const std::vector<std::string>& entries) {
    SqliteMusicLibrary library(root.paths, SqliteMusicLibrary::Mode::readOnly);
    std::vector<ImportedTrack> tracks;
    library.forEachTrack([&](const LibraryTrack& track) { tracks.push_back({track, "", 0}); });
    if (tracks.size() != entries.size()) throw std::runtime_error("not every file is in the library");
    std::size_t titled = 0;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        ImportedTrack& one = tracks[i];
        one.entry = one.track.origin ? one.track.origin->fileName : entries[i];
        if (one.track.artwork) one.imageBytes = library.artworkData(*one.track.artwork).value_or(util::Data()).size();
        const util::PropertyValue* time = util::find(one.track.values, "item_extra.total_time_ms");
        if (time == nullptr || time->stringValue().value_or("0") == "0")
            throw std::runtime_error(one.entry + " came without a duration");
        if (!util::textAt(one.track.values, "item_artist.item_artist").empty()) ++titled;
    }
    if (titled < tracks.size() / 2) throw std::runtime_error("most tracks came without their artist");
    return tracks;
}

long peakMemory() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

void compare(const std::string& folder, const std::vector<std::string>& files, int rounds, Transactions transactions) {
    std::vector<std::string> entries;
    for (std::size_t i = 0; i < files.size(); ++i) entries.push_back(fmt::format("{:06}.mp3", i));
    std::vector<ImportedTrack> tracks;
    {
        const Root root(folder, files, entries);
        importTime(root, entries, transactions);
        tracks = importedTracks(root, entries);
    }
    const ImportFloor floor(tracks);
    double ours = std::numeric_limits<double>::max();
    double theirs = ours;
    for (int round = 0; round < rounds; ++round) {
        {
            const Root root(folder, files, entries);
            theirs = std::min(theirs, floorTime(root, floor, transactions));
        }
        const Root root(folder, files, entries);
        ours = std::min(ours, importTime(root, entries, transactions));
    }
    const bool one = transactions == Transactions::one;
    fmt::print(
        "{:28} {:6} files  floor {:6.1f} us a file  import {:6.1f} us a file  ratio {:.2f} (aim {})  "
        "peak {} MB\n",
        one ? "one transaction" : "one transaction a file", files.size(),
        theirs * 1e6 / static_cast<double>(files.size()), ours * 1e6 / static_cast<double>(files.size()), ours / theirs,
        one ? "1.30" : "1.15", peakMemory());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount < 3) {
        fmt::print(stderr, "usage: import_compare LIST FOLDER [ROUNDS]\n");
        return 2;
    }
    try {
        std::vector<std::string> files;
        std::ifstream list(arguments[1]);
        for (std::string line; std::getline(list, line);) files.push_back(line);
        if (!TagAPI::sharedInstance().loadDictionary(cli::resourceDictionary())) return 1;
        const int rounds = argumentCount > 3 ? std::atoi(arguments[3]) : 3;
        for (const Transactions transactions : {Transactions::one, Transactions::oneEach})
            compare(arguments[2], files, rounds, transactions);
    } catch (const std::exception& error) {
        fmt::print(stderr, "import_compare: {}\n", error.what());
        return 1;
    }
    return 0;
}
