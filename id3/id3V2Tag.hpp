#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "id3/AudioFile.hpp"
#include "id3/Dialect.hpp"
#include "id3/FieldIdentifiers.hpp"
#include "id3/FrameLibrary.hpp"
#include "id3/FrameStore.hpp"
#include "id3/FrameWalk.hpp"
#include "id3/Picture.hpp"
#include "id3/Remarks.hpp"
#include "id3/SaveOptions.hpp"
#include "util/Data.hpp"

namespace quillet {

/// The content of one frame as the frame library has it: text, or raw bytes.
using FrameContent = std::variant<std::string, util::Data>;

/// A frame identifier of the tag's own version, and its record in the frame library; each may be missing.
struct ResolvedFrame {
    std::optional<std::string> identifier;
    const util::PropertyDictionary* record = nullptr;
};

/// The ID3v2 tag of one file in memory: finding and reading it (id3V2TagHeader.cpp, id3V2TagReading.cpp), its content
/// by meaning (id3V2TagContent.cpp, id3V2TagPictures.cpp), changing that (id3V2TagSetters.cpp) or single frames
/// (id3V2TagFrames.cpp), and writing (id3V2TagRendering.cpp, id3V2TagWriting.cpp).
class id3V2Tag {
  public:
    /// -initWithFrameDictionary:  An empty tag without a file.
    explicit id3V2Tag(FrameLibrary library, const Dialect& dialect = kSystemDialect)
        : library_(std::move(library)), dialect_(&dialect) {}

    // Reading.

    /// -setITunesCompatability:  Whether frames with plain sizes in a 2.4 tag are marked so, to be written back so.
    void setITunesCompatability(bool value) { iTunesV24CompatabilityMode_ = value; }
    /// -openPath:  Forgets the tag and reads that of the file with getTag. Always true.
    bool openPath(const std::string& path);
    /// The same of a file that is open already.
    bool openPath(const std::string& path, AudioFile& file);
    /// -getTag  Reads the file at the path; true where at least one tag was found and walked.
    bool getTag();
    /// Whether getTag looks for a header in the whole file; every openPath sets it back to false.
    void setExhastiveSearch(bool value) { exhastiveSearch_ = value; }

    /// -scanForHeader:  Where "ID3" first stands in `block`, or -1. Takes over version, flags and size of what it
    /// finds.
    std::int32_t scanForHeader(util::Bytes block);
    /// -readPackedLengthFrom:  The synchsafe value of 4 bytes, each taken as signed, at most 2^28.
    static std::uint32_t readPackedLengthFrom(util::Bytes four);
    /// -desynchData:offset:  New bytes, as long as `data` less the bytes passed over.
    static util::Data desynchData(util::Bytes data, std::size_t offset);

    bool tagPresent() const { return present_; }
    bool tagChanged() const { return tagChanged_ != 0; }
    /// -tagVersion  The major version: 2, 3 or 4 for a tag that can be read.
    std::uint32_t tagVersion() const { return majorVersion_; }
    std::uint32_t minorVersion() const { return minorVersion_; }
    std::uint32_t flags() const { return flag_; }
    std::uint32_t tagPositionInFile() const { return positionInFile_; }
    /// -tagLength  Bytes behind the tag's header: extended header, frames and padding, and a footer.
    std::uint32_t tagLength() const;
    /// Where the audio begins, by the dialect; 0 without a tag.
    std::uint32_t audioStart() const;
    /// -getPaddingLength  System dialect: what the frames leave of the tag in the file. Standard: what is behind them.
    std::uint32_t getPaddingLength() const {
        return dialect_->countsExtendedHeaderAsPadding ? tagLength_ - frameSetLength_ : paddingLength_;
    }
    /// Flags of the tag's header, each false for a version without it.
    bool tagUnsynch() const;
    bool extendedHeader() const;
    bool compressTag() const;
    bool footer() const;
    const std::optional<util::Data>& extendedHeaderData() const { return extendedHeader_; }

    /// What reading had to guess, cut, skip or leave unread; empty for a tag that was read faithfully.
    const Remarks& remarks() const { return remarks_; }

    // Frames.

