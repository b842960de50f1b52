#include <gtest/gtest.h>

#include "import/QLSyncHelper.hpp"
#include "platform/ios/HostProcess.h"
#include "platform/ios/IOSPlatform.hpp"
#import "platform/ios/SystemClasses.h"
#include "tests/rig/ports/Device.h"

// This program has no double of any class.
namespace quillet {
namespace {

using WithoutClasses = test::Device;

TEST_F(WithoutClasses, NothingIsThereAndNothingBreaks) {
    IOSPlatform platform{folder.path()};
    for (const char* name : {"UIDevice", "ML3MusicLibrary", "CPDistributedMessagingCenter", "AVURLAsset"})
        EXPECT_EQ(classNamed(name, "/no/such/framework"), Nil) << name;
    EXPECT_NE(classNamed("NSString", "/no/such/framework"), Nil);
    EXPECT_EQ(symbolNamed("MPMediaEntityPropertyPersistentID", "/no/such/framework"), nullptr);
    EXPECT_EQ(currentDevice(), nil);
    EXPECT_EQ(systemVersion(), nil);
    EXPECT_EQ(hostBundleIdentifier(), nil);
    EXPECT_EQ(platform.messaging.centerNamed(kSyncMessagingCenter), nullptr);
    EXPECT_EQ(platform.library.persistentIdentifiers(), std::nullopt);
    EXPECT_FALSE(platform.media.assetAtPath(folder.write("song.m4a", "audio")));
    int answers = 0;
    platform.library.importTrack(std::make_shared<TrackImport>(), [&](std::uint32_t status, std::uint64_t identifier) {
        ++answers;
        EXPECT_NE(status, 0U);
        EXPECT_EQ(identifier, 0U);
    });
    EXPECT_EQ(answers, 1);
}

TEST_F(WithoutClasses, ABatchIsFiledAllTheSame) {
    IOSPlatform platform{folder.path()};
    QLSyncHelper helper(platform.ports);
    (void)helper.scanDatabaseChanges();
    const std::string drop = platform.paths.at(DevicePaths::kDropFolder);
    std::ofstream(drop + "/song.m4a") << "audio";
    helper.directoryDidFinishChanges();
    EXPECT_TRUE(std::filesystem::is_empty(drop));
    const auto filed =
        platform.propertyLists.dictionaryWithContentsOfFile(platform.paths.at(DevicePaths::kImportDatabase));
    ASSERT_TRUE(filed);
    EXPECT_EQ(filed->size(), 1U);
    EXPECT_TRUE(filed->contains("0"));
}

}  // namespace
}  // namespace quillet
