#include "cli/TagSaving.hpp"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>
#include <set>

#include "cli/FileSelection.hpp"
#include "cli/ForeignFormat.hpp"
#include "cli/FrameNames.hpp"
#include "cli/Interrupt.hpp"
#include "cli/ProgressBar.hpp"
#include "cli/ResourceDictionary.hpp"
#include "cli/TagReading.hpp"
#include "cli/TrackView.hpp"
#include "id3/SaveProblem.hpp"

namespace quillet::cli {

namespace {

using Json = nlohmann::ordered_json;

/// What a save must leave as it is.
struct Audio {
    bool isFound = false;
    std::optional<std::array<std::uint8_t, 16>> hash;
    std::uint64_t bytesOutsideTags = 0;

    /// `state` has the tags that the file is to have: behind a tag that was taken out another one may stand.
    static Audio of(TagAPI& api, bool isFound, const TagState& state) {
        std::uint64_t tags = state.hasV1 ? kV1Length : 0;
        if (state.v2Major != 0 && api.v2TagPresent())
            tags += api.getV2Tag()->audioStart() - api.getV2Tag()->tagPositionInFile();
        const std::uint64_t size = api.getFileSize();
        return {isFound, isFound ? api.getHash() : std::nullopt, size - std::min(size, tags)};
    }
};

std::string joined(const std::vector<std::string>& texts) {
    return fmt::to_string(fmt::join(texts, ", "));
}

/// Each once, in their order.
std::vector<std::string> namesOf(const TagChanges& changes) {
    std::vector<std::string> names;
    for (const TagChange& change : changes) {
        const std::string name = change.id == TagChange::kWholeTag ? change.tag + " tag" : change.name();
        if (std::ranges::find(names, name) == names.end()) names.push_back(name);
    }
    return names;
}

class FileSaver {
  public:
    FileSaver(const Console& console, const EditFiles& files, const TagEdit& edit, std::unique_ptr<TagAPI> api)
        : console_(console), files_(files), edit_(edit), api_(std::move(api)), reader_(api_->sibling()) {
        options_.file.keepTimes = files.keepTimes;
        if (files.unsynced) options_.file.durability = util::Durability::unsynced;
        options_.breakLinks = files.breakLinks;
        options_.force = files.force;
        api_->setSaveOptions(options_);
    }

    FileOutput save(const SelectedFile& file) try {
        if (!file.reason.empty()) return {"", file.reason};
        const ThreadLog log;
        const bool hasAudio = examine(file.path);
        if (!failure_.empty()) return {"", failure_};
        const TagState before = TagState::of(*api_, false);
        const Audio audio = Audio::of(*api_, hasAudio, before);
        const Remarks remarks = api_->getV2Tag()->remarks();
        const auto warnings = api_->remarks();

        const EditOutcome outcome = edit_.change(*api_, before);
        if (!outcome.failure.empty()) {
            const std::string deeper = reasonAgainstUnread(remarks);
            return {"", deeper.empty() ? outcome.failure : deeper};
        }
        const TagChanges changes = changesBetween(before, outcome.after, Likeness::content);
        std::string how = changes.empty() ? "unchanged" : "";
        if (!changes.empty()) {
            failure_ = reasonAgainstSaving(file.path, remarks);
            if (failure_.empty() && !files_.dryRun) how = write(file.path, before, outcome.after, audio);
            if (!failure_.empty()) return {"", failure_};
        }
        return {console_.json() ? json(file.path, changes, outcome.lost, how, warnings)
                                : text(file.path, changes, outcome.lost, how),
                ""};
    } catch (const std::bad_alloc&) {
        return {"", "cannot be changed: not enough memory"};
    }

