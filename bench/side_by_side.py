"""What the scripts here share: the corpus, how a program's cost is taken, and how tables and targets are printed."""

import hashlib
import json
import os
import pathlib
import re
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
CORPUS_MAKERS = [HERE / "reading" / name for name in ("make_corpus.py", "corpus_sound.py", "corpus_tags.py")]


class Corpus:
    """The files and what is in them."""

    def __init__(self, folder, count, streams):
        folder = (folder or ROOT / f"build/reading-corpus-{count}").resolve()
        manifest, stamp = folder / "manifest.jsonl", folder / "made-by"
        makers = hashlib.md5(b"".join(path.read_bytes() for path in CORPUS_MAKERS)).hexdigest()
        wanted = f"{makers} {count} {streams}\n"
        if not stamp.is_file() or stamp.read_text() != wanted:
            subprocess.run([CORPUS_MAKERS[0], folder, "--count", str(count), "--streams", str(streams)], check=True)
            stamp.write_text(wanted)
        self.entries = [json.loads(line) for line in manifest.read_text().splitlines()]
        self.paths = [str(folder / entry["file"]) for entry in self.entries]


def corpus_arguments(arguments, programs):
    """The options that all scripts have."""
    arguments.add_argument("--programs", type=pathlib.Path, default=ROOT / "build/dev/bench" / programs)
    arguments.add_argument("--corpus", type=pathlib.Path, help="its folder; made anew where it does not fit")
    arguments.add_argument("--count", type=int, default=10_000, help="how many files it has")
    arguments.add_argument("--streams", type=int, default=60, help="how many distinct streams of audio")
    arguments.add_argument("--rounds", type=int, default=7)
    arguments.add_argument("--core", type=int, default=0, help="the one to run on")


def cost(command, core):
    """What a program tells of its run on one core."""
    output = subprocess.run(["taskset", "-c", str(core), *command], check=True, capture_output=True).stdout
    return json.loads(output)


def system_calls(command, scratch):
    report = pathlib.Path(scratch) / "strace.txt"
    subprocess.run(["strace", "-f", "-c", "-U", "calls,name", "-o", report, *command], check=True, capture_output=True)
    return int(re.search(r"^\s*(\d+)\s+total$", report.read_text(), re.MULTILINE)[1])


def instructions(command):
    # One instruction that copies many bytes counts as many; so glibc is told to copy in loops.
    loops = os.environ | {"GLIBC_TUNABLES": "glibc.cpu.x86_rep_movsb_threshold=0x7fffffff"}
    run = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command], check=True,
                         capture_output=True, text=True, env=loops)
    return int(re.search(r"Collected : (\d+)", run.stderr)[1])


def per_file(measure, files):
    """What one file more costs: `measure` of many files (their number) less that of half of them."""
    many = min(500, files)
    few = many // 2
    return (measure(many) - measure(few)) / (many - few)


def print_table(head, rows):
    for cells in [head, ["---", *["---:"] * (len(head) - 1)], *rows]:
        print("| " + " | ".join(cells) + " |")


def print_target(what, value, target, most):
    """One line; whether the target is reached."""
    reached = value <= target if most else value >= target
    print(f"{what}: {value:,.2f}, target {'at most' if most else 'at least'} {target:,}: "
          f"{'reached' if reached else 'MISSED'}")
    return reached
