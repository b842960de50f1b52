#pragma once

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/TemporaryFolder.hpp"
#import "tests/rig/doubles/Doubles.h"

namespace quillet::test {

/// Nothing that a test waits for takes this many seconds.
inline constexpr double kTooLong = 60;

/// A stand-in of the device for one test.
class Device : public testing::Test {
  public:
    Device() {
        setenv("QUILLET_RIG_ROOT", folder.path().c_str(), 1);
        setenv("QUILLET_RIG_RECORD", (folder / "record").c_str(), 1);
        unsetenv("QUILLET_RIG_IMPORTER");
    }
    ~Device() override { [pool_ drain]; }

    /// What the doubles have recorded since the last call, line by line.
    std::vector<std::string> recorded() {
        std::istringstream record(contentOf(folder / "record"));
        std::filesystem::remove(folder / "record");
        std::vector<std::string> lines;
        for (std::string line; std::getline(record, line);) lines.push_back(line);
        return lines;
    }

    const TemporaryFolder folder;

  private:
    NSAutoreleasePool* pool_ = [[NSAutoreleasePool alloc] init];
};

}  // namespace quillet::test
