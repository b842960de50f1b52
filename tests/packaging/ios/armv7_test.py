"""armv7_test.py COMMANDS: what is compiled for arm64 must be compiled for armv7 too, to Mach-O objects for each."""

import collections
import json
import pathlib
import re
import struct
import sys

PROCESSORS = {(0x0100000C, 0): "arm64", (12, 9): "armv7"}


def processor(path):
    magic, *kind = struct.unpack_from("<3I", path.read_bytes()) if path.exists() else (0,)
    return PROCESSORS.get(tuple(kind)) if magic in (0xFEEDFACE, 0xFEEDFACF) else None


def main():
    commands = json.loads(pathlib.Path(sys.argv[1]).read_text())
    found = collections.defaultdict(set)
    for command in commands:
        output = re.search(r" -o (\S+)", command["command"]).group(1)
        found[command["file"]].add(processor(pathlib.Path(command["directory"], output)))
    missing = [file for file, processors in found.items() if processors != set(PROCESSORS.values())]
    for file in missing:
        print(f"{file}: is compiled for {found[file]}")
    sys.exit(1 if missing or not found else 0)


main()