  private:
    /// Whether there is MPEG audio; failure_ says why the file is none to be changed.
    bool examine(const std::string& path) {
        failure_.clear();
        bool hasAudio = api_->examineFile(path);
        if (!api_->openStatus().ok()) {
            failure_ = reasonAgainstReading(api_->openStatus(), path);
        } else if (api_->getFileSize() == 0) {
            failure_ = "is empty";
        } else if (AudioFile file; !file.open(path).ok()) {
            failure_ = "cannot be read";
        } else {
            const util::Data beginning = file.read(0, kForeignFormatLength);
            const util::Data behindTag = file.read(api_->getV2Tag()->audioStart(), kForeignFormatLength);
            std::string_view foreign = foreignFormat(beginning.bytes());
            if (foreign.empty()) foreign = foreignFormat(behindTag.bytes());
            hasAudio = hasAudio && !beginsAdts(behindTag.bytes());
            if (!foreign.empty())
                failure_ = fmt::format("is {}, which is left alone", foreign);
            else if (!hasAudio)
                failure_ = reasonAgainstSilence();
        }
        return hasAudio;
    }

    std::string reasonAgainstSilence() const {
        if (!api_->v2TagPresent() && !api_->v1TagPresent()) return "has neither MPEG audio nor a tag";
        return files_.force ? "" : "no MPEG audio was found in it; --force changes its tags all the same";
    }

    std::string reasonAgainstUnread(const Remarks& remarks) const {
        if (!edit_.writesV2()) return "";
        id3V2Tag& tag = *api_->getV2Tag();
        tag.setSaveOptions({.file = {}, .breakLinks = false, .force = true});
        const bool canBeForced = tag.canBeWritten();
        std::string reason = tag.getErrorDescription().value_or("");
        if (remarks.faithful() || (files_.force && !canBeForced)) return reason;
        if (files_.force) return "";
        return fmt::format("its tag was not read faithfully: {}; {}", joined(remarks.all()),
                           canBeForced ? "--force saves it without what was not read" : reason);
    }

    std::string reasonAgainstSaving(const std::string& path, const Remarks& remarks) const {
        if (std::string reason = reasonAgainstUnread(remarks); !reason.empty()) return reason;
        struct stat facts;
        if (!files_.breakLinks && stat(path.c_str(), &facts) == 0 && facts.st_nlink > 1)
            return saveProblemOfLinks(facts.st_nlink);
        return "";
    }

    /// How it was saved; failure_ says why it was not, or not as it should.
    std::string write(const std::string& path, const TagState& before, const TagState& after, const Audio& audio) {
        struct stat old = {};
        struct stat now = {};
        stat(path.c_str(), &old);
        failure_ = edit_.write(*api_, options_);
        if (!failure_.empty()) {
            const bool isSame =
                stat(path.c_str(), &now) != 0 ||
                (now.st_ino == old.st_ino && now.st_size == old.st_size && now.st_ctim.tv_sec == old.st_ctim.tv_sec &&
                 now.st_ctim.tv_nsec == old.st_ctim.tv_nsec);
            if (!isSame) failure_ = "was changed, but not all of it was saved: " + failure_;
            return "";
        }
        api_->releaseAttributes();
        if (const std::string difference = judge(path, before, after, audio); !difference.empty())
            failure_ = "was saved, but " + difference;
        return stat(path.c_str(), &now) == 0 && now.st_ino == old.st_ino ? "inPlace" : "rewritten";
    }

    /// What a fresh reading finds that is not as it should be.
    std::string judge(const std::string& path, const TagState& before, const TagState& after, const Audio& audio) {
        const bool isFound = reader_->examineFile(path);
        if (!reader_->openStatus().ok()) return reasonAgainstReading(reader_->openStatus(), path);
        const Audio now = Audio::of(*reader_, isFound, after);
        // Where the tag's end was a guess, more of the file is audio than it seemed, and it begins elsewhere.
        const bool isMore = files_.force && now.bytesOutsideTags > audio.bytesOutsideTags;
        const bool isSame = now.bytesOutsideTags == audio.bytesOutsideTags && now.hash == audio.hash;
        if ((!isMore && !isSame) || (audio.isFound && !now.isFound)) return "its audio is not what it was";

        const TagState found = TagState::of(*reader_, false);
        if ((after.v2Major == 0 && found.v2Major != 0) || (!after.hasV1 && found.hasV1))
            return "another tag of the same kind stood behind it, and is there now";
        if (const auto names = namesOf(changesBetween(after, found, Likeness::content)); !names.empty())
            return "reads back differently: " + joined(names);
        std::set<std::pair<std::string, std::string>> meant;
        for (const TagChange& change : changesBetween(before, after, Likeness::bytes))
            meant.emplace(change.tag, change.id);
        for (const TagChange& change : changesBetween(before, found, Likeness::bytes))
            if (!meant.contains({change.tag, change.id})) return fmt::format("{} is not what it was", change.name());
        const std::string missing = edit_.missing(*reader_, before, found);
        return missing.empty() ? "" : "reads back differently: " + missing;
    }