    /// -getFramesTitled:  Those under an identifier; nullopt where there are none.
    std::optional<FrameArray> getFramesTitled(FrameID identifier) const;
    /// -getFirstFrameNamed:  The first under it, or null.
    const id3V2Frame* getFirstFrameNamed(FrameID identifier) const { return frameSet_.first(identifier); }
    /// -frameList  The identifiers that are present, in the order in which they were met.
    std::vector<std::string> frameList() const;
    const FrameStore& frames() const { return frameSet_; }
    /// -addUpdateFrame:replace:frame:  Files `frame` at `position` among those of its identifier (below 0 is 0), in
    /// place of the one there where `replace` says so. False for null.
    bool addUpdateFrame(std::shared_ptr<id3V2Frame> frame, bool replace, std::int32_t position);
    /// -setFrames:  In place of all frames of the first one's identifier. False for none.
    bool setFrames(FrameArray frames);
    /// -dropFrame:frame:  The frame at `index` among those of the identifier, all of them below 0. True, but for an
    /// index at which there is none.
    bool dropFrame(FrameID identifier, std::int32_t index);
    /// -dropFrame:  This very frame. False for null, and for one that is not there while others of its identifier are.
    bool dropFrame(const std::shared_ptr<id3V2Frame>& frame);
    /// -newTag:minor:  An empty tag of that version with 2,048 bytes of padding. Whether a tag is present stays.
    bool newTag(std::uint32_t major, std::uint32_t minor);

    // The flags of the tag's header: each false, changing nothing, for a version without it. None counts as a change.
    bool setTagUnsynch(bool value);
    bool setCompressTag(bool value);
    bool setExtendedHeader(bool value);  ///< false also lets go of the extended header
    bool setFooter(bool value);

    // Writing. Where one of these answers false the file is as it was, but for a folder that could not be synced or a
    // file that could not be looked at afterwards, and getErrorDescription tells why.

    /// -setPath:  The file to write to; always true.
    bool setPath(const std::string& path);
    void setSaveOptions(const SaveOptions& options) { saveOptions_ = options; }
    /// -writeTag  Puts the tag at the file's front: in place where it takes the same room as the one there, else by a
    /// rewrite that copies all but that one. The audio, and whatever else the tag did not take, stays as it is. True
    /// without doing anything where nothing was changed. False where the file was changed since it was read, where what
    /// is behind the tag's frames is not known to be padding, and where what would be written could not be read back.
    bool writeTag();
    /// The same of a file that is open for changing; after a save `file` stands for what is there then.
    bool writeTag(AudioFile& file);
    /// -dropTag:  Takes the tag out of the file, and with `newTag` leaves an empty one of the same version in memory.
    /// System dialect: by its stated copy, which leaves the bytes where they are. False where there is no tag.
    bool dropTag(bool newTag);
    bool dropTag(AudioFile& file, bool newTag);
    bool dropKeepingFrames() { return dropTag(false); }
    bool dropKeepingFrames(AudioFile& file) { return dropTag(file, false); }
    /// False, with the error set, where writeTag would refuse for the tag's version or for what was read of the file.
    bool canBeWritten();
    /// Takes the place of `old` in the same file, so that writing this one replaces that one.
    void takePlaceOf(const id3V2Tag& old);
    /// The file was changed from one state to another by somebody who left this tag where it is. Without effect unless
    /// the first is the one in which this tag was read or written.
    void followFile(const util::FileStamp& before, const util::FileStamp& after);
    /// -renderHeader  10 bytes: marker, version, flags and tagLength.
    std::string renderHeader() const;
    /// -renderExtendedHeader  Its size field and what is behind that.
    std::string renderExtendedHeader() const;
    /// -writePackedLength:  Four synchsafe bytes; nullopt from 2^29 on, and from 2^28 on without the high bit.
    static std::optional<std::string> writePackedLength(std::uint32_t length);
    std::int32_t getErrorCode() const { return errorNo_; }
    /// Why the last save or setter refused, fit to stand behind the file's name; nullopt after a save that did not.
    const std::optional<std::string>& getErrorDescription() const { return errorDescription_; }

    // Content. Absent is nullopt for text, "" for composer and encoder, -1 (in the standard dialect 0) for numbers.

    /// -getActualFrameID:andRecord:forID:  What an identifier of any version is in this tag's.
    ResolvedFrame getActualFrameID(std::string_view identifier) const;
    /// -getContentForFrameID:  What the frames of an identifier of any version hold; nullopt, with a log line, where it
    /// cannot be resolved or there are none.
    std::optional<std::vector<FrameContent>> getContentForFrameID(std::string_view identifier) const;

    std::optional<std::string> getTitle() const;
    std::optional<std::string> getArtist() const;
    std::optional<std::string> getAlbumArtist() const;
    std::optional<std::string> getAlbum() const;
    std::string getEncodedBy() const;
    std::string getComposer() const;
    std::int32_t getYear() const;
    std::int32_t getTrack() const;
    std::int32_t getTotalNumberTracks() const;
    std::int32_t getDisk() const;
    std::int32_t getTotalNumberDisks() const;
    /// -getGenreNames  The entries of the genre frame, references included; nullopt where there are none.
    std::optional<std::vector<std::string>> getGenreNames() const;
    /// -getComments  "" without comment frames, nullopt where none of them counts.
    std::optional<std::string> getComments() const;
    /// -getImage  All pictures in tag order; empty where there are none.
    std::vector<Picture> getImage() const;

