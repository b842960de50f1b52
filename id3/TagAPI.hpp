#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "id3/AudioFile.hpp"
#include "id3/Dialect.hpp"
#include "id3/FrameConversion.hpp"
#include "id3/FrameLibrary.hpp"
#include "id3/MP3Header.hpp"
#include "id3/Remarks.hpp"
#include "id3/SaveOptions.hpp"
#include "id3/id3V1Tag.hpp"
#include "id3/id3V2Tag.hpp"
#include "util/PropertyValue.hpp"

namespace quillet {

/// The resource dictionary as some loader found it, and where it looked.
struct LoadedDictionary {
    std::shared_ptr<const util::PropertyDictionary> dictionary;  ///< null where it cannot be read
    std::string path;                                            ///< for the log
};
using DictionaryLoader = std::function<LoadedDictionary()>;

/// The "preferences" of the resource dictionary; what is missing is false or 0.
struct TagPreferences {
    bool iTunesV24Compatability = false;  ///< "iTunes v2.4 compatability mode"
    bool parseV1 = false;                 ///< "Parse V1"
    bool parseV1WithoutV2 = false;        ///< "Parse V1 only if V2 does not exist"
    bool v1Fallback = false;              ///< "V1 auto - fallback"
    bool standardDialect = false;         ///< "Standard dialect"
    bool writeV1Always = false;           ///< "Write V1 Always"
    bool writeV2Always = false;           ///< "Write V2 Always"
    bool dropV1 = false;                  ///< "Drop V1"
    std::uint32_t defaultMajor = 0;       ///< "Default V2 tag - Major number"
    std::uint32_t defaultMinor = 0;       ///< "Default V2 tag - Minor number"
};

/// The values that a v1 tag can hold too; absent ones are "", 0 and nullopt.
struct SharedValues {
    std::string title, artist, album, comments;
    std::int32_t year = 0, track = 0;
    std::optional<std::vector<std::string>> genres;
};

/// The one way to a file's metadata: its v2 tag, its v1 tag and its MPEG header behind getters that choose between
/// them, setters that change both, and the update that writes what was changed. Holds one file's state at a time;
/// examination and what follows it belong to one thread.
class TagAPI {
  public:
    /// -init  Without a resource dictionary: every preference is off, no frame library, no genre names.
    TagAPI() = default;
    TagAPI(const TagAPI&) = delete;
    TagAPI& operator=(const TagAPI&) = delete;

    /// +sharedInstance  Made on the first call with plain init, and never destroyed.
    static TagAPI& sharedInstance();
    /// -initWithGenreList:  With the dictionary that `loader` finds; `genres` (name to index), where given, stands for
    /// its "genres" and is given each new name that getGenreNames meets. Null, with a log line, where there is no
    /// dictionary or no genre list.
    static std::unique_ptr<TagAPI> initWithGenreList(const DictionaryLoader& loader,
                                                     std::shared_ptr<util::PropertyDictionary> genres = nullptr);
    /// -initWithPath:genreDictionary:  The same, and then examineFile; null only where the first fails.
    static std::unique_ptr<TagAPI> initWithPath(const std::string& path, const DictionaryLoader& loader,
                                                std::shared_ptr<util::PropertyDictionary> genres = nullptr);
    /// Gives an instance its dictionary afterwards, as initWithGenreList does; false where that fails, and then nothing
    /// is changed. Not between examineFile and the getters that follow it.
    bool loadDictionary(const DictionaryLoader& loader, std::shared_ptr<util::PropertyDictionary> genres = nullptr);
    /// A new instance over the same dictionary, which is shared and not read again: one for each thread. It has the
    /// dictionary's own "genres", which never learn.
    std::unique_ptr<TagAPI> sibling() const;

    /// -examineFile:  Forgets the previous file and reads this one, which is open only meanwhile. False where there is
    /// no audio frame to be found; the tags are then read all the same.
    bool examineFile(std::string path);
    /// The same, and keeps the file open for the update that is to follow. openStatus tells of a file that cannot be
    /// changed.
    bool examineForUpdate(std::string path);
    /// -selectTag:  Which tag answers: 0 v2 with v1 as fallback, 1 v1 only, 2 v2 only. Above 2 is 2; below 0 acts like
    /// 0.
    void selectTag(std::int32_t which);
    /// -tagFound  Whether either tag is present.
    bool tagFound() const;
    /// -releaseAttributes  Lets go of the file's tags and header.
    void releaseAttributes();

    // Getters; the absent value is "", 0, nullopt or an empty array.

    std::string getTitle();
    std::string getArtist();
    std::string getAlbumArtist();
    std::string getAlbum();
    std::string getComments();
    std::int32_t getYear();
    std::int32_t getTrack();
    std::int32_t getTrackNumber() { return getTrack(); }
    /// 0 without a v2 tag; with one, what it answers. Whatever selectTag said, as all that v1 does not know.
    std::int32_t getTotalNumberTracks() const;
    std::int32_t getDisk() const;
    std::int32_t getTotalNumberDisks() const;
    /// The v2 tag's genres, each name once, or the v1 tag's one genre. A number without a name is "UNKNOWN" in v2 (each
    /// time) and "Unknown" in v1; in the standard dialect always "Unknown".
    std::optional<std::vector<std::string>> getGenreNames();
    std::vector<Picture> getImage() const;
    std::string getComposer() const;
    std::optional<std::string> getEncodedBy() const;

