#pragma once

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/SqliteMusicLibrary.hpp"
#include "tests/TemporaryFolder.hpp"
#include "util/FilePath.hpp"
#include "util/Log.hpp"

namespace quillet::test {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using util::PropertyDictionary;
using util::PropertyValue;
using Mode = SqliteMusicLibrary::Mode;

/// What another connection gets: the columns of all rows, each as text.
inline std::vector<std::string> run(sqlite3* database, const std::string& sql) {
    std::vector<std::string> values;
    const auto take = [](void* to, int count, char** columns, char**) {
        auto& taken = *static_cast<std::vector<std::string>*>(to);
        for (int i = 0; i < count; ++i) taken.emplace_back(columns[i] == nullptr ? "NULL" : columns[i]);
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), take, &values, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    return values;
}

inline std::vector<std::string> run(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open(path.c_str(), &database);
    auto values = run(database, sql);
    sqlite3_close(database);
    return values;
}

inline util::Data dataOf(std::string_view text) {
    return util::Data::copyOf(util::bytesOf(text));
}

/// The content of every file under `folder`, by path.
inline std::map<std::string, std::string> everythingUnder(const std::string& folder) {
    std::map<std::string, std::string> content;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        content[entry.path()] = entry.is_regular_file() ? contentOf(entry.path()) : "";
    return content;
}

/// A root with a library, and tracks to put into it.
class LibraryFixture : public testing::Test {
  protected:
    LibraryFixture() {
        util::setLogSink([this](std::string_view line) { lines_.emplace_back(line); });
    }
    ~LibraryFixture() override { util::setLogSink({}); }

    std::unique_ptr<SqliteMusicLibrary> open(std::chrono::milliseconds busyLimit = std::chrono::seconds(60)) const {
        auto library = std::make_unique<SqliteMusicLibrary>(paths_, Mode::readWrite, busyLimit);
        library->setImportationEnabled(true);
        return library;
    }
    std::string mediaPath(const std::string& name) const {
        return util::pathIn(paths_.at(DevicePaths::kMediaFolder), name);
    }
    /// The identifier; 0 where the import failed. Fails the test where the completion did not run once.
    static std::uint64_t importAt(SqliteMusicLibrary& library, const std::string& path, PropertyDictionary values = {},
                                  std::string_view image = "") {
        const auto track = std::make_shared<TrackImport>();
        track->mediaType = 8;
        track->assetFilePath = path;
        track->values = std::move(values);
        if (!image.empty()) track->artworkData = dataOf(image);
        std::vector<std::pair<std::uint32_t, std::uint64_t>> answers;
        library.importTrack(track, [&](std::uint32_t status, std::uint64_t id) { answers.emplace_back(status, id); });
        EXPECT_EQ(answers.size(), 1U);
        EXPECT_EQ(answers.at(0).first == 0, answers.at(0).second != 0);
        return answers.at(0).second;
    }
    std::uint64_t import(SqliteMusicLibrary& library, const std::string& name, PropertyDictionary values = {},
                         std::string_view image = "") const {
        return importAt(library, mediaPath(name), std::move(values), image);
    }

    TemporaryFolder folder_;
    DevicePaths paths_{folder_.path()};
    const std::string file_ = paths_.at(SqliteMusicLibrary::kDatabase);
    std::vector<std::string> lines_;
};

inline PropertyValue nested(int depth) {
    PropertyValue value("core");
    for (int i = 0; i < depth; ++i) value = util::PropertyArray{value};
    return value;
}

}  // namespace quillet::test