    // Setters: each puts its frame in place of the one there and answers whether it did. False for a version that is
    // not known, and, with the error set, for a frame that is larger than readers take.

    /// -setContent:forFrame:replace:  Frames of an identifier of any version, one for each content, or of the first
    /// alone where the library allows but one. With `replace`, those that are there stay behind the new ones. False,
    /// with a log line, where the identifier cannot be resolved, and without content.
    bool setContent(const std::vector<FrameContent>& contents, std::string_view identifier, bool replace);
    bool setTitle(std::string_view title);
    bool setArtist(std::string_view artist);
    bool setAlbumArtist(std::string_view artist);
    bool setAlbum(std::string_view album);
    bool setComposer(const std::optional<std::string>& composer);
    bool setEncodedBy(const std::optional<std::string>& encoder);
    bool setYear(std::int32_t year);
    bool setTrack(std::int32_t track, std::int32_t totalTracks);
    bool setDisk(std::int32_t disk, std::int32_t totalDisks);
    bool setGenreName(const std::vector<std::string>& genres);
    /// -setComments:  In place of all comments but those that programs wrote for themselves.
    bool setComments(std::string_view comment);
    /// -setImages:  In place of all pictures; none drops them.
    bool setImages(const std::vector<Picture>& pictures);

    /// -numberInSetString:  3 of "3/12" and of "3"; 0 where nothing is.
    static std::int32_t numberInSetString(std::string_view text);
    /// -setSizeInSetString:  12 of "3/12"; 0 of "3".
    static std::int32_t setSizeInSetString(std::string_view text);
    /// -getImageFrom2Frame:, -getImageFrom3Frame:  A picture of a 2.2 frame, which may be empty in the system dialect,
    /// and of a 2.3 or 2.4 frame; nullopt where there is no picture.
    std::optional<Picture> getImageFrom2Frame(const id3V2Frame& frame) const;
    std::optional<Picture> getImageFrom3Frame(const id3V2Frame& frame) const;

  private:
    void reset(const std::string& path);
    bool readFrom(AudioFile& file);
    bool findAndRead(AudioFile& file);
    /// How many bytes of the file are searched for a header at a time.
    std::uint64_t searchedAtOnce() const;
    /// Reads the tag whose header stands at `position` of `block`, which begins at `base` of the file.
    bool readTag(AudioFile& file, const util::Data& block, std::uint64_t base, std::uint32_t position);
    void cutToFile(std::uint64_t start);
    /// Reverses unsynchronisation of the whole tag where the standard has it; answers how many bytes went.
    std::uint32_t synchronise(util::Data& tag);
    /// Takes the extended header over from the front of `tag`, what follows the tag's header; answers how much it is
    /// with its size field. Below 0 where the tag is shorter than any.
    std::int32_t readExtendedHeader(const util::Data& tag);
    /// Its size field included; 0 without one.
    std::uint32_t extendedHeaderLength() const;
    bool isReadable();
    /// Moves the tag's end behind its footer, where there is one.
    void passFooter(AudioFile& file);
    /// Notes where in the file the tag stands, of which the frames end `framesEnd` bytes behind its header.
    void noteExtent(const util::Data& tag, std::int64_t framesEnd);
    void walkFrames(FrameWalkInput input);

    /// A tag as it is to stand in a file.
    struct Image {
        std::shared_ptr<std::string> bytes;  ///< with what a reader of the file finds behind the tag
        std::size_t size = 0;
        std::size_t framesBegin = 0;
        std::size_t framesEnd = 0;
        std::uint32_t flags = 0;
        util::Bytes tag() const { return util::bytesOf(std::string_view(*bytes).substr(0, size)); }
    };
    /// The frames in the order in which they are written: those of one identifier stay in theirs, comments and small
    /// frames stand in front.
    FrameArray framesInWritingOrder() const;
    /// Header flags as they are to be written.
    std::uint32_t flagsToWrite() const;
    /// The extended header as it is to be written, before that much padding; "" for none.
    std::string extendedHeaderToWrite(std::uint32_t padding) const;
    bool holdsChecksum() const;
    /// All frames as bytes behind the room for the headers; nullopt, with the error set, where one cannot be written.
    std::optional<Image> renderFrames(const FrameArray& order);
    /// Puts headers and padding around the frames, and behind that what a reader of the file will find there; false,
    /// with the error set, where that is too large for a tag.
    bool complete(Image& image, std::uint64_t padding, std::string_view behind);
    /// Whether a reader of the image finds this tag and these frames.
    bool readsBack(const Image& image, const FrameArray& order) const;
    /// How much of the room that the tag has in its file `image` leaves; below 0 where it is larger.
    std::int64_t spareRoom(const Image& image) const;
    bool saveImage(AudioFile& file, Image& image, const FrameArray& order);
    bool saveInPlace(AudioFile& file, const Image& image);
    void takeOver(const Image& image);