    std::int32_t getDuration() const;  ///< whole seconds
    /// The duration in milliseconds, modulo 2^32: seconds times 1,000 in the system dialect, exact in the standard one.
    std::uint32_t getDurationMilliseconds() const;
    std::int32_t getBitRate() const;
    std::int32_t getFrequency() const;
    std::string getEncoding() const;
    std::string getDurationString() const;
    std::string getVersionString() const;
    std::string getLayerString() const;
    std::string getBitRateString() const;
    std::string getFrequencyString() const;
    std::string getChannelString() const;
    std::optional<std::array<std::uint8_t, 16>> getHash() const;
    std::uint32_t getPaddingLength() const;
    std::uint32_t getTagLength() const;
    std::optional<std::vector<FrameContent>> getContentForFrameID(std::string_view identifier) const;
    const std::string& getPath() const { return path_; }
    id3V1Tag* getV1Tag() const { return v1Tag_.get(); }
    id3V2Tag* getV2Tag() const { return v2Tag_.get(); }
    MP3Header* getMP3Header() const { return mp3Header_.get(); }
    std::uint64_t getFileSize() const { return fileSize_; }

    /// -getFrame:  The v2 frames under an identifier; nullopt where there are none.
    std::optional<FrameArray> getFrame(FrameID identifier) const;
    /// -getFrameDescription:  The frame library's record for the tag's version, or null.
    const util::PropertyDictionary* getFrameDescription(std::string_view identifier) const;
    std::vector<std::string> getFrameList() const;
    /// -getGenreList  The known genre names: the keys of the dictionary's own "genres", sorted.
    std::vector<std::string> getGenreList() const;

    /// -v1TagPresent  Reads the v1 tag where that was not done yet.
    bool v1TagPresent();
    bool v2TagPresent() const;
    std::uint32_t v2TagVersion() const;

    // Changing the tags in memory (TagAPISetters.cpp). Each answers what the v2 tag's setter did, or false where the v1
    // tag cannot be read or refuses, and marks the file as modified; Dialect names the exceptions. In the standard
    // dialect the v1 tag is changed where the file has one, or one was asked for.

    bool setTitle(std::string_view title);
    bool setArtist(std::string_view artist);
    bool setAlbum(std::string_view album);
    bool setComments(std::string_view comment);
    bool setYear(std::int32_t year);
    bool setTrack(std::int32_t track, std::int32_t totalTracks);
    bool setDisk(std::int32_t disk, std::int32_t totalDisks);
    /// -setGenreName:  False for none in the system dialect. A genre dictionary of the caller's learns names that it
    /// does not know.
    bool setGenreName(const std::vector<std::string>& genres);
    bool setEncodedBy(const std::optional<std::string>& encoder);
    bool setComposer(const std::optional<std::string>& composer);
    /// These two the v2 tag alone has.
    bool setAlbumArtist(std::string_view artist);
    bool setImages(const std::vector<Picture>& pictures);
    bool setFrame(std::shared_ptr<id3V2Frame> frame, bool replace);
    bool setFrames(FrameArray frames);
    /// -setContent:forFrame:  Beside what is there, where the identifier may stand several times.
    bool setContent(const std::vector<FrameContent>& contents, std::string_view identifier);
    /// -dropFrame:  All frames of the identifier; false without a v2 tag.
    bool dropFrame(FrameID identifier);
    /// -newTag:, -dropTag:  Nothing; always false.
    static bool newTag(std::int32_t) { return false; }
    static bool dropTag(std::int32_t) { return false; }

    // From one tag to another, and into the file (TagAPIConversion.cpp, TagAPIUpdate.cpp).

    /// -copyV1TagToV2Tag  Title, artist, album, year, track, genre and comment; true where each was set. False, with a
    /// log line, without a v1 tag. The v1 tag answers afterwards.
    bool copyV1TagToV2Tag();
    /// -copyV2TagToV1Tag  The same the other way, which asks for a v1 tag; the v2 tag stays as it is.
    bool copyV2TagToV1Tag();
    /// -convertTagToV2:  Puts a tag of version 2.`minor` (standard dialect; an ID3v2.2 tag of revision `minor` in the
    /// system's) in the place of the v2 tag, and writes it. True where each value could be set; in the standard dialect
    /// where nothing was left out and all was written.
    bool convertTagToV2(std::uint32_t minor);
    /// Standard dialect: the same in memory only, for updateFile to write. Answers what it had to leave out; nullopt,
    /// changing nothing, for a version that cannot be written and without an examined file. A file with a v1 tag alone
    /// gets its values.
    std::optional<std::vector<FrameLoss>> convertInMemory(std::uint32_t minor);
    /// -updateFile  Writes what was changed: 0 all written, or nothing to write; -1 the v2 tag could not be, -2 the v1
    /// tag, -3 both. saveProblem tells why.
    std::int32_t updateFile();
    /// Whether anything was changed since the file was examined.
    bool isModified() const { return modify_; }
    /// For the updates to come, of this and further files.
    void setSaveOptions(const SaveOptions& options) { saveOptions_ = options; }
    /// Why the last update or conversion did not write something, fit to stand behind the file's name; "" where it did.
    const std::string& saveProblem() const { return saveProblem_; }

