#include "platform/linux/LocalNotificationCenter.hpp"

#include <gtest/gtest.h>

#include <string>

namespace quillet {
namespace {

TEST(LocalNotificationCenter, CallsThoseWhoAskedForThisNameAndObjectInTheirOrder) {
    LocalNotificationCenter center;
    const int first = 0, second = 0, object = 0, other = 0;
    std::string calls;
    center.addObserver(&first, "start", &object, [&] { calls += 'a'; });
    center.addObserver(&second, "start", &object, [&] { calls += 'b'; });
    center.addObserver(&first, "finish", &object, [&] { calls += 'c'; });
    center.addObserver(&first, "start", &other, [&] { calls += 'd'; });
    center.addObserver(&first, "start", &object, [&] { calls += 'e'; });
    center.post("start", &object);
    EXPECT_EQ(calls, "abe");
    center.removeObserver(&first);
    center.removeObserver(&other);
    center.post("start", &object);
    center.post("finish", &object);
    EXPECT_EQ(calls, "abeb");
}

TEST(LocalNotificationCenter, LetsAHandlerAddRemoveAndPost) {
    LocalNotificationCenter center;
    const int itself = 0, later = 0, added = 0;
    std::string calls;
    center.addObserver(&itself, "start", nullptr, [&] {
        calls += 'a';
        center.removeObserver(&itself);
        center.removeObserver(&later);
        for (int i = 0; i < 100; ++i) center.addObserver(&added, "start", nullptr, [&] { calls += 'c'; });
        center.post("nested", nullptr);
        calls += 'z';  // what this handler holds is alive still
    });
    center.addObserver(&later, "start", nullptr, [&] { calls += 'b'; });
    center.addObserver(&added, "nested", nullptr, [&] { calls += 'n'; });
    center.post("start", nullptr);
    EXPECT_EQ(calls, "anz");
    center.post("start", nullptr);
    EXPECT_EQ(calls, "anz" + std::string(100, 'c'));
}

}  // namespace
}  // namespace quillet
