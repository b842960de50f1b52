"""armv7_test.py ROOT BUILD: every source of the library must be compiled to Mach-O objects for arm64 and armv7."""

import collections
import json
import pathlib
import re
import struct
import sys

PROCESSORS = {(0xFEEDFACF, 0x0100000C, 0): "arm64", (0xFEEDFACE, 12, 9): "armv7"}


def processor(path):
    """What the object at `path` is for; None where there is none, or for any other."""
    return PROCESSORS.get(struct.unpack_from("<3I", path.read_bytes())) if path.exists() else None


def main():
    root, build = map(pathlib.Path, sys.argv[1:])
    found = collections.defaultdict(set)
    for command in json.loads((build / "compile_commands.json").read_text()):
        file = pathlib.Path(command["file"])
        if build not in file.parents and root / "tests" not in file.parents:
            found[file].add(processor(build / re.search(r" -o (\S+)", command["command"]).group(1)))
    missing = [file for file, processors in found.items() if processors != set(PROCESSORS.values())]
    for file in missing:
        print(f"{file}: is compiled for {found[file]}")
    print(f"{len(found)} sources")
    sys.exit(1 if missing or not found else 0)


main()
