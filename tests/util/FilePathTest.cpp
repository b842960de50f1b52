#include "util/FilePath.hpp"

#include <gtest/gtest.h>

namespace quillet::util {
namespace {

struct PathCase {
    std::string_view path, last, extension, withoutExtension, folder;
};
const PathCase kPaths[] = {
    {"", "", "", "", ""},
    {"/", "/", "", "/", "/"},
    {"///", "/", "", "///", "/"},
    {"name", "name", "", "name", ""},
    {"song.mp3", "song.mp3", "mp3", "song", ""},
    {"/song.mp3", "song.mp3", "mp3", "/song", "/"},
    {"//song.mp3", "song.mp3", "mp3", "//song", "/"},
    {"/a/b/song.mp3", "song.mp3", "mp3", "/a/b/song", "/a/b"},
    {"a//song.mp3", "song.mp3", "mp3", "a//song", "a"},
    {"a.b/c", "c", "", "a.b/c", "a.b"},
    {"a.b/c.d/", "c.d", "d", "a.b/c", "a.b"},
    {"/a.b///", "a.b", "b", "/a", "/"},
    {"a.", "a.", "", "a.", ""},
    {"a..mp3", "a..mp3", "mp3", "a.", ""},
    {"a.tar.gz", "a.tar.gz", "gz", "a.tar", ""},
    {".hidden", ".hidden", "", ".hidden", ""},
    {"x/.hidden", ".hidden", "", "x/.hidden", "x"},
    {".hidden.mp3", ".hidden.mp3", "mp3", ".hidden", ""},
    {"..", "..", "", "..", ""},
    {"../..", "..", "", "../..", ".."},
    {"\xff.\xfe", "\xff.\xfe", "\xfe", "\xff", ""},
};

TEST(FilePath, TakesPathsApart) {
    for (const PathCase& c : kPaths) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(lastPathComponent(c.path), c.last);
        EXPECT_EQ(pathExtension(c.path), c.extension);
        EXPECT_EQ(deletingPathExtension(c.path), c.withoutExtension);
        EXPECT_EQ(deletingLastPathComponent(c.path), c.folder);
    }
}

TEST(FilePath, PutsOneSlashBetweenFolderAndName) {
    EXPECT_EQ(pathIn("/a", "b"), "/a/b");
    EXPECT_EQ(pathIn("/a//", "b"), "/a/b");
    EXPECT_EQ(pathIn("/", "b"), "/b");
    EXPECT_EQ(pathIn("", "b"), "/b");
}

}  // namespace
}  // namespace quillet::util
