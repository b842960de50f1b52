#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "id3/AudioFile.hpp"
#include "id3/Dialect.hpp"
#include "id3/Limits.hpp"
#include "id3/SaveOptions.hpp"

namespace quillet {

/// The 128-byte record at the end of a file (ID3v1, ID3v1.1), kept whole in memory. Text is in the platform's default
/// C-string encoding.
class id3V1Tag {
  public:
    explicit id3V1Tag(const Dialect& dialect = kSystemDialect) : dialect_(&dialect) {}

    /// -openPath:  Keeps `path`, lets go of a record that is held, and reads with getTag.
    bool openPath(const std::string& path);
    /// The same of a file that is open already.
    bool openPath(const std::string& path, const AudioFile& file);
    /// -getTag  True where the file was read, with a record or without one; a fresh record is then held. False for a
    /// file that cannot be opened (logged) or is shorter than a record.
    bool getTag();

    /// Each nullopt or 0 while no record is present.
    std::optional<std::string> getTitle() const;
    std::optional<std::string> getArtist() const;
    std::optional<std::string> getAlbum() const;
    std::optional<std::string> getComment() const;
    std::int32_t getYear() const;
    std::int32_t getTrack() const;
    /// -getGenre  The genre's index, 0 to 255.
    std::int32_t getGenre() const;

    /// Each marks the tag changed; a text longer than its field is cut, which the error fields tell. False without a
    /// record.
    bool setTitle(std::string_view title);
    bool setArtist(std::string_view artist);
    bool setAlbum(std::string_view album);
    bool setComment(std::string_view comment);
    bool setYear(std::int32_t year);  ///< at most 9999
    bool setTrack(std::int32_t track);
    bool setGenre(std::int32_t genre);

    /// -setFieldWithString:offset:length:  `offset` counts back from the record's end.
    bool setFieldWithString(std::string_view text, std::size_t offset, std::size_t length);
    /// -setFieldWithNumber:offset:length:  The decimal text, at most `length` characters, and a zero behind the field
    /// where the record has room for it.
    bool setFieldWithNumber(std::int32_t number, std::size_t offset, std::size_t length);
    /// -getString:length:  One field, without zeros, spaces, carriage returns, line feeds and tabs at its ends.
    std::string getString(std::size_t position, std::size_t length) const;

    void setSaveOptions(const SaveOptions& options) { saveOptions_ = options; }
    /// -writeTag  Puts the record over the one at the file's end, or behind that end where none begins with "TAG". True
    /// without doing anything where nothing was changed. False, with the error set and the file as it was, where that
    /// fails; in the system dialect a file that cannot be opened is true.
    bool writeTag();
    /// The same of a file that is open for changing, and is refreshed then.
    bool writeTag(AudioFile& file);
    /// -dropTag  Cuts the file's last 128 bytes off where they begin with "TAG". False for a file that is shorter than
    /// a record or cannot be changed, and while no record is held. The record stays in memory.
    bool dropTag();
    bool dropTag(AudioFile& file);

    /// -newTag  An empty record, changed. Whether one is present stays as it is.
    bool newTag();

    /// The record in memory, whether it is in the file yet or not; empty where none is held.
    util::Bytes record() const { return tag_ ? util::Bytes(*tag_) : util::Bytes(); }
    /// A copy whose getters answer what the file would hold if it were written now.
    id3V1Tag asWritten() const {
        id3V1Tag written = *this;
        written.present_ = tag_.has_value();
        return written;
    }

    bool tagPresent() const { return present_; }
    bool tagChanged() const { return changed_; }
    std::int32_t getErrorCode() const { return errorNo_; }
    const std::optional<std::string>& getErrorDescription() const { return errorDescription_; }
    void clearError();
    /// -setError:reason:  Always false.
    bool setError(std::int32_t code, std::string_view reason);

  private:
    using Record = std::array<std::uint8_t, kV1Length>;

    bool readRecord(const AudioFile& file);
    /// What a file ends with, and whether that is a record; false, with the error set, where it cannot be read.
    bool readLast(const AudioFile& file, Record& record, bool& isThere);
    /// Whether the file has but one name.
    static bool isAlone(const AudioFile& file);
    /// Makes a file of its own, of the first `size` bytes, of one that has several names; false, with the error set,
    /// where the options do not ask for that, or it fails.
    bool partFrom(AudioFile& file, std::uint64_t size);
    /// Takes over what this tag has just made of the file.
    void follow(AudioFile& file);
    util::RewriteOptions inPlace() const;
    /// Sets the error; false.
    bool refuse(const util::Status& failure);
    /// Whether the file's last bytes are a record.
    bool isRecord(const AudioFile& file, const Record& record) const;
    bool hasTrackByte() const;
    std::optional<std::string> field(std::size_t position, std::size_t length) const;

    const Dialect* dialect_;
    bool present_ = false;
    bool changed_ = false;
    std::optional<Record> tag_;
    std::int32_t errorNo_ = 0;
    std::optional<std::string> errorDescription_;
    std::string path_;
    std::uint64_t fileSize_ = 0;
    SaveOptions saveOptions_;
};

}  // namespace quillet
