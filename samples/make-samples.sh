#!/bin/sh
# Makes the samples anew, in the folder given or this one. The same programs make the same bytes each time.
# Needs ffmpeg, lame, eyed3 and python3-mutagen (Debian packages).
set -eu

here=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd)
out=${1:-$here}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

ffmpeg_quietly() {
    ffmpeg -nostdin -v error -y -fflags +bitexact "$@"
}

# sweep FILE SECONDS FROM TO: a sine that rises or falls from one frequency (Hz) to the other.
sweep() {
    ffmpeg_quietly -f lavfi -i "aevalsrc=exprs=0.5*sin(2*PI*($3*t+($4-$3)*t*t/(2*$2))):s=44100:d=$2" -bitexact "$1"
}

sweep "$work/rising.wav" 3 220 880
sweep "$work/falling.wav" 2.5 1760 440
sweep "$work/long.wav" 4 110 1320
ffmpeg_quietly -f lavfi -i mandelbrot=size=240x240 -frames:v 1 -bitexact -q:v 6 "$work/mandelbrot.jpg"
ffmpeg_quietly -f lavfi -i smptebars=size=200x200 -frames:v 1 -bitexact "$work/bars.png"

# m4a FILE SOUND OPTIONS...: with the cover and whatever tags the options give.
m4a() {
    m4a_file=$1
    m4a_sound=$2
    shift 2
    ffmpeg_quietly -i "$m4a_sound" -i "$work/mandelbrot.jpg" -map 0:a -map 1:v -c:a aac -b:a 48k -c:v copy \
        -disposition:v attached_pic -map_metadata -1 -flags:a +bitexact -bitexact "$@" "$m4a_file"
}

m4a "$out/morning.m4a" "$work/rising.wav" -metadata title='Før daggry – 夜明け前' -metadata artist='Søren & the Sweeps' \
    -metadata album='Rising Tones' -metadata album_artist='Various Oscillators' -metadata date=2009-05-01 \
    -metadata track=3/12 -metadata disc=1/2
m4a "$out/evening.m4a" "$work/falling.wav" -metadata title='Evening' -metadata artist='Søren & the Sweeps' \
    -metadata album='Rising Tones' -metadata album_artist='Various Oscillators' -metadata date=2009 \
    -metadata track=4/12 -metadata disc=1/2

ffmpeg_quietly -i "$work/long.wav" -c:a aac -b:a 48k -map_metadata -1 -flags:a +bitexact -bitexact "$out/untagged.m4a"

lame --quiet -t -m m -b 64 "$work/long.wav" "$out/bars.mp3"
eyeD3 --quiet --no-color --to-v2.3 --title 'Colour Bars' --artist 'Test Card' --album 'Picture Tubes' \
    --album-artist 'Test Card Ensemble' --recording-date 1998 --track 7 --track-total 9 --disc-num 2 --disc-total 2 --genre Electronic \
    --add-image "$work/bars.png:FRONT_COVER" "$out/bars.mp3" >"$work/eyeD3.log" 2>&1 || { cat "$work/eyeD3.log" >&2; exit 1; }

lame --quiet -m m -b 64 --id3v1-only --tt 'Old Label' --ta 'First Version' --tl 'Last 128 Bytes' --ty 1996 --tn 5 \
    "$work/rising.wav" "$out/old-label.mp3"

ffmpeg_quietly -i "$work/falling.wav" -c:a aac -b:a 48k -map_metadata -1 -flags:a +bitexact -bitexact -f adts "$out/stream.aac"
/usr/bin/python3 - "$out/stream.aac" <<'END'
import sys
from mutagen.id3 import ID3, TALB, TDRC, TIT2, TPE1, TPE2, TRCK

tag = ID3()
for frame in (TIT2, "Raw Stream"), (TPE1, "Søren & the Sweeps"), (TALB, "Loose Frames"), (TRCK, "2/5"), (TDRC, "2012"), (TPE2, "Various Oscillators"):
    tag.add(frame[0](encoding=3, text=[frame[1]]))
tag.save(sys.argv[1])
END
