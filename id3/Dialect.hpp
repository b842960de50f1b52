#pragma once

namespace quillet {

/// Where the system's own way with ID3 and MPEG audio parts from the public standards: one entry a difference, true for
/// the system's way, with one sentence for each side. `kSystemDialect` has every entry true and is the default of every
/// class; `kStandardDialect` has every entry false. Nothing else in the engine knows a difference between the two.
///
/// Sources: ID3v1 (id3.org, with the v1.1 track byte), ID3v2.2.0, ID3v2.3.0, ID3v2.4.0 structure and frames, ISO/IEC
/// 11172-3 and 13818-3.
struct Dialect {
    bool system = true;  ///< what every entry below begins with

    // Finding a tag.

    /// System: whatever follows "ID3" is a header, and size bytes with bit 7 set count as negative. Standard: a version
    /// of 0xFF, a size byte of 0x80 or more make it no header, and the search goes on (ID3v2.4.0 structure 3.1).
    bool takesAnyHeader = system;
    /// System: frames are looked for up to the end of the block that was read, past the tag's own end. Standard: the
    /// tag ends where its header says (ID3v2.4.0 structure 3.1).
    bool walksPastTheTag = system;
    /// System: the audio begins `tagLength` bytes behind the tag's position. Standard: the header's 10 bytes count too,
    /// and a footer's 10 (ID3v2.4.0 structure 3.1, 3.4).
    bool leavesHeaderOutOfAudioStart = system;
    /// System: a large tag's extended header is passed over twice. Standard: once.
    bool passesExtendedHeaderTwice = system;
    /// System: an extended header's size is synchsafe and does not count itself. Standard: so in neither version; in
    /// 2.3 it is plain, in 2.4 it is synchsafe and counts its own 4 bytes (ID3v2.3.0 3.2, ID3v2.4.0 structure 3.2).
    bool readsExtendedHeaderInOneWay = system;
    /// System: the byte behind each 0xFF becomes zero, the rest keeps its place, and the end is cut off. Standard: each
    /// FF 00 becomes FF and the rest moves down; in 2.4 that is each frame's own matter, which the tag's flag only
    /// announces (ID3v2.3.0 5, ID3v2.4.0 structure 6.1).
    bool reversesUnsynchronisationInPlace = system;
    /// System: flag bit 0x20 of a 2.4 tag tells of a footer. Standard: 0x10; 0x20 marks an experiment (ID3v2.4.0
    /// structure 3.1).
    bool takesExperimentForFooter = system;
    /// System: of a tag that is longer than the file, what is left from its header on counts behind its header.
    /// Standard: what is left behind its header.
    bool countsHeaderInCutTag = system;
    /// System: whatever the frames leave of a tag is padding, the extended header too, so that the tag's length has it
    /// twice. Standard: what is behind the frames.
    bool countsExtendedHeaderAsPadding = system;
    /// System: a compressed 2.2 tag is walked like any other. Standard: it is not read, since there is no compression
    /// for it (ID3v2.2.0 3.1).
    bool readsCompressedTags = system;
    /// System: a search of the whole file goes on to its end, and the last tag counts. Standard: the first one.
    bool takesLastTag = system;
    /// System: an empty tag made of one with an extended header, or a tag that was told to have none, still counts that
    /// header's size field. Standard: no.
    bool keepsExtendedHeaderMark = system;

    // Walking frames.

    /// System: the room left for a frame is counted with the frame offset taken off twice and the frame's header not at
    /// all, and a longer frame gets that room. Standard: what lies between the frame's header and the tag's end.
    bool guessesRoomForFrames = system;
    /// System: a frame of more than 10,000,000 bytes is cut. Standard: a body is as long as it says.
    bool cutsLargeFrames = system;
    /// System: a 2.4 tag is read with synchsafe sizes up to the frame that does not fit them. Standard: whether a tag
    /// has plain sizes is decided once, from all of its frames (ID3v2.4.0 structure 4).
    bool switchesToPlainSizesMidway = system;
    /// System: a space may stand in an identifier. Standard: capital letters and digits alone (ID3v2.4.0 structure 4).
    bool takesSpaceInIdentifiers = system;
    /// System: a 2.2 identifier and a NUL in a 2.3 tag end the walk. Standard: it is read as its 2.3 equivalent, since
    /// a well-known tagger wrote such tags.
    bool stopsAtOldIdentifiers = system;
    /// System: a compressed frame's sizes and its stream stand at fixed places, and bodies keep the fields that the
    /// format flags add. Standard: group and data length are read as the flags say and left out of the body, and what
    /// is encrypted has none (ID3v2.3.0 3.3.1, ID3v2.4.0 structure 4.1.2).
    bool readsFormatFieldsAtFixedPlaces = system;

    // A frame's content.

