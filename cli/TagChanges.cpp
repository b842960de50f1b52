#include "cli/TagChanges.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/Console.hpp"
#include "cli/FrameContentView.hpp"
#include "cli/FrameNames.hpp"
#include "cli/ResourceDictionary.hpp"

namespace quillet::cli {

namespace {

using Frames = std::vector<const id3V2Frame*>;

FrameContentView viewOf(const id3V2Frame& frame) {
    // Only its dialect is asked for.
    static const id3V2Tag tag(FrameLibrary(), kStandardDialect);
    return FrameContentView::of(tag, frame);
}

std::string genreText(std::int32_t genre) {
    const auto dictionary = resourceDictionary()().dictionary;
    const auto* names = dictionary ? FrameLibrary::dictionaryAt(*dictionary, "genreIndexes") : nullptr;
    const auto* name = names == nullptr ? nullptr : util::find(*names, std::to_string(genre));
    return name != nullptr && name->text() != nullptr ? *name->text() : std::to_string(genre);
}

std::map<std::string, std::string> fieldsOf(const id3V1Tag& held) {
    const id3V1Tag tag = held.asWritten();
    constexpr std::int32_t kNoGenre = 255;
    const auto number = [](std::int32_t value) { return value > 0 ? std::to_string(value) : ""; };
    std::map<std::string, std::string> fields = {
        {"title", tag.getTitle().value_or("")},
        {"artist", tag.getArtist().value_or("")},
        {"album", tag.getAlbum().value_or("")},
        {"year", number(tag.getYear())},
        {"comment", tag.getComment().value_or("")},
        {"track", number(tag.getTrack())},
        {"genre", tag.getGenre() == kNoGenre ? "" : genreText(tag.getGenre())},
    };
    std::erase_if(fields, [](const auto& field) { return field.second.empty(); });
    return fields;
}

bool alike(const id3V2Frame& before, const id3V2Frame& after, Likeness likeness) {
    if (before.majorVersion() == after.majorVersion() && before.isWrittenLike(after)) return true;
    if (likeness == Likeness::bytes || before.getFrameID() != after.getFrameID()) return false;
    const auto& bodyBefore = before.getRawFrameData();
    const auto& bodyAfter = after.getRawFrameData();
    if (bodyBefore && bodyAfter && *bodyBefore == *bodyAfter) return true;
    const auto fields = viewOf(before).fields;
    // Of bytes that have no meaning here, the view tells the number alone.
    const bool isTold = !fields.contains("bytes") || fields.contains("md5");
    return isTold && fields == viewOf(after).fields;
}

std::optional<std::string> contentOf(const id3V2Frame* frame) {
    return frame == nullptr ? std::nullopt : std::optional(viewOf(*frame).text);
}

/// Takes the frames that stand in both out of both.
void leaveDifferent(Frames& before, Frames& after, Likeness likeness) {
    const auto same = [&](const id3V2Frame* one, const id3V2Frame* other) { return alike(*one, *other, likeness); };
    const auto front = std::mismatch(before.begin(), before.end(), after.begin(), after.end(), same);
    after.erase(after.begin(), front.second);
    before.erase(before.begin(), front.first);
    // The usual change is to one frame, so that little is left to be compared each with each.
    const auto back = std::mismatch(before.rbegin(), before.rend(), after.rbegin(), after.rend(), same);
    after.erase(back.second.base(), after.end());
    before.erase(back.first.base(), before.end());
    std::erase_if(before, [&](const id3V2Frame* frame) {
        const auto found = std::ranges::find_if(after, [&](const auto* other) { return same(frame, other); });
        if (found == after.end()) return false;
        after.erase(found);
        return true;
    });
}

/// The frames of a state by the identifier that they have in `version`.
class FramesByIdentifier {
  public:
    FramesByIdentifier(const TagState& state, std::uint32_t version) {
        id3V2Tag resolver(FrameLibrary(resourceDictionary()().dictionary), kStandardDialect);
        resolver.newTag(version, 0);
        for (const id3V2Frame& frame : state.frames) {
            FrameID identifier = frame.getFrameID();
            if (state.v2Major != version)
                if (const auto own = resolver.getActualFrameID(identifier.text()).identifier)
                    identifier = FrameID(*own);
            Frames& found = frames_[identifier];
            if (found.empty()) order_.push_back(identifier);
            found.push_back(&frame);
        }
    }
    const std::vector<FrameID>& identifiers() const { return order_; }
    Frames take(FrameID identifier) { return std::exchange(frames_[identifier], {}); }