    static std::string json(const std::string& path, const TagChanges& changes, const std::vector<FrameLoss>& lost,
                            const std::string& how, const std::vector<std::string>& warnings) {
        Json object;
        addFileName(object, "file", path);
        Json& changed = object["changes"] = Json::array();
        for (const TagChange& change : changes) changed.push_back(change.json());
        Json& left = object["lost"] = Json::array();
        for (const FrameLoss& loss : lost) left.push_back({{"id", loss.identifier}, {"reason", loss.reason}});
        object["saved"] = how == "inPlace" || how == "rewritten";
        object["how"] = how.empty() ? Json(nullptr) : Json(how);
        object["warnings"] = warnings;
        return jsonText(object);
    }

    std::string text(const std::string& path, const TagChanges& changes, const std::vector<FrameLoss>& lost,
                     const std::string& how) const {
        std::string lines = shown(path) + ":";
        if (changes.empty()) {
            lines += " nothing to change";
        } else if (files_.dryRun) {
            for (const TagChange& change : changes) lines += "\n  " + change.line();
        } else {
            lines += fmt::format(" {} ({})", shown(edit_.summary(changes)), how == "inPlace" ? "in place" : how);
        }
        for (const FrameLoss& loss : lost) {
            const std::string_view name = frameName(loss.identifier);
            lines += fmt::format("\n  lost {}{}{}: {}", shown(loss.identifier), name.empty() ? "" : " ", name,
                                 shown(loss.reason));
        }
        return lines;
    }

    const Console& console_;
    const EditFiles& files_;
    const TagEdit& edit_;
    SaveOptions options_;
    std::unique_ptr<TagAPI> api_;
    std::unique_ptr<TagAPI> reader_;  ///< knows nothing of what was changed
    std::string failure_;
};

/// How many files there are to go through; 0 where nobody looks at a bar.
std::size_t countOf(const Console& console, const std::vector<std::string>& paths) {
    std::size_t count = 0;
    if (!console.errorIsTerminal()) return count;
    FileSelection selection(paths);
    while (selection.next() && !interrupted()) ++count;
    return count;
}

}  // namespace

std::string TagEdit::write(TagAPI& api, const SaveOptions& /*options*/) const {
    if (api.updateFile() == 0) return "";
    return api.saveProblem().empty() ? "cannot be written" : api.saveProblem();
}

std::string TagEdit::missing(TagAPI& /*reread*/, const TagState& /*before*/, const TagState& /*found*/) const {
    return "";
}

std::string TagEdit::summary(const TagChanges& changes) const {
    return joined(namesOf(changes)) + " saved";
}

int saveTags(Console& console, const EditFiles& files, const TagEdit& edit) {
    rememberInterrupts();
    auto api = TagAPI::initWithGenreList(resourceDictionary());
    if (api == nullptr) {
        console.error("the frame library of this program cannot be read");
        return kSomeFailed;
    }
    FileSaver saver(console, files, edit, std::move(api));
    bool anyFailed = false;
    std::size_t done = 0;
    ProgressBar progress(console, files.dryRun ? "looking" : "saving", countOf(console, files.paths));
    FileSelection selection(files.paths);
    while (!interrupted() && !console.outputHasFailed()) {
        const auto file = selection.next();
        if (!file) break;
        const FileOutput output = saver.save(*file);
        if (output.failure.empty()) {
            console.line(output.text);
            std::fflush(stdout);  // what is told is done, and the other way round
        } else {
            anyFailed = true;
            console.error(fmt::format("{}: {}", shown(file->path), shown(output.failure)));
        }
        progress.advance(++done);
    }
    if (interrupted()) {
        console.note("interrupted");
        return kInterrupted;
    }
    if (!selection.foundAnything()) return kNothingToDo;
    return anyFailed ? kSomeFailed : kAllDone;
}

}  // namespace quillet::cli
