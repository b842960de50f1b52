#include <fmt/format.h>

#include <utility>

#include "cli/TagSaving.hpp"
#include "util/Text.hpp"

namespace quillet::cli {

namespace {

std::string nameOf(TagKind kind) {
    return kind == TagKind::v1 ? "ID3v1" : "ID3v2";
}

/// What a file lacks that has not that tag; "" where it has it.
std::string reasonWithout(TagKind kind, const TagState& state) {
    const bool isThere = kind == TagKind::v1 ? state.hasV1 : state.v2Major != 0;
    return isThere ? "" : fmt::format("has no {} tag", nameOf(kind));
}

class TagCopyEdit : public TagEdit {
  public:
    explicit TagCopyEdit(TagKind from) : from_(from) {}

    EditOutcome change(TagAPI& api, const TagState& before) const override {
        EditOutcome outcome;
        outcome.failure = reasonWithout(from_, before);
        if (!outcome.failure.empty()) return outcome;
        const bool copied = from_ == TagKind::v1 ? api.copyV1TagToV2Tag() : api.copyV2TagToV1Tag();
        if (!copied)
            outcome.failure = api.getV2Tag()->getErrorDescription().value_or(
                fmt::format("its {} tag cannot be copied", nameOf(from_)));
        outcome.after = TagState::of(api, from_ == TagKind::v2);
        return outcome;
    }
    bool writesV2() const override { return from_ == TagKind::v1; }
    std::string missing(TagAPI& reread, const TagState& /*before*/, const TagState& /*found*/) const override {
        const id3V1Tag& v1 = *reread.getV1Tag();
        const id3V2Tag& v2 = *reread.getV2Tag();
        if (!isCopied(v1.getTitle(), v2.getTitle())) return "title";
        if (!isCopied(v1.getArtist(), v2.getArtist())) return "artist";
        return isCopied(v1.getAlbum(), v2.getAlbum()) ? "" : "album";
    }
    std::string summary(const TagChanges& changes) const override {
        return TagEdit::summary(changes) + " from " + nameOf(from_);
    }

  private:
    bool isCopied(const std::optional<std::string>& inV1, const std::optional<std::string>& inV2) const {
        const std::string old = inV1.value_or("");
        const std::string_view other = inV2 ? util::trimmed(*inV2) : std::string_view();
        // A v1 record cuts a text, and has no letters for some.
        if (from_ == TagKind::v2) return other.empty() || !old.empty();
        return old.empty() || old == other;
    }

    TagKind from_;
};

class TagConvertEdit : public TagEdit {
  public:
    explicit TagConvertEdit(std::uint32_t minor) : minor_(minor) {}

    EditOutcome change(TagAPI& api, const TagState& before) const override {
        EditOutcome outcome;
        if (before.v2Major == 0 && !before.hasV1) {
            outcome.failure = "has no tag";
            return outcome;
        }
        if (before.v2Major == minor_) {
            outcome.after = before;
            return outcome;
        }
        auto lost = api.convertInMemory(minor_);
        if (!lost) {
            outcome.failure = api.saveProblem().empty() ? "its tag cannot be converted" : api.saveProblem();
            return outcome;
        }
        outcome.lost = *std::move(lost);
        outcome.after = TagState::of(api, false);
        return outcome;
    }
    std::string summary(const TagChanges& /*changes*/) const override {
        return fmt::format("converted to ID3v2.{}", minor_);
    }

  private:
    std::uint32_t minor_;
};

class TagDropEdit : public TagEdit {
  public:
    explicit TagDropEdit(TagKind which) : which_(which) {}

    EditOutcome change(TagAPI& /*api*/, const TagState& before) const override {
        EditOutcome outcome;
        outcome.after = before;
        if (which_ == TagKind::v1) {
            outcome.after.hasV1 = false;
            outcome.after.v1Fields.clear();
        } else {
            outcome.after.v2Major = 0;
            outcome.after.v2Version.clear();
            outcome.after.frames.clear();
        }
        return outcome;
    }
    bool writesV2() const override { return which_ == TagKind::v2; }
    std::string write(TagAPI& api, const SaveOptions& options) const override {
        return which_ == TagKind::v1 ? drop(*api.getV1Tag(), options) : drop(*api.getV2Tag(), options, false);
    }
    std::string summary(const TagChanges& /*changes*/) const override { return nameOf(which_) + " tag dropped"; }

  private:
    template <typename Tag, typename... Arguments>
    static std::string drop(Tag& tag, const SaveOptions& options, Arguments... arguments) {
        tag.setSaveOptions(options);
        return tag.dropTag(arguments...) ? "" : tag.getErrorDescription().value_or("its tag cannot be dropped");
    }

    TagKind which_;
};

}  // namespace

int runTagCopy(Console& console, const EditFiles& files, TagKind from) {
    return saveTags(console, files, TagCopyEdit(from));
}

int runTagConvert(Console& console, const EditFiles& files, std::uint32_t minor) {
    return saveTags(console, files, TagConvertEdit(minor));
}

int runTagDrop(Console& console, const EditFiles& files, TagKind which) {
    return saveTags(console, files, TagDropEdit(which));
}

}  // namespace quillet::cli
