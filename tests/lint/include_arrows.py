"""include_arrows.py ROOT: fails on an include that runs against the house's arrows, or that the device cannot have."""

import pathlib
import re
import sys

# A folder may include itself and what its arrow points to.
ARROWS = {
    "util": {"util"},
    "id3": {"id3", "util"},
    "platform": {"platform", "util"},
    "platform/linux": {"platform/linux", "platform", "util"},
    "platform/ios": {"platform/ios", "platform", "util"},
    "import": {"import", "id3", "platform", "util"},
    "host": {"host", "import", "platform/ios", "platform", "id3", "util"},
    "cli": {"cli", "import", "platform/linux", "platform", "id3", "util"},
    "packaging/ios": {"packaging/ios"},
    "tests": None,
    "bench": None,
    "fuzz": None,
}
NOT_OURS = {"build", ".git"}
DEVICE = {"util", "id3", "platform", "platform/ios", "import", "host", "packaging/ios"}
# Not there on the device, or not without exceptions and run-time types.
NOT_ON_DEVICE = {"iostream", "ostream", "istream", "fstream", "sstream", "iomanip", "filesystem", "regex", "format",
                 "thread", "future", "stdexcept", "exception", "typeinfo", "any", "expected", "locale", "codecvt"}
# Objective-C's own @try is another matter.
FORBIDDEN_WORDS = re.compile(r"(?<!@)\b(throw|try|catch|dynamic_cast|typeid|thread_local|stoi|stol|stoul|stoll|stoull|"
                             r"stod)\b|(\.value\(\)|\bstd::get<)")
INCLUDE = re.compile(r'^\s*#\s*(?:include|import)\s*(["<])([^">]+)[">]', re.MULTILINE)
COMMENT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.DOTALL)


def folder_of(path):
    """The longest known folder that `path` lies in, or None."""
    parts = path.split("/")[:-1]
    for length in range(len(parts), 0, -1):
        folder = "/".join(parts[:length])
        if folder in ARROWS:
            return folder
    return None


def complaints(root):
    files = [path for pattern in ("*.cpp", "*.hpp", "*.h", "*.mm") for path in root.rglob(pattern)
             if path.relative_to(root).parts[0] not in NOT_OURS]
    for path in sorted(files):
        name = path.relative_to(root).as_posix()
        folder = folder_of(name)
        if name.startswith("tests/lint/data/"):
            continue
        if folder is None:
            yield f"{name}: lies in no folder of the house"
            continue
        text = path.read_text()
        for mark, included in INCLUDE.findall(text):
            if mark == '"':
                target = folder_of(included)
                if not (root / included).is_file():
                    yield f"{name}: \"{included}\" is no path from the root"
                elif ARROWS[folder] is not None and target not in ARROWS[folder]:
                    yield f"{name}: {folder} may not include {target} ({included})"
            elif folder in DEVICE and included in NOT_ON_DEVICE:
                yield f"{name}: <{included}> cannot be had on the device"
        if folder in DEVICE:
            for match in FORBIDDEN_WORDS.finditer(COMMENT.sub("", text)):
                yield f"{name}: '{match.group()}' cannot be had on the device"


def main():
    found = list(complaints(pathlib.Path(sys.argv[1])))
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


main()
