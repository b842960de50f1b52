#include "id3/TagAPI.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "util/Log.hpp"
#include "util/Narrow.hpp"

namespace quillet {

namespace {

using util::PropertyDictionary;

/// A whole number that fits; 0 otherwise.
std::uint32_t numberAt(const PropertyDictionary& dictionary, std::string_view key) {
    const util::PropertyValue* value = util::find(dictionary, key);
    if (value == nullptr) return 0;
    if (const auto* number = value->signedInteger()) return util::narrow<std::uint32_t>(*number).value_or(0);
    if (const auto* number = value->unsignedInteger()) return util::narrow<std::uint32_t>(*number).value_or(0);
    return 0;
}

TagPreferences preferencesOf(const PropertyDictionary& dictionary) {
    TagPreferences preferences;
    const PropertyDictionary* values = FrameLibrary::dictionaryAt(dictionary, "preferences");
    if (values == nullptr) return preferences;
    preferences.iTunesV24Compatability = FrameLibrary::flagOf(*values, "iTunes v2.4 compatability mode");
    preferences.parseV1 = FrameLibrary::flagOf(*values, "Parse V1");
    preferences.parseV1WithoutV2 = FrameLibrary::flagOf(*values, "Parse V1 only if V2 does not exist");
    preferences.v1Fallback = FrameLibrary::flagOf(*values, "V1 auto - fallback");
    preferences.standardDialect = FrameLibrary::flagOf(*values, "Standard dialect");
    preferences.writeV1Always = FrameLibrary::flagOf(*values, "Write V1 Always");
    preferences.writeV2Always = FrameLibrary::flagOf(*values, "Write V2 Always");
    preferences.dropV1 = FrameLibrary::flagOf(*values, "Drop V1");
    preferences.defaultMajor = numberAt(*values, "Default V2 tag - Major number");
    preferences.defaultMinor = numberAt(*values, "Default V2 tag - Minor number");
    return preferences;
}

}  // namespace

TagAPI& TagAPI::sharedInstance() {
    static TagAPI* instance = new TagAPI();  // lives as long as the process
    return *instance;
}

std::unique_ptr<TagAPI> TagAPI::initWithGenreList(const DictionaryLoader& loader,
                                                  std::shared_ptr<PropertyDictionary> genres) {
    auto made = std::make_unique<TagAPI>();
    if (!made->loadDictionary(loader, std::move(genres))) made.reset();
    return made;
}

std::unique_ptr<TagAPI> TagAPI::initWithPath(const std::string& path, const DictionaryLoader& loader,
                                             std::shared_ptr<PropertyDictionary> genres) {
    auto made = initWithGenreList(loader, std::move(genres));
    if (made) made->examineFile(path);
    return made;
}

bool TagAPI::loadDictionary(const DictionaryLoader& loader, std::shared_ptr<PropertyDictionary> genres) {
    const LoadedDictionary loaded = loader();
    if (!loaded.dictionary) {
        util::log("Failed to open resource dictionary, can not find file:" + loaded.path);
        return false;
    }
    if (!genres && FrameLibrary::dictionaryAt(*loaded.dictionary, "genres") == nullptr) {
        util::log("Failed to find internal genres list");
        return false;
    }
    useDictionary(loaded.dictionary);
    externalGenres_ = std::move(genres);
    return true;
}

void TagAPI::useDictionary(std::shared_ptr<const PropertyDictionary> dictionary) {
    dataDictionary_ = std::move(dictionary);
    frameLibrary_ = FrameLibrary(dataDictionary_);
    preferences_ = preferencesOf(*dataDictionary_);
    genreIndexes_ = FrameLibrary::dictionaryAt(*dataDictionary_, "genreIndexes");
    highestGenreIndex_ = genreIndexes_ == nullptr ? 0 : numberAt(*genreIndexes_, "-1");
}

std::unique_ptr<TagAPI> TagAPI::sibling() const {
    auto made = std::make_unique<TagAPI>();
    if (dataDictionary_) made->useDictionary(dataDictionary_);
    return made;
}

bool TagAPI::examineFile(std::string path) {
    const bool found = examine(std::move(path), AudioFile::Access::read);
    file_.close();
    return found;
}

bool TagAPI::examineForUpdate(std::string path) {
    return examine(std::move(path), AudioFile::Access::update);
}

bool TagAPI::examine(std::string path, AudioFile::Access access) {
    releaseAttributes();
    path_ = std::move(path);
    parse_ = 0;
    parsedV1_ = false;
    modify_ = wantsV1_ = false;
    saveProblem_.clear();
    openStatus_ = file_.open(path_, access);
    examined_ = file_.stamp();
    fileSize_ = file_.size();
    return examineOpenFile();
}

bool TagAPI::examineOpenFile() {
    v2Tag_ = std::make_unique<id3V2Tag>(frameLibrary_, dialect());
    if (preferences_.iTunesV24Compatability) v2Tag_->setITunesCompatability(true);
    v2Tag_->openPath(path_, file_);
    const std::uint32_t audioStart = v2Tag_->audioStart();

    v1Tag_ = std::make_unique<id3V1Tag>(dialect());
    if (preferences_.parseV1 || (preferences_.parseV1WithoutV2 && !v2Tag_->tagPresent())) {
        parsedV1_ = true;
        // Of a file that cannot be opened, this says so in the log.
        openStatus_.ok() ? v1Tag_->openPath(path_, file_) : v1Tag_->openPath(path_);
    }
    // An empty tag, which does not count as present, stands ready for setters.
    if (!v2Tag_->tagPresent()) v2Tag_->newTag(preferences_.defaultMajor, preferences_.defaultMinor);
    if (openStatus_.ok() && file_.hasFailed()) openStatus_ = util::Status::failure(EIO);
    if (!v2Tag_->tagPresent() && v1Tag_->tagPresent() && dialect().copiesV1TagOnExamination) copyV1TagToV2Tag();
    modify_ = false;  // what is in both tags already needs no update

    mp3Header_ = std::make_unique<MP3Header>(dialect());
    if (!openStatus_.ok()) return false;
    if (!mp3Header_->openFile(file_, path_, util::lowBits<std::int32_t>(audioStart))) return false;
    if (dialect().tellsLow32BitsOfSize) fileSize_ = mp3Header_->fileSize();
    if (!v2TagPresent())
        selectTag(1);
    else if (dialect().answersFromOneTag)
        selectTag(2);
    return true;
}

void TagAPI::selectTag(std::int32_t which) {
    parse_ = std::min(which, 2);
}

bool TagAPI::tagFound() const {
    return v2TagPresent() || (v1Tag_ && v1Tag_->tagPresent());
}

void TagAPI::releaseAttributes() {
    v2Tag_.reset();
    v1Tag_.reset();
    mp3Header_.reset();
    path_.clear();
}

bool TagAPI::readV1() {
    if (parsedV1_ || !v1Tag_) return parsedV1_;
    parsedV1_ = file_.descriptor().isOpen() ? v1Tag_->openPath(path_, file_) : v1Tag_->openPath(path_);
    return parsedV1_;
}

bool TagAPI::asksV1() {
    if (parse_ != 1 && (parse_ == 2 || !preferences_.v1Fallback)) return false;
    return v1TagPresent();
}

bool TagAPI::v1TagPresent() {
    return readV1() && v1Tag_ && v1Tag_->tagPresent();
}

bool TagAPI::v2TagPresent() const {
    return v2Tag_ && v2Tag_->tagPresent();
}

std::uint32_t TagAPI::v2TagVersion() const {
    return v2Tag_ ? v2Tag_->tagVersion() : 0;
}

std::vector<std::string> TagAPI::remarks() const {
    std::vector<std::string> all;
    if (v2Tag_) all = v2Tag_->remarks().all();
    if (mp3Header_) all.insert(all.end(), mp3Header_->remarks().all().begin(), mp3Header_->remarks().all().end());
    return all;
}

}  // namespace quillet
