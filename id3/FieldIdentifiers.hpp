#pragma once

#include <array>
#include <cstdint>

#include "id3/FrameID.hpp"

namespace quillet {

/// The frame that holds a field, in 2.2, 2.3 and 2.4.
using FieldIdentifiers = std::array<FrameID, 3>;

/// The one of a tag's version (versions below 3 are 2); empty above 4.
constexpr FrameID identifierIn(const FieldIdentifiers& field, std::uint32_t majorVersion) {
    if (majorVersion > 4) return {};
    return field[majorVersion < 3 ? 0 : majorVersion - 2];
}

namespace field {

inline constexpr FieldIdentifiers kTitle = {"TT2", "TIT2", "TIT2"};
inline constexpr FieldIdentifiers kArtist = {"TP1", "TPE1", "TPE1"};
inline constexpr FieldIdentifiers kAlbumArtist = {"TP2", "TPE2", "TPE2"};
inline constexpr FieldIdentifiers kAlbum = {"TAL", "TALB", "TALB"};
inline constexpr FieldIdentifiers kYear = {"TYE", "TYER", "TDRC"};
/// Where the standard dialect looks when there is no year under kYear.
inline constexpr FieldIdentifiers kOtherYear = {"TYE", "TDRC", "TYER"};
inline constexpr FieldIdentifiers kTrack = {"TRK", "TRCK", "TRCK"};
inline constexpr FieldIdentifiers kDisk = {"TPA", "TPOS", "TPOS"};
inline constexpr FieldIdentifiers kGenre = {"TCO", "TCON", "TCON"};
inline constexpr FieldIdentifiers kComment = {"COM", "COMM", "COMM"};
inline constexpr FieldIdentifiers kEncodedBy = {"TSS", "TSSE", "TSSE"};
inline constexpr FieldIdentifiers kComposer = {"TCM", "TCOM", "TCOM"};
inline constexpr FieldIdentifiers kPicture = {"PIC", "APIC", "APIC"};

}  // namespace field

}  // namespace quillet
