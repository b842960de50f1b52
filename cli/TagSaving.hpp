#pragma once

#include <string>
#include <vector>

#include "cli/Commands.hpp"
#include "cli/TagChanges.hpp"

namespace quillet::cli {

/// What became of the tags in memory.
struct EditOutcome {
    std::string failure;          ///< why they cannot be changed so, fit to stand behind the file's name; "" otherwise
    TagState after;               ///< what the file is to hold
    std::vector<FrameLoss> lost;  ///< what had no place there
};

/// What one command does to the tags of a file. Its own words are judged by what a fresh reading finds.
class TagEdit {
  public:
    TagEdit() = default;
    TagEdit(const TagEdit&) = delete;
    TagEdit& operator=(const TagEdit&) = delete;
    virtual ~TagEdit() = default;

    /// Changes the tags in memory; the file stays as it is.
    virtual EditOutcome change(TagAPI& api, const TagState& before) const = 0;
    /// Whether the v2 tag is written, so that it must have been read faithfully.
    virtual bool writesV2() const { return true; }
    /// Writes what was changed; why not, "" where it was.
    virtual std::string write(TagAPI& api, const SaveOptions& options) const;
    /// What of the wish the file does not hold now, in a few words; "" where it holds all. `found` is its fresh state.
    virtual std::string missing(TagAPI& reread, const TagState& before, const TagState& found) const;
    /// What was done, in a few words, such as "title, year saved".
    virtual std::string summary(const TagChanges& changes) const;
};

/// What the commands that change tags share: examines each file that `files` names, lets `edit` change it, saves it,
/// reads it again and prints what became of it; one file after the other, as two names may be one file. What stands in
/// the way of one is a line on standard error. Answers the exit status.
int saveTags(Console& console, const EditFiles& files, const TagEdit& edit);

}  // namespace quillet::cli