    bool openForSave(AudioFile& file);
    /// Whether the file is the one that was read, and may be saved.
    bool isSaveable(const AudioFile& file);
    /// Whether it is known well enough what of the file is tag, and what is in it.
    bool isKnown();
    /// What stays of a file when the tag goes; nullopt, with the error set, where that cannot be told.
    std::optional<std::vector<util::FileRange>> rangesWithoutTag(std::uint64_t fileSize);
    /// Whether the copy that a dropped tag gets in the system dialect holds all of the file.
    bool statedCopyReachesEnd(std::uint64_t fileSize) const;
    bool replaceFile(AudioFile& file, util::Bytes front, const std::vector<util::FileRange>& kept);
    /// Each sets the error; false.
    bool refuse(std::string reason);
    bool refuse(util::Status status);

    void noteDrop();

    /// The version of frames that are made for this tag.
    std::int32_t frameVersion() const { return static_cast<std::int32_t>(majorVersion_); }
    /// Whether readers take a frame of that size; where not, the error is set.
    bool isTakenByReaders(const id3V2Frame& frame, std::string_view what);
    /// Puts the frame in the place of its field's.
    bool setField(std::shared_ptr<id3V2Frame> frame);
    bool setText(const FieldIdentifiers& field, std::string_view text, std::int32_t coding);
    bool setText(const FieldIdentifiers& field, std::string_view text);
    bool setNumberOf(const FieldIdentifiers& field, std::int32_t number, std::int32_t total);
    std::shared_ptr<id3V2Frame> frameOf(const FrameContent& content, FrameID identifier, bool isText) const;

    /// The first frame of a field; null where the tag is absent or of a version that is not known.
    const id3V2Frame* fieldFrame(const FieldIdentifiers& identifiers) const;
    std::optional<std::string> fieldText(const FieldIdentifiers& identifiers) const;
    bool isMachineComment(const std::optional<std::string>& description) const;
    /// The comment that counts: the last one and its description, or the first one, by preference without description.
    std::optional<std::string> lastComment(FrameID identifier) const;
    std::optional<std::string> firstComment(FrameID identifier) const;
    std::int32_t fieldNumber(const FieldIdentifiers& identifiers, std::int32_t (*part)(std::string_view)) const;
    std::int32_t absentNumber() const;
    /// Image and description, which begins at `start`, of a frame laid out as in 2.2 or as in 2.3 and 2.4.
    std::optional<Picture> pictureBehindHeader(const id3V2Frame& frame, std::size_t start, bool version2) const;

    FrameLibrary library_;
    const Dialect* dialect_;
    bool present_ = false;
    std::uint32_t majorVersion_ = 0;
    std::uint32_t minorVersion_ = 0;
    std::uint32_t flag_ = 0;
    std::uint32_t tagLength_ = 0;      ///< the header's size field, or what was guessed in its place
    std::uint32_t paddingLength_ = 0;  ///< what is behind the frames, or to be written there
    std::uint32_t positionInFile_ = 0;
    std::uint32_t frameSetLength_ = 0;
    std::uint32_t tagChanged_ = 0;
    bool exhastiveSearch_ = false;
    bool iTunesV24CompatabilityMode_ = false;
    FrameStore frameSet_;
    std::optional<util::Data> extendedHeader_;  ///< without its size field
    std::int32_t extendedHeaderPresent_ = 0;
    std::string path_;
    std::uint64_t fileSize_ = 0;
    std::int32_t errorNo_ = 0;
    std::optional<std::string> errorDescription_;
    Remarks remarks_;

    /// What of the file the tag takes.
    struct Extent {
        std::uint64_t begin = 0;
        std::uint64_t framesEnd = 0;
        std::uint64_t end = 0;
        bool isCertain = false;  ///< all in it is header, frames and zeros
    };
    Extent extent_;
    bool guessedLength_ = false;            ///< of the tag
    bool readFailed_ = false;               ///< so that what the file has is not known
    bool beginsWithAudio_ = false;          ///< an MPEG frame stands at the file's start, before the tag
    bool endsInPadding_ = false;            ///< what is behind the frames
    bool guessedFrames_ = false;            ///< where the frames begin, or where one of them ends
    std::optional<util::FileStamp> stamp_;  ///< of the file when it was read or written last; none for a new tag
    SaveOptions saveOptions_;
};

}  // namespace quillet
