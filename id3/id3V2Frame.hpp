#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "id3/Dialect.hpp"
#include "id3/FrameID.hpp"
#include "id3/Picture.hpp"
#include "util/Bytes.hpp"
#include "util/Data.hpp"
#include "util/Narrow.hpp"

namespace quillet {

/// How a text is encoded in memory of a tag (ID3v2.4.0 structure 4).
enum class TextEncoding { latin1, utf16WithMark, utf16BigEndian, utf8 };

/// One frame of an ID3v2 tag in memory: identifier, two flag bytes, body, and the version whose rules apply. The body
/// is a view on the tag's bytes until a writer replaces it. No file input or output.
class id3V2Frame {
  public:
    /// -initFrame:length:frameID:firstflag:secondFlag:version:  `version` is 2, 3 or 4; the identifier is the first 3
    /// characters of `frameID` for 2, the first 4 otherwise.
    id3V2Frame(util::Data body, FrameID frameID, std::uint8_t firstFlag, std::uint8_t secondFlag, std::int32_t version,
               const Dialect& dialect = kSystemDialect)
        : frame_(std::move(body)),
          length_(util::lowBits<std::uint32_t>(frame_->size())),
          frameID_(version <= 2 ? frameID.firstThree() : frameID),
          majorVersion_(version),
          flagByte1_(firstFlag),
          flagByte2_(secondFlag),
          dialect_(&dialect) {}
    /// -init:firstflag:secondFlag:version:  Without a body.
    id3V2Frame(FrameID frameID, std::uint8_t firstFlag, std::uint8_t secondFlag, std::int32_t version,
               const Dialect& dialect = kSystemDialect);
    /// -initTextFrame:firstflag:secondFlag:text:withEncoding:version:  Coding byte, text (lossy where the encoding
    /// lacks a character), terminator.
    static std::shared_ptr<id3V2Frame> initTextFrame(FrameID frameID, std::uint8_t firstFlag, std::uint8_t secondFlag,
                                                     std::string_view text, std::int32_t coding, std::int32_t version,
                                                     const Dialect& dialect = kSystemDialect);

    FrameID getFrameID() const { return frameID_; }
    /// -getRawFrameData  The body as it stands; nullopt without one.
    const std::optional<util::Data>& getRawFrameData() const { return frame_; }
    /// -getFrameLength  Bytes of the body.
    std::uint32_t getFrameLength() const { return length_; }
    /// -length  Bytes of the frame in a tag: the body, or what is kept in its place, and a header of 6 or 10 bytes.
    std::uint32_t length() const;
    std::uint8_t flagByte1() const { return flagByte1_; }
    std::uint8_t flagByte2() const { return flagByte2_; }
    std::int32_t majorVersion() const { return majorVersion_; }

    /// -getTextFromFrame  The text behind the coding byte, without NULs, carriage returns, line feeds and tabs at its
    /// ends (a text of one character keeps even those); nullopt without a body.
    std::optional<std::string> getTextFromFrame() const;
    /// The values of a text frame, in order: what stands between the NULs. Empty for a frame without text.
    std::vector<std::string> textValues() const;
    /// -getShortCommentFromFrame  A comment's short description; nullopt without a body or without room for one.
    std::optional<std::string> getShortCommentFromFrame() const;
    /// -getCommentFromFrame  A comment's text; nullopt likewise.
    std::optional<std::string> getCommentFromFrame() const;
    /// -genreArrayFromFrame  The entries of a genre text: references ("17") and names.
    std::vector<std::string> genreArrayFromFrame() const;
    /// -getGenreFromFrame  Always nullopt; nothing asks for a single genre.
    std::optional<std::string> getGenreFromFrame() const { return std::nullopt; }
    /// -getCompleteRawFrame  Header and body as they stand in a tag, compressed and unsynchronised where the flags say
    /// so. nullopt without a body, or where compression fails or does not shrink the body. A frame that was read with
    /// fields or in a form of its own, and whose body nobody has replaced since, is as it was read (standard dialect).
    std::optional<util::Data> getCompleteRawFrame() const;
    /// The same behind what `tag` holds, with a size field of the style given: plain, or synchsafe (2.4 alone). False,
    /// with `tag` as it was, where there is no answer.
    bool appendCompleteRawFrame(std::string& tag, bool plainSize) const;
    /// Keeps what stands behind the header in the tag, where the body is not the same: with the fields that the flags
    /// announce, compressed, encrypted, unsynchronised. A writer that replaces the body forgets it.
    void keepStored(util::Data stored) { stored_ = std::make_shared<const util::Data>(std::move(stored)); }
    /// Whether what a reader makes of both is the same: identifier, status flags, and body, or what is kept in its
    /// place.
    bool isWrittenLike(const id3V2Frame& other) const;

