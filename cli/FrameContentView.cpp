#include "cli/FrameContentView.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "cli/TagView.hpp"
#include "id3/TextTerminator.hpp"
#include "util/ByteReader.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::ordered_json;

/// The text before the next terminator, which is passed over; all that is left where there is none.
std::string textUpToTerminator(util::ByteReader& reader, TextEncoding encoding) {
    const util::Bytes rest = reader.rest();
    const std::size_t length = terminatorIn(rest, encoding).value_or(rest.size());
    reader.skip(std::min(rest.size(), length + terminatorLength(encoding)));
    return id3V2Frame::decode(rest.first(length), encoding);
}

std::string latin1UpToNul(util::ByteReader& reader) {
    return textUpToTerminator(reader, TextEncoding::latin1);
}

/// "first: second", or what is there of both.
std::string titled(const std::string& title, const std::string& text) {
    return title.empty() || text.empty() ? title + text : fmt::format("{}: {}", title, text);
}

Json orNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

FrameContentView bytesContent(std::size_t count) {
    return {{{"bytes", count}}, fmt::format("({} bytes)", count)};
}

FrameContentView textContent(const id3V2Frame& frame) {
    const std::string text = frame.getTextFromFrame().value_or("");
    FrameContentView view{{{"text", orNull(text)}}, text};
    if (const auto values = frame.textValues(); values.size() > 1) view.fields["values"] = values;
    return view;
}

/// TXXX and WXXX: a description, then a text in its encoding or an address in Latin-1.
FrameContentView userContent(const id3V2Frame& frame, util::ByteReader reader, bool isAddress) {
    const auto coding = reader.u8();
    if (!coding) return bytesContent(0);
    const TextEncoding encoding = frame.convertTextCodingByte(*coding);
    const std::string description = textUpToTerminator(reader, encoding);
    if (isAddress) {
        const std::string url = latin1UpToNul(reader);
        return {{{"description", orNull(description)}, {"url", orNull(url)}}, titled(description, url)};
    }
    std::vector<std::string> values;
    while (!reader.atEnd()) values.push_back(textUpToTerminator(reader, encoding));
    while (!values.empty() && values.back().empty()) values.pop_back();
    const std::string text = fmt::to_string(fmt::join(values, " / "));
    FrameContentView view{{{"description", orNull(description)}, {"text", orNull(text)}}, titled(description, text)};
    if (values.size() > 1) view.fields["values"] = values;
    return view;
}

FrameContentView addressContent(util::ByteReader reader) {
    const std::string url = latin1UpToNul(reader);
    return {{{"url", orNull(url)}}, url};
}

FrameContentView commentContent(const id3V2Frame& frame, util::ByteReader reader) {
    reader.skip(1);
    const auto language = reader.take(3);
    if (!language) return bytesContent(frame.getFrameLength());
    util::ByteReader languageReader(*language);
    const std::string languageText = latin1UpToNul(languageReader);
    const std::string description = frame.getShortCommentFromFrame().value_or("");
    const std::string text = frame.getCommentFromFrame().value_or("");
    return {{{"language", orNull(languageText)}, {"description", orNull(description)}, {"text", orNull(text)}},
            titled(description, text)};
}

FrameContentView pictureContent(const id3V2Tag& tag, const id3V2Frame& frame) {
    const auto picture = frame.majorVersion() == 2 ? tag.getImageFrom2Frame(frame) : tag.getImageFrom3Frame(frame);
    if (!picture) return bytesContent(frame.getFrameLength());
    std::vector<std::string> parts;
    for (const std::string& part : {picture->pictureType, picture->mimeType, picture->description})
        if (!part.empty()) parts.push_back(part);
    parts.push_back(fmt::format("{} bytes", picture->image.size()));
    return {TagView::jsonOf(*picture), fmt::to_string(fmt::join(parts, ", "))};
}

