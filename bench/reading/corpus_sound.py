"""The corpus's audio: a few distinct streams, encoded once by LAME, that all files share."""

import array
import io
import math
import pathlib
import random
import subprocess
import tempfile
import wave

# (hertz, channels, LAME's rate options, the kilobits a second that those come to for this sound)
MODES = [(44100, 2, ["--cbr", "-b", "128"], 128), (44100, 2, ["-V", "4"], 150), (44100, 2, ["--cbr", "-b", "192"], 192),
         (44100, 1, ["--cbr", "-b", "96"], 96), (48000, 2, ["--cbr", "-b", "128"], 128),
         (44100, 2, ["--abr", "140"], 140), (48000, 2, ["-V", "2"], 190), (44100, 2, ["-V", "5"], 135),
         (22050, 2, ["--cbr", "-b", "64"], 64), (44100, 1, ["-V", "4"], 90), (44100, 2, ["--cbr", "-b", "320"], 320),
         (22050, 1, ["-V", "5"], 45)]
SMALLEST, LARGEST = 60_000, 200_000
TABLE = 1 << 16


def waves():
    """A few seconds of 16-bit sound: three drifting tones under noise, so that an encoder has something to do."""
    chance = random.Random(1)
    sine = [math.sin(2 * math.pi * i / 1024) for i in range(1024)]
    samples = array.array("h", bytes(2 * 4 * TABLE))
    for i in range(len(samples)):
        tones = sine[i * 10 % 1024] + sine[(i * 23 + (i >> 9)) % 1024] + sine[(i * 61 + (i >> 6)) % 1024]
        samples[i] = int(6000 * tones + (chance.random() - 0.5) * 4000)
    return samples.tobytes()


def wave_file(samples, rate, channels):
    file = io.BytesIO()
    with wave.open(file, "wb") as writer:
        writer.setnchannels(channels)
        writer.setsampwidth(2)
        writer.setframerate(rate)
        writer.writeframes(samples)
    return file.getvalue()


class Stream:
    """An encoded stream and how long it plays."""

    def __init__(self, data, duration_ms):
        self.data = data
        self.duration_ms = duration_ms


def streams(count):
    """`count` streams of 60 to 200 KB. Each plays a whole number of milliseconds, so that there is one right answer."""
    sound = waves()
    made = []
    with tempfile.TemporaryDirectory() as folder:
        target = pathlib.Path(folder) / "stream.mp3"
        for number in range(count):
            rate, channels, options, kilobits = MODES[number % len(MODES)]
            size = 75_000 + 100_000 * number // count
            duration_ms = size * 8 // kilobits // 20 * 20
            length = duration_ms * rate // 1000 * channels * 2
            start = number * 7919 * 4 % len(sound)
            samples = (sound[start:] + sound * (length // len(sound) + 1))[:length]
            subprocess.run(["lame", "--quiet", "-q", "7", "--noreplaygain", *options, "-", str(target)],
                           input=wave_file(samples, rate, channels), check=True)
            data = target.read_bytes()
            if not SMALLEST <= len(data) <= LARGEST:
                raise SystemExit(f"make_corpus: LAME {' '.join(options)} made {len(data)} bytes")
            made.append(Stream(data, duration_ms))
    return made
