#pragma once

#include <optional>

#include "util/Data.hpp"

namespace quillet {

/// `data` with unsynchronisation reversed, each FF 00 made FF: `data` itself where it has no such pair. Nullopt where
/// it cannot have been unsynchronised (FF and E0 or more stand together) or there is no memory (ID3v2.4.0 structure
/// 6.1).
std::optional<util::Data> withoutUnsynchronisation(const util::Data& data);

}  // namespace quillet
