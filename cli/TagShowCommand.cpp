#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/FieldList.hpp"
#include "cli/TagReading.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::ordered_json;

/// What a user reads for a value; "" for null.
std::string textOf(const Json& value) {
    if (value.is_null()) return "";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

/// "3/12", "3", "?/12" or "".
std::string ofTotal(const Json& number, const Json& total) {
    if (total.is_null()) return textOf(number);
    return fmt::format("{}/{}", number.is_null() ? "?" : textOf(number), textOf(total));
}

std::string joined(const Json& texts, const char* between) {
    return fmt::to_string(fmt::join(texts.get<std::vector<std::string>>(), between));
}

std::string pictureText(const Json& picture) {
    std::vector<std::string> parts;
    for (const char* key : {"type", "mime", "description"})
        if (!picture[key].is_null()) parts.push_back(textOf(picture[key]));
    parts.push_back(fmt::format("{} bytes", textOf(picture["bytes"])));
    return fmt::to_string(fmt::join(parts, ", "));
}

std::string audioText(const AudioView& audio) {
    if (audio.layerText().empty()) return "";
    std::string text = fmt::format("MPEG {} Layer {}", audio.versionText(), audio.layerText());
    if (!audio.bitRateText().empty()) text += fmt::format(", {} kbit/s", audio.bitRateText());
    return fmt::format("{}, {} Hz, {}", text, audio.frequencyText(), audio.channelText());
}

std::string v2Text(const Json& tag) {
    if (tag.is_null()) return "";
    const std::size_t frames = tag["frames"].size();
    return fmt::format("ID3v{}, {} frame{}, {} bytes, {} of them padding", textOf(tag["version"]), frames,
                       frames == 1 ? "" : "s", textOf(tag["tagLength"]), textOf(tag["padding"]));
}

std::string v1Text(const Json& tag) {
    if (tag.is_null()) return "";
    return tag["track"].is_null() ? "ID3v1" : "ID3v1.1";
}

std::string block(const Console& console, const TagView& view) {
    const Json all = view.json();
    FieldList fields(console);
    fields.add("file", view.path());
    fields.add("title", textOf(all["title"]));
    fields.add("artist", textOf(all["artist"]));
    fields.add("album", textOf(all["album"]));
    fields.add("album artist", textOf(all["albumArtist"]));
    fields.add("track", ofTotal(all["track"], all["trackCount"]));
    fields.add("disc", ofTotal(all["disc"], all["discCount"]));
    fields.add("year", textOf(all["year"]));
    fields.add("genre", joined(all["genres"], ", "));
    fields.add("comment", textOf(all["comment"]));
    fields.add("composer", textOf(all["composer"]));
    fields.add("encoded by", textOf(all["encodedBy"]));
    for (const Json& picture : all["pictures"]) fields.add("picture", pictureText(picture));
    fields.add("duration", view.audio().exactTimeText());
    fields.add("audio", audioText(view.audio()));
    fields.add("tags", all["v1"].is_null() && all["v2"].is_null() ? "none" : "");
    fields.add("v2 tag", v2Text(all["v2"]));
    fields.add("v1 tag", v1Text(all["v1"]));
    return fields.text() + warningLines(console, view, "");
}

}  // namespace

int runTagShow(Console& console, const TagFiles& files) {
    ResultLayout layout;
    layout.areBlocks = !console.json();
    return readTags(console, files, layout, [&](const TagView& view) -> FileOutput {
        return {console.json() ? jsonWithWarnings(view.json(), view) : block(console, view), ""};
    });
}

}  // namespace quillet::cli
