#pragma once

#include "util/Bytes.hpp"

namespace quillet {

/// The deepest that arrays and dictionaries may stand in one another.
inline constexpr int kDeepestPropertyList = 64;

/// Whether libplist can be trusted with the bytes of a binary property list ("bplist00"): everything lies inside,
/// nothing contains itself or is nested too deeply, only types are there that a PropertyValue has, and what many places
/// share does not grow beyond measure once each of them gets a copy of its own.
bool isSoundBinaryPropertyList(util::Bytes bytes);

/// The same for an XML property list: each element is closed where it should be, none is unknown or nested too deeply.
bool isSoundXMLPropertyList(util::Bytes bytes);

}  // namespace quillet
