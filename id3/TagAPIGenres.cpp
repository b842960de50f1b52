#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "id3/Limits.hpp"
#include "id3/TagAPI.hpp"
#include "util/Narrow.hpp"
#include "util/Text.hpp"

namespace quillet {

namespace {

/// The first number that is not looked up.
constexpr std::int64_t kGenreLimit = 126;
constexpr std::string_view kNoGenreText = "255";
/// What a genre field of one byte can say; longer digits are a name, such as "1980".
constexpr std::int64_t kLargestGenre = 255;

constexpr std::string_view kUnnamed = "UNKNOWN";
constexpr std::string_view kUnnamedInStandard = "Unknown";

bool isGenreNumber(std::string_view text, const Dialect& dialect) {
    // Meant so: "80s" is a number here, and one without a name.
    if (dialect.limitsGenreNumbers) return text == "0" || util::integerValue(text) != 0;
    const bool digits =
        !text.empty() && std::all_of(text.begin(), text.end(), [](char one) { return one >= '0' && one <= '9'; });
    return digits && util::integerValue(text) <= kLargestGenre;
}

}  // namespace

std::optional<std::vector<std::string>> TagAPI::getGenreNames() {
    if (asksV2()) {
        auto names = processGenreArray(v2Tag_->getGenreNames().value_or(std::vector<std::string>()));
        if (!names.empty()) return names;
        if (dialect().answersFromOneTag) return std::nullopt;
    }
    if (!asksV1()) return std::nullopt;
    const std::int32_t genre = v1Tag_->getGenre();
    if (genre == kNoGenre && !dialect().limitsGenreNumbers) return std::nullopt;
    const std::string* name = genreNameAt(std::to_string(genre));
    return std::vector{name == nullptr ? std::string(kUnnamedInStandard) : *name};
}

std::vector<std::string> TagAPI::processGenreArray(std::vector<std::string> genres) {
    std::vector<std::string> names;
    names.reserve(genres.size());  // so that the views below stay true
    // A tag can have millions of them, so they are not compared each with each.
    std::unordered_set<std::string_view> known;
    for (std::string& entry : genres) {
        if (!dialect().limitsGenreNumbers && entry == kNoGenreText) continue;
        const bool isNamedSo = entry == kUnnamed;
        std::string name = genreOf(std::move(entry));
        // A number without a name alone may stand more than once.
        const bool isUnnamed = name == kUnnamed && !isNamedSo;
        if (!isUnnamed && !known.empty() && known.contains(name)) continue;
        names.push_back(std::move(name));
        if (genres.size() > 1) known.insert(names.back());
    }
    return names;
}

std::string TagAPI::genreOf(std::string entry) {
    const bool limited = dialect().limitsGenreNumbers;
    if (isGenreNumber(entry, dialect())) {
        if (limited && util::integerValue(entry) >= kGenreLimit) return std::string(kUnnamed);
        // The standard dialect finds "007" under "7".
        const std::string* name = limited ? genreNameAt(entry) : genreNameAt(std::to_string(util::integerValue(entry)));
        if (name != nullptr) return *name;
        return std::string(limited ? kUnnamed : kUnnamedInStandard);
    }
    if (!limited && entry == "RX") return "Remix";
    if (!limited && entry == "CR") return "Cover";
    learnGenre(entry);
    return entry;
}

const std::string* TagAPI::genreNameAt(std::string_view number) const {
    // "-1" has a number, which is no name.
    const util::PropertyValue* name = genreIndexes_ == nullptr ? nullptr : util::find(*genreIndexes_, number);
    return name == nullptr ? nullptr : name->text();
}

std::optional<std::int64_t> TagAPI::genreNumberOf(std::string_view name) const {
    const auto* names = externalGenres_.get();
    if (names == nullptr && dataDictionary_) names = FrameLibrary::dictionaryAt(*dataDictionary_, "genres");
    const util::PropertyValue* value = names == nullptr ? nullptr : util::find(*names, name);
    if (value == nullptr) return std::nullopt;
    if (const auto* number = value->unsignedInteger()) return util::narrow<std::int64_t>(*number);
    const auto* number = value->signedInteger();
    return number == nullptr ? std::nullopt : std::optional(*number);
}

void TagAPI::learnGenre(const std::string& name) {
    if (externalGenres_ && externalGenres_->find(name) == externalGenres_->end())
        externalGenres_->emplace(name, ++highestGenreIndex_);
}

std::vector<std::string> TagAPI::getGenreList() const {
    std::vector<std::string> names;
    const auto* genres = dataDictionary_ ? FrameLibrary::dictionaryAt(*dataDictionary_, "genres") : nullptr;
    if (genres == nullptr) return names;
    for (const auto& [name, index] : *genres) names.push_back(name);
    return names;
}

}  // namespace quillet