    /// System: text encoding 2 is UTF-8. Standard: UTF-16, big-endian without a mark (ID3v2.4.0 structure 4).
    bool readsEncodingTwoAsUTF8 = system;
    /// System: terminators of wide text are looked for byte by byte, and of pictures by the rules for runs of zeros.
    /// Standard: by the character (ID3v2.4.0 structure 4).
    bool findsTerminatorsByByte = system;
    /// System: a text keeps the NULs between its values. Standard: values are told apart, and read as one text they
    /// stand with " / " between them (ID3v2.4.0 frames 4.2).
    bool keepsNulsBetweenValues = system;
    /// System: "(17)" gives "17" and "17)". Standard: "17" (ID3v2.3.0 4.2.1, TCON).
    bool keepsStrayParentheses = system;
    /// System: text that begins with a number is one, and has a name up to 125. Standard: digits alone are one, of all
    /// that the dictionary names, RX is "Remix", CR is "Cover", and 255 is none (ID3v2.3.0 4.2.1, TCON).
    bool limitsGenreNumbers = system;
    /// System: the last accepted comment counts, and a description stands before its text. Standard: the first comment
    /// without description, else the first, and its text alone (ID3v2.4.0 frames 4.10).
    bool joinsDescriptionAndComment = system;
    /// System: the description of a picture in Latin-1 is taken from the frame's start, any other is read as UTF-8.
    /// Standard: from its own place, in the frame's encoding (ID3v2.4.0 frames 4.14).
    bool misplacesPictureDescription = system;
    /// System: a picture's MIME type ends with its NUL. Standard: it stands without (ID3v2.4.0 frames 4.14), and the
    /// format of a 2.2 picture in its place is read as one.
    bool keepsNulOfMimeType = system;
    /// System: a 2.2 picture has its format under "Picture Type" and its type under "Mime Type". Standard: each under
    /// its own (ID3v2.2.0 4.15).
    bool swapsPictureKeys = system;
    /// System: the year is that of TYER up to 2.3 and of TDRC in 2.4. Standard: where that frame is missing, the other
    /// one's, since taggers mix them.
    bool readsYearFromOneFrame = system;
    /// System: a total or disc whose frame is missing is -1. Standard: 0, absent.
    bool answersMinusOneForAbsent = system;
    /// System: a track, disc or total below zero stays so, and one beyond 32 bits is the largest number that fits.
    /// Standard: both are absent.
    bool clampsNumbers = system;

    // Editing a frame.

    /// System: a text that is written anew ends with two zeros unless its encoding is 0, and a comment's empty
    /// description is such zeros alone. Standard: with one unless it is UTF-16, where the description has its mark too
    /// (ID3v2.4.0 structure 4).
    bool endsTextWithTwoZeros = system;

    /// System: whether a 2.4 frame is unsynchronised is asked of bit 0x80 and set in bit 0x02. Standard: 0x02 for both
    /// (ID3v2.4.0 structure 4.1.2).
    bool asksOtherUnsynchronisationBit = system;
    /// System: a setter writes what it is given. Standard: an empty text, a number below 1 and an empty list of genres
    /// take the frame away, a total below 1 is not written, and a picture without bytes is none.
    bool writesEmptyValues = system;
    /// System: genres, and what is set by a frame's identifier, are written in UTF-16, each genre with a NUL behind it.
    /// Standard: like other text, in Latin-1 where ASCII will do, with NULs between genres alone (ID3v2.4.0
    /// frames 4.2).
    bool writesSomeTextsInUTF16 = system;
    /// System: a setter replaces the first frame of its field. Standard: all of them, since there may be but one
    /// (ID3v2.4.0 frames 4.2).
    bool replacesFirstFrameAlone = system;

    // Changing and writing a tag.

    /// System: a tag of which frames were dropped is not changed by that. Standard: it is.
    bool ignoresDropsAsChange = system;
    /// System: dropping a tag takes it for gone, while its bytes stay in front of the audio; where the copy would end
    /// before the file does, nothing is done. Standard: its bytes are left out.
    bool keepsBytesOfDroppedTag = system;
    /// System: a footer's flag stays, and 10 zeros stand for it. Standard: the flag is left out, since a footer and
    /// padding exclude each other (ID3v2.4.0 structure 3.4).
    bool writesFooterAsZeros = system;
    /// System: the flag for unsynchronisation is written as it was read. Standard: it is left out, and tags are not
    /// unsynchronised, which all readers of today expect; a frame that was, stays so (ID3v2.4.0 structure 6).
    bool keepsUnsynchronisationFlag = system;
    /// System: an extended header is written with a plain size that does not count itself, its fields as they were.
    /// Standard: as its version has it, with the size of the padding as it is now; one that holds a checksum is left
    /// out (ID3v2.3.0 3.2, ID3v2.4.0 structure 3.2).
    bool writesExtendedHeaderAsRead = system;

