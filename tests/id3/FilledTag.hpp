#pragma once

#include "id3/id3V2Tag.hpp"
#include "tests/MemoryFile.hpp"
#include "tests/id3/TagBytes.hpp"

namespace quillet::test {

using Frames = std::vector<std::pair<std::string, std::string>>;

/// A frame library of few frames.
inline FrameLibrary smallLibrary() {
    const auto record = [](bool text, bool multi, util::PropertyDictionary equivalents) {
        equivalents["text"] = text;
        equivalents["multi"] = multi;
        return equivalents;
    };
    const util::PropertyDictionary frames = {
        {"2.0", util::PropertyDictionary{{"TT2", record(true, false, {{"2.3", "TIT2"}})},
                                         {"OLD", record(true, false, {{"2.3", "GONE"}})}}},
        {"2.3",
         util::PropertyDictionary{{"TIT2", record(true, false, {{"2.0", "TT2"}})}, {"PRIV", record(false, true, {})}}},
        {"iTunes_comment", util::PropertyArray{"iTun"}},
    };
    return FrameLibrary(std::make_shared<const util::PropertyDictionary>(util::PropertyDictionary{{"frames", frames}}));
}

/// A tag that was read, or an empty one where there are no frames.
inline id3V2Tag filledTag(std::uint32_t version, const Frames& frames, const Dialect& dialect) {
    id3V2Tag tag(smallLibrary(), dialect);
    if (frames.empty()) {
        tag.newTag(version, 0);
        return tag;
    }
    std::string content;
    for (const auto& [identifier, body] : frames) {
        content += version == 2   ? frame20(identifier, body)
                   : version == 3 ? frame23(identifier, body)
                                  : frame24(identifier, body);
    }
    const MemoryFile file(tagOf(version, 0, content + std::string(64, '\0')));
    tag.openPath(file.path());
    return tag;
}

inline std::uint32_t lengthOf(const id3V2Tag& tag) {
    std::uint32_t length = 0;
    for (const auto& frame : tag.frames().all()) length += frame->length();
    return length;
}

inline std::string shown(const id3V2Tag& tag) {
    return listed(tag.frames().all());
}

inline std::shared_ptr<id3V2Frame> frame(const char* identifier, std::string_view body) {
    return std::make_shared<id3V2Frame>(dataOf(body), identifier, std::uint8_t{0}, std::uint8_t{0}, 3);
}

}  // namespace quillet::test
