#pragma once

/// What stands below the options in the help of each command. Lines of at most 80 columns.
namespace quillet::cli {

inline constexpr const char* kMainHelp = R"(Examples:
  quillet import ~/Music/new       all audio files of a folder into the library
  quillet import --move song.m4a   the same for one file, which is moved
  quillet watch                    import whatever is dropped, until interrupted
  quillet library list             what the library holds
  quillet library list --json | jq .title
  quillet info ~/Music             bit rate, duration ... of every .mp3 file there
  quillet tag show song.mp3        what its tags say
  quillet tag set song.mp3 --title "A title" --year 2009

The library lies under a root folder: --root DIR, else $QUILLET_ROOT, else
$XDG_DATA_HOME/quillet, else ~/.local/share/quillet.

Exit status: 0 all done, 1 some files failed (the others are done), 2 wrong
usage, 3 nothing to do, 130 interrupted with a clean state.
)";

inline constexpr const char* kImportHelp =
    R"(The files are copied, and yours are left alone. A copy of an .mp3 file whose ID3
tag lacks title or artist gets them from its file name: the artist stands before
the first "-", the title between it and the next one, and a name without "-" is
both. "A - B - C.mp3" is B by A, and so is "A-B.mp3"; --no-naming leaves copies
as they are. Something in a folder that is not audio, hidden, or a partial
download is passed over; what is not audio and named itself is a failure.
Whether a file is in the library already is not looked at. If a watch runs on
the root, it imports the files; otherwise this command does, and re-checks the
library first.

Examples:
  quillet import song.m4a other.mp3
  quillet import --json ~/Downloads > imported.jsonl

--root DIR and --json work here as well.
)";

inline constexpr const char* kWatchHelp =
    R"(Drop audio files into ROOT/private/var/mobile/Media/Quillet/Import: they are
imported when nothing in the folder has changed for about a second. What is no
audio file (a folder and a link too) goes to the folder Rejected beside it.
Hidden files and partial downloads (.part, .crdownload ...) stay until they are
renamed. SIGINT and SIGTERM end the watch after the batch in hand, with status
130. --root DIR and --json work here as well.

Example:
  quillet --root /srv/music watch
)";

inline constexpr const char* kRecheckHelp =
    R"(Files in the media folder that nothing knows of, as a killed import leaves them,
are imported too. A watch, and an import that runs by itself, do the same when
they start. --root DIR and --json work here as well.

Example:
  quillet recheck --json
)";

inline constexpr const char* kLibraryHelp = R"(Examples:
  quillet library list
  quillet library show 12
  quillet library remove 12 --keep-file

--root DIR and --json work here as well.
)";

inline constexpr const char* kListHelp =
    R"(In a pipe: tab-separated ID, title, artist, album, track, year, playing time.
--root DIR and --json work here as well.

Example:
  quillet library list --json | jq -r 'select(.year > 2000) | .title'
)";

inline constexpr const char* kShowHelp =
    R"(With --json also "values": every property by the library's own name, each of the
type that it has there. --root DIR works here as well.

Example:
  quillet library show 3 4
)";

inline constexpr const char* kRemoveHelp =
    R"(With --keep-file the track alone goes; the next re-check, which is also the start
of a watch or an import, brings it back. --root DIR and --json work here as well.

Examples:
  quillet library remove 3 4
  quillet library remove 12 --keep-file
)";

inline constexpr const char* kInfoHelp =
    R"(On a terminal: all that is known of one file, or a table of many. In a pipe:
tab-separated file, MPEG version, layer, kbit/s, Hz, channels, seconds, what the
duration was taken from (xing, info, vbri, frames, bitRate), audio frames,
fingerprint and warnings. With --json one object a file; what is not known is
null, and bitRate is in kilobits per second.

In a folder, and below, the .mp3 files are read, in the order of their names.
A file that is named itself is tried whatever it is called.

Examples:
  quillet info song.mp3
  quillet info --json ~/Music | jq -r 'select(.bitRate < 192) | .file'
)";

inline constexpr const char* kTagHelp = R"(Examples:
  quillet tag show song.mp3
  quillet tag frames --json ~/Music
  quillet tag cover song.mp3 -o cover.jpg
  quillet tag set song.mp3 --title "A title" --track 3/12 --cover front.jpg
  quillet tag convert --to 2.4 --dry-run ~/Music
)";

inline constexpr const char* kTagShowHelp =
    R"(What reading had to guess, cut or leave out follows as warnings. With --json one
object a file; a text or number that is absent is null, a list is empty, and
v1 and v2 are null where there is no such tag.

Examples:
  quillet tag show song.mp3
  quillet tag show --json ~/Music | jq -r '[.artist, .title] | @tsv'
)";

inline constexpr const char* kTagFramesHelp =
    R"(Each line has the frame's identifier, what it is, the bytes of its body, and what
it holds. With --json one object a file, its frames under "frames".

Examples:
  quillet tag frames song.mp3
  quillet tag frames --json song.mp3 | jq -r '.frames[] | select(.id == "TXXX")'
)";

inline constexpr const char* kTagCoverHelp =
    R"(If OUT is a folder, each picture goes there under its file's name, with the
extension of its format; of several files the covers can go nowhere else. What
is there already stays, unless --force is given. A file without a picture is a
failure.

Examples:
  quillet tag cover song.mp3 -o cover.jpg
  quillet tag cover song.mp3 -o - | file -
  mkdir covers && quillet tag cover ~/Music/album -o covers
)";

inline constexpr const char* kTagSetHelp =
    R"(What is not named stays as it is; an empty value takes a field away. A number
without a total keeps the total. The cover takes the place of the present one,
other pictures stay; --cover none takes all away. In 2.2, 2.3 or 2.4, --frame
ID=TEXT sets any frame of text or web address, TXXX=DESCRIPTION=TEXT (WXXX,
COMM and USLT too) one of several. A file with an ID3v1 tag alone gets its
values in an ID3v2 tag first, one without any tag an ID3v2.3 tag; an ID3v1 tag
that is there is kept in step.

Audio is never touched, and after saving each file is read again and compared.
A tag that fits is changed in place; otherwise the file is written anew beside
the old one, and takes its name when it is complete and on the disk. What would
not change is not written. --dry-run tells what would change.

Examples:
  quillet tag set song.mp3 --title "A title" --artist "An artist" --year 2009
  quillet tag set album --album "An album" --genre Jazz --genre Swing
  quillet tag set song.mp3 --comment "" --cover front.jpg --dry-run
  quillet tag set song.mp3 --frame TBPM=120 --frame TXXX=mood=calm
)";

inline constexpr const char* kTagCopyHelp =
    R"(Title, artist, album, year, track, genre and comment. An ID3v1 tag has 30
characters for a text (28 or 30 for the comment), and cuts what is longer.

Examples:
  quillet tag copy v1-to-v2 old.mp3
  quillet tag copy v2-to-v1 --dry-run ~/Music
)";

inline constexpr const char* kTagConvertHelp =
    R"(Each frame becomes its equivalent in the other version; one that has none is
lost, and named. A file with an ID3v1 tag alone gets its values in a new tag.

Examples:
  quillet tag convert --to 2.3 --dry-run song.mp3
  quillet tag convert --to 2.4 ~/Music
)";

inline constexpr const char* kTagDropHelp =
    R"(Takes the tag out of the file, and nothing else. See the other one stays, and
with --dry-run, what would be gone.

Examples:
  quillet tag drop v1 song.mp3
  quillet tag drop v2 --dry-run ~/Music
)";

}  // namespace quillet::cli