  private:
    std::map<FrameID, Frames> frames_;
    std::vector<FrameID> order_;
};

void addFrameChanges(TagChanges& changes, const TagState& before, const TagState& after, Likeness likeness) {
    const std::uint32_t version = after.v2Major != 0 ? after.v2Major : before.v2Major;
    FramesByIdentifier old(before, version);
    FramesByIdentifier made(after, version);
    std::vector<FrameID> identifiers = old.identifiers();
    identifiers.insert(identifiers.end(), made.identifiers().begin(), made.identifiers().end());
    for (const FrameID identifier : identifiers) {
        Frames from = old.take(identifier);
        Frames to = made.take(identifier);
        leaveDifferent(from, to, likeness);
        from.resize(std::max(from.size(), to.size()));
        to.resize(from.size());
        for (std::size_t i = 0; i < from.size(); ++i) {
            const id3V2Frame& present = to[i] != nullptr ? *to[i] : *from[i];
            changes.push_back({"v2", present.getFrameID().text(), contentOf(from[i]), contentOf(to[i]), ""});
            if (from[i] != nullptr && from[i]->getFrameID() != present.getFrameID())
                changes.back().formerId = from[i]->getFrameID().text();
        }
    }
}

std::optional<std::string> v2Text(const TagState& state) {
    return state.v2Major == 0 ? std::nullopt : std::optional("ID3v" + state.v2Version);
}

std::optional<std::string> v1Text(const TagState& state) {
    return state.hasV1 ? std::optional<std::string>("ID3v1") : std::nullopt;
}

void addV1Changes(TagChanges& changes, const TagState& before, const TagState& after) {
    for (const char* name : {"title", "artist", "album", "year", "comment", "track", "genre"}) {
        const auto valueIn = [&](const TagState& state) {
            const auto found = state.v1Fields.find(name);
            return found == state.v1Fields.end() ? std::nullopt : std::optional(found->second);
        };
        if (valueIn(before) != valueIn(after)) changes.push_back({"v1", name, valueIn(before), valueIn(after), ""});
    }
}

}  // namespace

TagState TagState::of(TagAPI& api, bool withNewV1) {
    TagState state;
    const id3V2Tag* v2 = api.getV2Tag();
    if (v2 != nullptr && (v2->tagPresent() || !v2->frames().empty())) {
        state.v2Major = v2->tagVersion();
        state.v2Version = fmt::format("2.{}.{}", v2->tagVersion(), v2->minorVersion());
        for (const auto& frame : v2->frames().all()) state.frames.push_back(*frame);
    }
    state.hasV1 = api.v1TagPresent() || (withNewV1 && api.getV1Tag() != nullptr);
    if (state.hasV1) state.v1Fields = fieldsOf(*api.getV1Tag());
    return state;
}

std::string TagChange::name() const {
    const std::string_view known = tag == "v2" ? frameName(id) : std::string_view();
    return known.empty() ? id : std::string(known);
}

nlohmann::ordered_json TagChange::json() const {
    const auto orNull = [](const auto& text) { return text ? nlohmann::ordered_json(*text) : nullptr; };
    nlohmann::ordered_json object = {{"tag", tag}, {"id", id}, {"before", orNull(before)}, {"after", orNull(after)}};
    if (!formerId.empty()) object["formerId"] = formerId;
    return object;
}

std::string TagChange::line() const {
    const auto text = [](const auto& content) { return content ? shown(*content) : "(absent)"; };
    std::string what = name() == id ? id : fmt::format("{} {}", id, name());
    if (!formerId.empty()) what += fmt::format(" (was {})", formerId);
    if (before == after) return fmt::format("{} {}: {}", tag, shown(what), text(after));
    return fmt::format("{} {}: {} -> {}", tag, shown(what), text(before), text(after));
}

TagChanges changesBetween(const TagState& before, const TagState& after, Likeness likeness) {
    TagChanges changes;
    if (v2Text(before) != v2Text(after))
        changes.push_back({"v2", TagChange::kWholeTag, v2Text(before), v2Text(after), ""});
    addFrameChanges(changes, before, after, likeness);
    if (v1Text(before) != v1Text(after))
        changes.push_back({"v1", TagChange::kWholeTag, v1Text(before), v1Text(after), ""});
    addV1Changes(changes, before, after);
    return changes;
}

}  // namespace quillet::cli
