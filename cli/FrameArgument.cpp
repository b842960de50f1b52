#include "cli/FrameArgument.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/FrameContentView.hpp"
#include "id3/Limits.hpp"
#include "id3/TextTerminator.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

bool isOneOf(std::string_view identifier, std::initializer_list<std::string_view> identifiers) {
    return std::ranges::find(identifiers, identifier) != identifiers.end();
}

/// Comments and lyrics, which have a language.
bool hasLanguage(std::string_view identifier) {
    return isOneOf(identifier, {"COMM", "COM", "USLT", "ULT"});
}

bool isDescribed(std::string_view identifier) {
    return hasLanguage(identifier) || isOneOf(identifier, {"TXXX", "TXX", "WXXX", "WXX"});
}

bool isIdentifier(std::string_view text) {
    return (text.size() == 3 || text.size() == 4) &&
           std::ranges::all_of(text, [](char one) { return (one >= 'A' && one <= 'Z') || (one >= '0' && one <= '9'); });
}

/// A web address, which stands in Latin-1 (ID3v2.4.0 frames 4.3).
bool isLink(std::string_view identifier) {
    return identifier.starts_with('W') && !isOneOf(identifier, {"WFED", "WFD"});
}

std::shared_ptr<id3V2Frame> frameWith(const id3V2Tag& tag, FrameID identifier, const std::string& body) {
    const auto version = static_cast<std::int32_t>(tag.tagVersion());
    auto frame = std::make_shared<id3V2Frame>(identifier, 0, 0, version, kStandardDialect);
    frame->appendDataToFrame(util::Data::copyOf(util::bytesOf(body)), true);
    return frame;
}

/// ASCII as it is, all else in UTF-16, which every version and reader knows.
TextEncoding encodingOf(const std::string& text) {
    const bool isASCII = std::ranges::all_of(text, [](char one) { return static_cast<unsigned char>(one) < 0x80; });
    return isASCII ? TextEncoding::latin1 : TextEncoding::utf16WithMark;
}

std::string descriptionOf(const id3V2Tag& tag, const id3V2Frame& frame) {
    const auto fields = FrameContentView::of(tag, frame).fields;
    const auto found = fields.find("description");
    return found != fields.end() && found->is_string() ? found->get<std::string>() : "";
}

}  // namespace

std::optional<FrameArgument> FrameArgument::parse(std::string_view argument) {
    const std::size_t equals = argument.find('=');
    if (equals == argument.npos || !isIdentifier(argument.substr(0, equals))) return std::nullopt;
    FrameArgument parsed;
    parsed.identifier = argument.substr(0, equals);
    argument.remove_prefix(equals + 1);
    if (isDescribed(parsed.identifier)) {
        const std::size_t end = argument.find('=');
        if (end == argument.npos) return std::nullopt;
        parsed.description = argument.substr(0, end);
        argument.remove_prefix(end + 1);
    }
    parsed.text = argument;
    return parsed;
}

std::string FrameArgument::apply(TagAPI& api) const {
    id3V2Tag& tag = *api.getV2Tag();
    const ResolvedFrame resolved = tag.getActualFrameID(identifier);
    if (!resolved.identifier || resolved.record == nullptr)
        return fmt::format("there is no frame {} in ID3v2.{}", identifier, tag.tagVersion());
    const std::string& own = *resolved.identifier;
    if (description) return applyDescribed(api, FrameID(own));
    if (FrameLibrary::flagOf(*resolved.record, "text")) return applyText(api, own);
    if (!isLink(own)) return fmt::format("frame {} is none of text", identifier);
    const auto address = util::encodeLatin1(text);
    if (!address) return fmt::format("frame {} cannot hold '{}'", identifier, text);
    if (text.empty())
        api.dropFrame(FrameID(own));
    else
        api.setFrames({frameWith(tag, FrameID(own), *address)});
    return "";
}

std::string FrameArgument::applyText(TagAPI& api, const std::string& own) const {
    // What has a setter of its own stands in a v1 record too.
    if (isOneOf(own, {"TIT2", "TT2"})) {
        api.setTitle(text);
    } else if (isOneOf(own, {"TPE1", "TP1"})) {
        api.setArtist(text);
    } else if (isOneOf(own, {"TALB", "TAL"})) {
        api.setAlbum(text);
    } else if (isOneOf(own, {"TCON", "TCO"})) {
        api.setGenreName({text});
    } else {
        api.dropFrame(FrameID(own));
        if (!text.empty() && !api.setContent({text}, own))
            return api.getV2Tag()->getErrorDescription().value_or(fmt::format("frame {} cannot be set", identifier));
        if (!api.v1TagPresent()) return "";
        const std::int64_t number = util::integerValue(std::string_view(text).substr(0, 4));
        if (isOneOf(own, {"TYER", "TDRC", "TYE"})) api.getV1Tag()->setYear(static_cast<std::int32_t>(number));
        if (isOneOf(own, {"TRCK", "TRK"})) api.getV1Tag()->setTrack(id3V2Tag::numberInSetString(text));
    }
    return "";
}

std::string FrameArgument::applyDescribed(TagAPI& api, FrameID own) const {
    const id3V2Tag& tag = *api.getV2Tag();
    FrameArray frames;
    std::string language = "eng";
    for (const auto& frame : tag.frames().titled(own)) {
        if (frame->getRawFrameData() && !frame->encrypted() && descriptionOf(tag, *frame) == *description) {
            const auto fields = FrameContentView::of(tag, *frame).fields;
            if (hasLanguage(identifier) && fields.contains("language") && fields["language"].is_string())
                language = fields["language"].get<std::string>();
        } else {
            frames.push_back(frame);
        }
    }
    if (!text.empty()) {
        const bool link = isLink(identifier);
        const TextEncoding encoding = encodingOf(link ? *description : *description + text);
        const auto address = util::encodeLatin1(text);
        if (link && !address) return fmt::format("frame {} cannot hold '{}'", identifier, text);
        std::string body(1, encoding == TextEncoding::latin1 ? '\0' : '\1');
        language.resize(3, ' ');
        if (hasLanguage(identifier)) body += language;
        body += id3V2Frame::encode(*description, encoding) + std::string(terminatorLength(encoding), '\0');
        body += link ? *address : id3V2Frame::encode(text, encoding);
        frames.push_back(frameWith(tag, own, body));
    }
    if (frames.empty())
        api.dropFrame(own);
    else
        api.setFrames(std::move(frames));
    return "";
}

bool FrameArgument::isHeldBy(const id3V2Tag& tag) const {
    const ResolvedFrame resolved = tag.getActualFrameID(identifier);
    if (!resolved.identifier) return text.empty();
    std::size_t found = 0;
    for (const auto& frame : tag.frames().titled(FrameID(*resolved.identifier))) {
        if (description && descriptionOf(tag, *frame) != *description) continue;
        const auto fields = FrameContentView::of(tag, *frame).fields;
        const auto held = fields.find(fields.contains("url") ? "url" : "text");
        const std::string content = held != fields.end() && held->is_string() ? held->get<std::string>() : "";
        if (id3V2Frame::cleanString(content) != id3V2Frame::cleanString(text)) return false;
        ++found;
    }
    return (found > 0) != text.empty();
}

}  // namespace quillet::cli
