#include <algorithm>
#include <utility>

#include "id3/Limits.hpp"
#include "id3/TextTerminator.hpp"
#include "id3/id3V2Frame.hpp"
#include "util/ByteReader.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

using util::ByteReader;
using util::Bytes;

/// Where a comment's description begins: behind the coding byte and the language.
constexpr std::size_t kDescription = 4;
/// Bytes of UTF-8 that one UTF-16 code unit becomes at most.
constexpr std::size_t kLongestCodeUnit = 3;
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kBetweenValues = " / ";

constexpr bool isTrimmed(char c) {
    return c == '\0' || c == '\r' || c == '\n' || c == '\t';
}

void trim(std::string& text) {
    while (!text.empty() && isTrimmed(text.back())) text.pop_back();
    if (!text.empty() && isTrimmed(text.front())) text.erase(text.begin(), std::ranges::find_if_not(text, isTrimmed));
}

/// Each of several values may have a mark of its own.
std::string_view withoutMark(std::string_view value) {
    return value.starts_with(kByteOrderMark) ? value.substr(kByteOrderMark.size()) : value;
}

/// The index of the first of two zeros side by side, searched byte by byte from the description on; nullopt without.
std::optional<std::size_t> twoZeros(Bytes body) {
    if (body.size() <= kDescription) return std::nullopt;
    const Bytes searched = body.subspan(kDescription);
    const auto found = std::ranges::adjacent_find(searched, [](auto a, auto b) { return a == 0 && b == 0; });
    if (found == searched.end()) return std::nullopt;
    return kDescription + static_cast<std::size_t>(found - searched.begin());
}

/// A comment's two texts, still encoded; each nullopt where there is no room for it.
struct EncodedComment {
    std::optional<Bytes> description;
    std::optional<Bytes> text;
};

EncodedComment commentByByte(Bytes body, TextEncoding encoding) {
    EncodedComment comment;
    if (isWide(encoding)) {
        const auto zeros = twoZeros(body);
        if (!zeros) return comment;
        // Meant so: the zeros may be a character's high byte and the terminator's first, so that the description ends
        // in half a character and the text begins with half a terminator; and fewer than four bytes behind do not
        // count.
        if (*zeros + 4 <= body.size()) comment.description = body.subspan(kDescription, *zeros - kDescription);
        if (*zeros + 5 <= body.size()) comment.text = body.subspan(*zeros + 2);
        return comment;
    }
    if (body.size() <= kDescription) return comment;
    const Bytes behind = body.subspan(kDescription);
    const auto end = terminatorIn(behind, encoding);
    if (!end) return comment;
    comment.description = behind.first(*end);
    comment.text = behind.subspan(*end + 1);
    return comment;
}

EncodedComment commentByCharacter(Bytes body, TextEncoding encoding) {
    EncodedComment comment;
    if (body.size() < kDescription) return comment;
    const Bytes behind = body.subspan(kDescription);
    const auto end = terminatorIn(behind, encoding);
    comment.description = behind.first(end.value_or(behind.size()));
    if (end) comment.text = behind.subspan(*end + terminatorLength(encoding));
    return comment;
}

/// Meant so in the system dialect: a segment goes on behind its closing parenthesis.
std::vector<std::string> genresWithStrayParentheses(std::string_view text) {
    std::vector<std::string> genres;
    // Each closing parenthesis can repeat all that stands before it.
    text = util::utf16Prefix(text, kLongestGenreText);
    const bool opened = text.starts_with('(');
    std::size_t segmentStart = opened ? 1 : 0;
    int depth = opened ? 1 : 0;
    const auto add = [&](std::size_t end) { genres.emplace_back(text.substr(segmentStart, end - segmentStart)); };
    for (std::size_t i = segmentStart; i < text.size(); ++i) {
        if (text[i] == '\0') {
            if (segmentStart < i) add(i);
            segmentStart = i + 1;
            depth = 0;
        } else if (text[i] == ')') {
            if (depth >= 1) --depth;
            if (segmentStart < i && depth == 0) add(i);
        } else if (text[i] == '(') {
            if (depth == 0) segmentStart = i + 1;
            ++depth;
        }
    }
    if (segmentStart < text.size()) add(text.size());
    return genres;
}

