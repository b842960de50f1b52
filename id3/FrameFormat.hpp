#pragma once

#include <cstdint>
#include <memory>

#include "id3/id3V2Frame.hpp"

namespace quillet {

/// An encrypted frame of 2.3 or 2.4 as the other one has it: what is encrypted as it stands, behind the fields that
/// the version has for it. Null where that cannot be told.
std::shared_ptr<id3V2Frame> encryptedFrameFor(std::int32_t version, const id3V2Frame& frame);

/// A frame with that body in the place of `old`, with its status flags, and its group or its compression where the
/// version has them and the body allows for it. Standard dialect.
std::shared_ptr<id3V2Frame> frameLike(const id3V2Frame& old, FrameID identifier, util::Data body, std::int32_t version);

}  // namespace quillet
