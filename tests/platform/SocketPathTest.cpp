#include "platform/linux/SocketPath.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/TemporaryFolder.hpp"
#include "tests/platform/MessagingPeers.hpp"

namespace quillet {
namespace {

namespace fs = std::filesystem;
using test::kName;

TEST(SocketPath, GoesElsewhereWhereTheRootIsTooLongForAnAddress) {
    const test::TemporaryFolder folder, runtime;
    ::setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
    const std::string tail = std::string(DevicePaths::kImportDatabaseFolder) + "/" + kName + ".sock";
    ASSERT_LT((folder / "").size() + tail.size(), 107U);
    const std::string fitting = folder / std::string(107 - (folder / "").size() - tail.size(), 'r');
    EXPECT_EQ(socketPath(DevicePaths(fitting), kName), fitting + tail);
    EXPECT_TRUE(fs::is_directory(DevicePaths(fitting).at(DevicePaths::kImportDatabaseFolder)));

    const std::string own = runtime / "quillet";
    const std::string elsewhere = socketPath(DevicePaths(fitting + "r"), kName);
    EXPECT_EQ(fs::path(elsewhere).parent_path(), own);
    EXPECT_EQ(fs::status(own).permissions(), fs::perms::owner_all);
    fs::create_symlink(fitting + "r", folder / "link");
    EXPECT_EQ(socketPath(DevicePaths(folder / "link"), kName), elsewhere) << "one root, one socket";
    EXPECT_NE(socketPath(DevicePaths(fitting + "r"), "com.quillet.other"), elsewhere);
    EXPECT_NE(socketPath(DevicePaths(fitting + "rr"), kName), elsewhere);
    EXPECT_EQ(fs::path(socketPath(DevicePaths(fitting), "../../outside")).parent_path(), own);
    // A folder that others can write to, or a link that leads who knows where, is not used.
    const auto isOwn = [&] { return socketPath(DevicePaths(fitting + "r"), kName).starts_with(own); };
    fs::permissions(own, fs::perms::all);
    EXPECT_FALSE(isOwn());
    fs::permissions(own, fs::perms::owner_all);
    fs::rename(own, runtime / "moved");
    fs::create_directory_symlink(runtime / "moved", own);
    EXPECT_FALSE(isOwn());
    ::rmdir(("/tmp/quillet-" + std::to_string(::geteuid())).c_str());  // not where a server has its socket in it

    const std::string file = folder.write("file", "");
    EXPECT_EQ(socketPath(DevicePaths(file), kName), "") << "no root can be made there";
    ::unsetenv("XDG_RUNTIME_DIR");
}

}  // namespace
}  // namespace quillet
