#pragma once

#include "platform/MediaFramework.hpp"

namespace quillet {

/// AVURLAsset's metadata and duration.
class AVMediaFramework : public MediaFramework {
  public:
    std::optional<MediaAsset> assetAtPath(const std::string& path) override;
};

}  // namespace quillet