bool isGenreReference(std::string_view text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return text == "RX" || text == "CR" || (!text.empty() && std::ranges::all_of(text, isDigit));
}

/// References in parentheses, then a name, whose own first parenthesis is doubled (ID3v2.3.0 4.2.1, TCON).
void addGenres(std::string_view value, std::vector<std::string>& genres) {
    while (value.starts_with('(')) {
        const std::size_t close = value.find(')');
        if (close == std::string_view::npos || !isGenreReference(value.substr(1, close - 1))) break;
        genres.emplace_back(value.substr(1, close - 1));
        value.remove_prefix(close + 1);
    }
    if (value.starts_with("((")) value.remove_prefix(1);
    if (!value.empty()) genres.emplace_back(value);
}

}  // namespace

Bytes id3V2Frame::body() const {
    return frame_ ? frame_->bytes().first(std::min<std::size_t>(length_, frame_->size())) : Bytes();
}

std::string id3V2Frame::textWithNuls() const {
    ByteReader reader(body());
    const auto coding = reader.u8();
    std::string text = coding ? decode(reader.rest(), convertTextCodingByte(*coding)) : std::string();
    // A lone character keeps even a tab, but only where the byte behind the coding says that it is ASCII.
    const std::uint8_t first = reader.u8().value_or(0);
    const bool isLoneASCII =
        first >= 1 && first <= 0x7F && text.size() <= kLongestCodeUnit && util::utf16Length(text) == 1;
    if (!isLoneASCII) trim(text);
    return text;
}

std::optional<std::string> id3V2Frame::getTextFromFrame() const {
    if (!frame_) return std::nullopt;
    std::string text = textWithNuls();
    if (dialect_->keepsNulsBetweenValues || text.find('\0') == std::string::npos) return text;
    std::string joined;
    for (const std::string& value : textValues()) {
        if (!joined.empty()) joined += kBetweenValues;
        joined += value;
    }
    return joined;
}

std::vector<std::string> id3V2Frame::textValues() const {
    const std::string text = textWithNuls();
    std::vector<std::string> values;
    for (const std::string_view value : util::split(text, '\0')) values.emplace_back(withoutMark(value));
    while (!values.empty() && values.back().empty()) values.pop_back();
    return values;
}

std::optional<std::string> id3V2Frame::getShortCommentFromFrame() const {
    return commentPart(CommentPart::description);
}

std::optional<std::string> id3V2Frame::getCommentFromFrame() const {
    return commentPart(CommentPart::text);
}

std::optional<std::string> id3V2Frame::commentPart(CommentPart wanted) const {
    const auto coding = ByteReader(body()).u8();
    if (!coding) return std::nullopt;
    const TextEncoding encoding = convertTextCodingByte(*coding);
    const EncodedComment comment =
        dialect_->findsTerminatorsByByte ? commentByByte(body(), encoding) : commentByCharacter(body(), encoding);
    const auto& part = wanted == CommentPart::description ? comment.description : comment.text;
    if (!part) return std::nullopt;
    return cleanString(decode(*part, encoding));
}

std::vector<std::string> id3V2Frame::genreArrayFromFrame() const {
    if (dialect_->keepsStrayParentheses) return genresWithStrayParentheses(textWithNuls());
    const std::string text = textWithNuls();
    std::vector<std::string> genres;
    for (std::string_view rest = text;;) {
        const std::size_t end = rest.find('\0');
        addGenres(withoutMark(rest.substr(0, end)), genres);
        if (end == std::string_view::npos) return genres;
        rest.remove_prefix(end + 1);
    }
}

std::string id3V2Frame::cleanString(std::string_view text) {
    std::string cleaned(text);
    trim(cleaned);
    if (cleaned.find('\0') == std::string::npos) return cleaned;
    std::size_t to = 0;
    for (std::size_t from = 0; from < cleaned.size(); ++from) {
        const bool nul = cleaned[from] == '\0';
        if (nul && std::string_view(cleaned).substr(from + 1).starts_with('\0')) ++from;  // two of them are one space
        cleaned[to++] = nul ? ' ' : cleaned[from];
    }
    cleaned.resize(to);
    return cleaned;
}

}  // namespace quillet