    /// System: clearing two flags of a 2.4 frame takes the new first byte from the second. Standard: from the first.
    bool clearsFlagsFromSecondByte = system;

    // ID3v1.

    /// System: the track is byte 125 of the record, and byte 124 is made zero when that is written. Standard: byte 126,
    /// where byte 125 is zero; otherwise there is no track and the comment is 30 bytes long (ID3v1.1).
    bool readsV1TrackAtByte125 = system;
    /// System: "TAG" 128 bytes before the end is a record. Standard: not where it is part of "APETAGEX", which begins
    /// an APEv2 tag of 131 bytes.
    bool takesEndOfAPETag = system;
    /// System: the genre is read from byte 125. Standard: from byte 127.
    bool readsV1GenreAtByte125 = system;
    /// System: year and genre are written as decimal text with a zero behind it, so a year empties the comment and of a
    /// genre its first digit stays. Standard: the year is four digits and nothing else, the genre one byte.
    bool writesV1NumbersAsTerminatedText = system;

    /// System: a v1 record that cannot be written because its file cannot be opened counts as written. Standard: no.
    bool takesUnopenableForWritten = system;

    // The facade.

    /// System: an examined file that has a v1 tag alone gets an empty v2 tag with its values. Standard: the v1 tag
    /// answers for itself.
    bool copiesV1TagOnExamination = system;
    /// System: setTitle says no where the v1 record took the title. Standard: yes.
    bool reversesResultOfV1Title = system;
    /// System: a year, a genre of the v1 tag up to 125, and content that is set by a frame's identifier do not count as
    /// changes to be written. Standard: they do, and what is changed frame by frame is changed in the v1 tag too.
    bool overlooksSomeChanges = system;
    /// System: most setters agree where there is no tag that they could change, and no frame is dropped from a tag that
    /// is not in the file yet. Standard: none does, and one is.
    bool agreesWithoutTag = system;
    /// System: an update writes a v1 record into every file. Standard: where one is present, or was asked for.
    bool addsV1Record = system;
    /// System: a genre above 125 becomes 0 in v1, and one without a number leaves v1 as it was. Standard: all that the
    /// dictionary names have their number, and one without has 255, none.
    bool limitsV1Genres = system;
    /// System: one tag is copied to the other with the values that it lacks, as empty ones, and a v1 tag's own values
    /// are set in it again. Standard: what one tag lacks the other keeps, and the one that is copied stays as it is.
    bool copiesAbsentValues = system;
    /// System: an update writes the v1 record first, and that stays where the v2 tag is refused then. Standard: the v2
    /// tag, and the record only behind one that was written, so that a file whose tag is refused is as it was.
    bool writesV1First = system;
    /// System: an update that could not take the v1 record away has done all. Standard: it could not write v1.
    bool overlooksFailedV1Drop = system;
    /// System: a conversion makes an ID3v2.2 tag of revision `minor` from what has a getter. Standard: an ID3v2.`minor`
    /// tag of all frames that have an equivalent.
    bool convertsToVersion2ByMeaning = system;
    /// System: a file with a v2 tag is answered from that alone. Standard: what it lacks may come from the v1 tag,
    /// where the preference "V1 auto - fallback" says so.
    bool answersFromOneTag = system;
    /// System: the v1 artist stands in for an album artist. Standard: a v1 tag has none.
    bool takesV1ArtistForAlbumArtist = system;
    /// System: a file's size is told modulo 2^32. Standard: as it is.
    bool tellsLow32BitsOfSize = system;
    /// System: a file named .mp3 is read by its tag whatever it holds. Standard: one without an MPEG audio frame, and
    /// without a tag, is left to whoever knows other formats.
    bool takesAnyFileForMP3 = system;

    // MPEG audio.

    /// System: a file with fewer than 16,384 bytes behind its tag is refused. Standard: it is read.
    bool refusesShortAudio = system;
    /// System: 0xFF and a byte of 0x20 or more are a frame, in 16,383 bytes behind the tag. Standard: a header whose
    /// every field is valid, confirmed by the next frame's (ISO/IEC 11172-3 2.4.1.3).
    bool takesAnySync = system;
    /// System: the channel mode is 0 where the header's last byte is zero, and 1 elsewhere. Standard: its two top bits
    /// (ISO/IEC 11172-3 2.4.2.3).
    bool readsChannelsFromWholeByte = system;
    /// System: whole seconds from a Xing header by a fixed factor, otherwise from size and bit rate. Standard: exact,
    /// from a Xing, Info or VBRI header with encoder delay and padding taken off, otherwise from a count of the frames.
    bool estimatesDuration = system;
};

inline constexpr Dialect kSystemDialect{};
inline constexpr Dialect kStandardDialect{.system = false};

}  // namespace quillet
