#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/FileSelection.hpp"
#include "cli/FrameContentView.hpp"
#include "cli/FrameNames.hpp"
#include "cli/TagReading.hpp"
#include "cli/TrackView.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(const TagView& view) {
    Json object;
    addFileName(object, "file", view.path());
    const id3V2Tag* tag = view.v2();
    object["version"] = tag == nullptr ? Json(nullptr) : Json(view.v2Version());
    Json& frames = object["frames"] = Json::array();
    if (tag == nullptr) return object;
    for (const auto& frame : tag->frames().all()) {
        Json one = TagView::jsonOf(*frame);
        const std::string_view name = frameName(frame->getFrameID().text());
        one["name"] = name.empty() ? Json(nullptr) : Json(name);
        one.update(FrameContentView::of(*tag, *frame).fields);
        frames.push_back(std::move(one));
    }
    return object;
}

/// One line a frame: what it is, its body's size, what it holds, and its flags where it has any.
std::string rows(const Console& console, const TagView& view) {
    const id3V2Tag* tag = view.v2();
    if (tag == nullptr) return "no ID3v2 tag";
    std::string lines = fmt::format("ID3v{}, {} bytes, {} of them padding", view.v2Version(), tag->tagLength(),
                                    tag->getPaddingLength());
    for (const auto& frame : tag->frames().all()) {
        const std::string identifier = frame->getFrameID().text();
        const std::string start =
            fmt::format("{:<4}  {:<24}  {:>8}  ", shown(identifier), frameName(identifier), frame->getFrameLength());
        std::string content = shown(FrameContentView::of(*tag, *frame).text);
        if (const auto flags = TagView::flagsOf(*frame); !flags.empty())
            content = fmt::format("[{}] {}", fmt::join(flags, ", "), content);
        if (console.outputIsTerminal()) {
            constexpr std::size_t kNarrowest = 12;
            const std::size_t width = console.width();
            content = fitted(content, std::max(kNarrowest, width > start.size() ? width - start.size() : 0));
        }
        lines.append("\n").append(start).append(content);
    }
    return lines;
}

}  // namespace

int runTagFrames(Console& console, const TagFiles& files) {
    const bool hasHeadings = FileSelection::mayBeSeveral(files.paths);
    ResultLayout layout;
    layout.areBlocks = !console.json();
    return readTags(console, files, layout, [&](const TagView& view) -> FileOutput {
        if (console.json()) return {jsonWithWarnings(jsonOf(view), view), ""};
        const std::string heading = hasHeadings ? console.coloured(Colour::bold, shown(view.path())) + "\n" : "";
        return {heading + rows(console, view) + warningLines(console, view, ""), ""};
    });
}

}  // namespace quillet::cli
