#include <cerrno>

#include "id3/SaveProblem.hpp"
#include "id3/TagAPI.hpp"

namespace quillet {

namespace {

constexpr std::int32_t kV2Failed = -1;
constexpr std::int32_t kV1Failed = -2;

}  // namespace

std::int32_t TagAPI::updateFile() {
    saveProblem_.clear();
    if (!modify_) return 0;
    const bool v1First = dialect().writesV1First;
    const bool v1Wanted = v1Tag_ && (preferences_.writeV1Always || v1TagPresent() ||
                                     (dialect().addsV1Record ? v1Tag_->tagChanged() : wantsV1_));
    bool v2Done = v1First || updateV2();
    bool v1Done = !v1Wanted || (v2Done && updateV1());
    if (v1First) v2Done = updateV2();

    const bool dropsV1 = preferences_.dropV1 && preferences_.writeV2Always && !preferences_.writeV1Always;
    if (v1Done && v2Done && dropsV1 && v1TagPresent() && !dropV1Record()) v1Done = dialect().overlooksFailedV1Drop;
    return (v2Done ? 0 : kV2Failed) + (v1Done ? 0 : kV1Failed);
}

bool TagAPI::updateV1() {
    if (!v1TagPresent()) copyV2TagToV1Tag();
    return save(*v1Tag_, &id3V1Tag::writeTag, &id3V1Tag::writeTag);
}

bool TagAPI::updateV2() {
    if (!v2Tag_ || (!v2TagPresent() && !v2Tag_->tagChanged() && !preferences_.writeV2Always)) return true;
    return save(*v2Tag_, &id3V2Tag::writeTag, &id3V2Tag::writeTag);
}

bool TagAPI::dropV2Tag() {
    // Where there is none the update has nothing to do, and nothing to tell.
    return !v2TagPresent() || save(*v2Tag_, &id3V2Tag::dropKeepingFrames, &id3V2Tag::dropKeepingFrames);
}

bool TagAPI::dropV1Record() {
    return save(*v1Tag_, &id3V1Tag::dropTag, &id3V1Tag::dropTag);
}

template <typename Tag>
bool TagAPI::save(Tag& tag, bool (Tag::*write)(AudioFile&), bool (Tag::*writeByPath)()) {
    tag.setSaveOptions(saveOptions_);
    const bool isOpen = openForUpdate();
    if (isOpen && examined_ != file_.stamp()) {
        saveProblem_ = quillet::saveProblem(util::Status::failure(EBUSY));
        return false;
    }
    // A file that cannot be opened each tag has its own way with.
    const bool done = isOpen ? (tag.*write)(file_) : (tag.*writeByPath)();
    if (isOpen && v2Tag_) v2Tag_->followFile(examined_, file_.stamp());
    if (isOpen) examined_ = file_.stamp();
    if (done) return true;
    const std::string why = tag.getErrorDescription().value_or(quillet::saveProblem(openStatus_));
    if (saveProblem_ != why) saveProblem_ += (saveProblem_.empty() ? "" : ", ") + why;
    return false;
}

bool TagAPI::openForUpdate() {
    if (!file_.canUpdate()) openStatus_ = file_.open(path_, AudioFile::Access::update);
    return file_.canUpdate();
}

}  // namespace quillet
