#include "util/Log.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillet::util {
namespace {

TEST(Log, HandsLinesWithoutTheirBreaksToTheSinkOrToStandardError) {
    std::vector<std::string> lines;
    setLogSink([&](std::string_view line) { lines.emplace_back(line); });
    log("Writing failed.\n\r");
    log("two\nlines\r\n\n");
    log("\n");
    setLogSink({});
    EXPECT_EQ(lines, (std::vector<std::string>{"Writing failed.", "two\nlines", ""}));
    testing::internal::CaptureStderr();
    log("Nothing to read.\n\r");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Nothing to read.\n");
}

}  // namespace
}  // namespace quillet::util
