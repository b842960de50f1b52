#pragma once

#include "util/FileRewrite.hpp"

namespace quillet {

/// How a changed tag gets into its file.
struct SaveOptions {
    util::RewriteOptions file;  ///< of a rewrite; a save in place is synced by neither choice
    bool breakLinks = false;    ///< save a file that has several names, under this name alone
    bool force = false;         ///< standard dialect: save a tag that was not read faithfully, less what was not read
};

}  // namespace quillet