    const Dialect& dialect() const { return preferences_.standardDialect ? kStandardDialect : kSystemDialect; }
    /// Why the examined file could not be opened, or not be read; success otherwise.
    util::Status openStatus() const { return openStatus_; }
    /// What reading had to guess, cut, skip or leave unread, in tag and audio.
    std::vector<std::string> remarks() const;

  private:
    void useDictionary(std::shared_ptr<const util::PropertyDictionary> dictionary);
    bool examineOpenFile();
    bool examine(std::string path, AudioFile::Access access);
    /// The file open for changing, as it was left open or opened now.
    bool openForUpdate();
    /// Whether the v2 tag is asked, and then, where that had no answer, whether the v1 tag is: the rule that all
    /// getters with a fallback share. The v1 tag is read by that where it was not yet.
    bool asksV2() const { return parse_ != 1 && v2TagPresent(); }
    bool asksV1();
    bool readV1();
    using Change = std::function<bool()>;
    /// Does the v2 part of a setter and then the v1 part, and notes each that succeeds.
    bool changeBoth(const Change& inV2, const Change& inV1, bool notesV2 = true);
    /// `agreement` without a v2 tag.
    bool changeV2(const Change& change, bool agreement, bool notes = true);
    /// A change of single frames, after which the v1 tag's values still are those of the v2 tag.
    bool changeFrames(const Change& change, bool notes = true);
    /// Whether a setter is to change the v1 tag too.
    bool changesV1();
    /// The index of a genre in v1; nullopt where v1 is to stay as it is.
    std::optional<std::int32_t> v1GenreOf(const std::vector<std::string>& genres);

    /// What the getters answer where `tag`, 1 or 2, is selected.
    SharedValues valuesOf(std::int32_t tag);
    /// Whether all of them could be set.
    bool setValues(const SharedValues& values);
    /// Takes out of `values`, which a v1 record has, what is the v2 tag's own value cut to a record's room.
    void leaveOutCuts(SharedValues& values);
    std::unique_ptr<id3V2Tag> newV2Tag(std::uint32_t major, std::uint32_t minor) const;
    bool convertByMeaning(std::uint32_t minor);

    bool updateV1();
    bool updateV2();
    bool dropV1Record();
    bool dropV2Tag();
    /// Writes with `write`, given the file where that can be changed, and notes why that failed.
    template <typename Tag>
    bool save(Tag& tag, bool (Tag::*write)(AudioFile&), bool (Tag::*writeByPath)());

    std::string text(std::optional<std::string> (id3V2Tag::*fromV2)() const,
                     std::optional<std::string> (id3V1Tag::*fromV1)() const);
    std::int32_t number(std::int32_t (id3V2Tag::*fromV2)() const, std::int32_t (id3V1Tag::*fromV1)() const);

    std::vector<std::string> processGenreArray(std::vector<std::string> genres);
    std::string genreOf(std::string entry);
    /// The name that "genreIndexes" has for a number, or null.
    const std::string* genreNameAt(std::string_view number) const;
    /// The number of a genre in the caller's dictionary, or else in the own one.
    std::optional<std::int64_t> genreNumberOf(std::string_view name) const;
    void learnGenre(const std::string& name);

    std::shared_ptr<const util::PropertyDictionary> dataDictionary_;
    FrameLibrary frameLibrary_;
    TagPreferences preferences_;
    const util::PropertyDictionary* genreIndexes_ = nullptr;    ///< of dataDictionary_
    std::shared_ptr<util::PropertyDictionary> externalGenres_;  ///< what the caller gave; null where nothing
    std::int64_t highestGenreIndex_ = 0;                        ///< "-1" of genreIndexes_, and what was learned since

    AudioFile file_;
    std::unique_ptr<id3V2Tag> v2Tag_;
    std::unique_ptr<id3V1Tag> v1Tag_;
    std::unique_ptr<MP3Header> mp3Header_;
    std::int32_t parse_ = 0;
    bool parsedV1_ = false;
    bool modify_ = false;
    bool wantsV1_ = false;  ///< a v1 tag was asked for
    std::string path_;
    std::uint64_t fileSize_ = 0;
    util::Status openStatus_ = util::Status::success();
    util::FileStamp examined_;  ///< the file's state when it was examined, or when an update left it
    SaveOptions saveOptions_;
    std::string saveProblem_;
};

}  // namespace quillet
