#pragma once

#include "platform/MediaFramework.hpp"

struct AVFormatContext;
struct AVStream;

namespace quillet {

/// The largest picture that is taken from a file, in bytes; a larger one is left out.
inline constexpr int kLargestPicture = 64 << 20;

/// The tags of an opened file as the items of one format, "com.apple.itunes", all in key space "itsk". They are the
/// container's, or those of `music` where the container has none (Ogg). First the texts, then "trkn" and "disk" as 8
/// bytes (at 2 the number, at 4 the total, 16 bits big-endian, 0 for none), then the pictures in the file's order. What
/// the file does not tell has no item; a number that is none or takes more than 16 bits is left out. Text that is not
/// UTF-8 comes from tags without a declared encoding and is read as ISO-8859-1.
MetadataFormat itemsOf(const AVFormatContext& file, const AVStream& music);

}  // namespace quillet