    /// Flags, by the version's own bits; version 2 has none and answers false.
    bool compress() const;
    bool unsynch() const;
    bool encrypted() const;
    bool readOnly() const;
    bool dropIfTagChange() const;
    bool dropIfFileChange() const;
    /// -isEqual:  Same identifier, same body, same length.
    bool isEqual(const id3V2Frame& other) const;

    /// -writeTextFrame:coding:  Replaces the body with coding byte, text and terminator.
    bool writeTextFrame(std::string_view text, std::int32_t coding);
    /// -writeCommentToFrame:language:coding:  Replaces the body. False, with the coding byte alone for a body and 0 for
    /// its length, where `language` has fewer than 3 characters or one that Latin-1 lacks.
    bool writeCommentToFrame(std::string_view text, std::string_view language, std::int32_t coding);
    /// -appendDataToFrame:newFrame:  Appends `data` to the body, or replaces it.
    bool appendDataToFrame(const util::Data& data, bool newFrame);
    /// Each false, changing nothing, for a version without the flag.
    bool setCompress(bool value);
    bool setEncrypted(bool value);
    bool setDropIfTagChange(bool value);
    bool setDropIfFileChange(bool value);
    bool setReadOnly(bool value);
    bool setUnsynch(bool value);
    /// -writeImage:  Replaces the body with a picture frame's, so that the picture readers of id3V2Tag find the picture
    /// again. A type that is no name of decodeImageType is written as 0, or where there is none as a front cover; a
    /// MIME type that is missing is told from the image. A format of 2.2 has three characters.
    bool writeImage(const Picture& picture);
    /// -iTunesV24Compat  Marks the frame as one of a 2.4 tag with plain sizes, so that it is written back so.
    void iTunesV24Compat() { iTunesV24Compat_ = true; }
    bool isITunesV24Compat() const { return iTunesV24Compat_; }

    /// -write2FrameLength:  Three bytes; nullopt from 2^24 on.
    static std::optional<std::string> write2FrameLength(std::uint32_t length);
    /// -write3FrameLength:  Four plain bytes.
    static std::string write3FrameLength(std::uint32_t length);
    /// -write4FrameLength:  Four synchsafe bytes; nullopt from 2^29 on, and from 2^28 on without the high bits.
    static std::optional<std::string> write4FrameLength(std::uint32_t length);
    /// -genreStringFromArray:  Each element followed by a NUL.
    static std::string genreStringFromArray(const std::vector<std::string>& genres);
    /// -cleanString:  Without NULs, carriage returns, line feeds and tabs at the ends, and a space for each NUL, or
    /// pair of NULs, inside.
    static std::string cleanString(std::string_view text);

    /// -convertTextCodingByte:  What a coding byte stands for.
    TextEncoding convertTextCodingByte(std::uint8_t coding) const;
    /// -getTextCodingByte:  The coding byte to write.
    std::uint8_t getTextCodingByte(std::int32_t coding) const;

    static std::string decode(util::Bytes bytes, TextEncoding encoding);
    /// Lossy; with a byte-order mark where the encoding has one.
    static std::string encode(std::string_view utf8, TextEncoding encoding);

  private:
    bool isFlagSet(std::uint8_t byte, std::uint8_t mask3, std::uint8_t mask4) const;
    /// Sets the version's bit in `byte`, or makes `byte` what `clearedFrom` is without it.
    bool setFlag(std::uint8_t& byte, std::uint8_t clearedFrom, std::uint8_t mask3, std::uint8_t mask4, bool value);
    std::uint8_t flagByteToClearFrom() const;
    /// The second flag byte without the flags of fields that a body does not hold in the standard dialect.
    std::uint8_t flagsWithoutFields() const;
    std::string encodedText(std::string_view text, std::int32_t coding) const;
    /// How many zeros end a text that replaces another.
    std::size_t zerosBehind(std::int32_t coding) const;
    /// A header of 2.3 or 2.4 and what stands behind it. Always true.
    bool appendRawFrame(std::string& tag, std::string_view content, std::uint8_t formatFlags, bool plainSize) const;
    void setBody(std::string bytes);
    /// The first `length_` bytes of the body; none without one.
    util::Bytes body() const;
    enum class CommentPart { description, text };
    std::optional<std::string> commentPart(CommentPart wanted) const;
    /// The text of a text frame with the NULs between its values.
    std::string textWithNuls() const;

    std::optional<util::Data> frame_;
    std::shared_ptr<const util::Data> stored_;  ///< null where the body is what stands in the tag
    std::uint32_t length_ = 0;
    FrameID frameID_;
    std::int32_t majorVersion_;
    std::uint8_t flagByte1_;
    std::uint8_t flagByte2_;
    bool iTunesV24Compat_ = false;
    const Dialect* dialect_;
};

}  // namespace quillet