/// UFID and PRIV: whose they are, and what only the owner understands. Identifiers are mostly readable.
FrameContentView ownedContent(util::ByteReader reader) {
    const std::string owner = latin1UpToNul(reader);
    const std::string_view data = util::charactersOf(reader.rest());
    const bool isText = !data.empty() && data.size() <= 64 &&
                        std::all_of(data.begin(), data.end(), [](char byte) { return byte >= 0x20 && byte < 0x7F; });
    FrameContentView view{{{"owner", orNull(owner)}, {"bytes", data.size()}}, ""};
    if (isText) view.fields["text"] = data;
    view.text = titled(owner, isText ? std::string(data) : fmt::format("({} bytes)", data.size()));
    return view;
}

/// A counter of as many bytes as are left; nullopt for more than a number holds.
std::optional<std::uint64_t> counterOf(util::ByteReader reader) {
    if (reader.atEnd()) return std::nullopt;
    std::uint64_t count = 0;
    for (auto byte = reader.u8(); byte; byte = reader.u8()) {
        if (count >> 56 != 0) return std::nullopt;
        count = count << 8 | *byte;
    }
    return count;
}

FrameContentView counterContent(util::ByteReader reader) {
    const auto count = counterOf(reader);
    if (!count) return bytesContent(reader.remaining());
    return {{{"count", *count}}, std::to_string(*count)};
}

FrameContentView ratingContent(util::ByteReader reader) {
    const std::size_t all = reader.remaining();
    const std::string email = latin1UpToNul(reader);
    const auto rating = reader.u8();
    if (!rating) return bytesContent(all);
    const auto count = counterOf(reader);
    return {{{"email", orNull(email)}, {"rating", *rating}, {"count", count ? Json(*count) : Json(nullptr)}},
            titled(email, fmt::format("{} of 255", *rating))};
}

FrameContentView objectContent(const id3V2Frame& frame, util::ByteReader reader) {
    const auto coding = reader.u8();
    if (!coding) return bytesContent(0);
    const TextEncoding encoding = frame.convertTextCodingByte(*coding);
    const std::string mime = latin1UpToNul(reader);
    const std::string fileName = textUpToTerminator(reader, encoding);
    const std::string description = textUpToTerminator(reader, encoding);
    return {{{"mime", orNull(mime)},
             {"fileName", orNull(fileName)},
             {"description", orNull(description)},
             {"bytes", reader.remaining()}},
            titled(description.empty() ? fileName : description, fmt::format("({} bytes)", reader.remaining()))};
}

}  // namespace

FrameContentView FrameContentView::of(const id3V2Tag& tag, const id3V2Frame& frame) {
    const auto& body = frame.getRawFrameData();
    if (!body || frame.encrypted()) return bytesContent(frame.getFrameLength());
    const util::ByteReader reader(body->bytes());
    const std::string identifier = frame.getFrameID().text();
    const auto isOneOf = [&identifier](std::initializer_list<std::string_view> identifiers) {
        return std::find(identifiers.begin(), identifiers.end(), identifier) != identifiers.end();
    };
    if (isOneOf({"TXXX", "TXX"})) return userContent(frame, reader, false);
    if (isOneOf({"WXXX", "WXX"})) return userContent(frame, reader, true);
    if (isOneOf({"COMM", "COM", "USLT", "ULT"})) return commentContent(frame, reader);
    if (isOneOf({"APIC", "PIC"})) return pictureContent(tag, frame);
    if (isOneOf({"UFID", "UFI", "PRIV"})) return ownedContent(reader);
    if (isOneOf({"PCNT", "CNT"})) return counterContent(reader);
    if (isOneOf({"POPM", "POP"})) return ratingContent(reader);
    if (isOneOf({"GEOB", "GEO"})) return objectContent(frame, reader);
    if (identifier.starts_with('W')) return addressContent(reader);
    // Text that is written under an identifier without a T in front.
    if (identifier.starts_with('T') || isOneOf({"IPLS", "IPL", "GRP1", "GP1", "MVNM", "MVN", "MVIN", "MVI"}))
        return textContent(frame);
    return bytesContent(frame.getFrameLength());
}

}  // namespace quillet::cli
